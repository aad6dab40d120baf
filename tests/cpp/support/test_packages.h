// Test packages for the tests that read Windows Installer databases: the fixtures built into MSI_FIXTURE_DIR,
// and a private emulated machine whose C: drive holds writable copies of them.
#pragma once

#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <string>

#include "platform/emulated/machine/machine_paths.h"
#include "platform/windows.h"

#ifndef MSI_FIXTURE_DIR
#error "MSI_FIXTURE_DIR names the directory of the built test packages"
#endif

namespace test_packages {

// The machine of this test process: a temporary root, removed at exit.
class TestMachine {
 public:
  static TestMachine& get() { static TestMachine machine; return machine; }
  const std::string& root() const { return root_; }
  ~TestMachine() { (void)::system(("rm -rf '" + root_ + "'").c_str()); }

 private:
  TestMachine() {
    char pattern[] = "/tmp/ornel-msi-machine-XXXXXX";
    root_ = ::mkdtemp(pattern);
    ::setenv("INSTALLER_ORNEL_MACHINE", root_.c_str(), 1);
    ::mkdir((root_ + "/drive_c").c_str(), 0755);
    ::mkdir((root_ + "/drive_c/Packages").c_str(), 0755);
  }
  std::string root_;
};

// Every test process runs on its own machine from the start, also when the runner starts one process per test.
inline const bool kTestMachineReady = (TestMachine::get(), true);

inline std::string fixtureHostPath(const std::string& name) { return std::string(MSI_FIXTURE_DIR) + "/" + name + ".msi"; }

// A built fixture, read in place through its Z: path (outside the machine's drives).
inline platform::wstring fixture(const std::string& name) {
  return TestMachine::get(), emulated::toWindowsPath(fixtureHostPath(name));
}

inline std::string readBytes(const std::string& hostPath) {
  std::ifstream in(hostPath, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void writeBytes(const std::string& hostPath, const std::string& bytes) {
  std::ofstream(hostPath, std::ios::binary | std::ios::trunc) << bytes;
}

// A file on the machine's C: drive, C:\Packages\<name>, with the given content; removed with this object.
struct MachineFile {
  MachineFile(const std::string& name, const std::string& content)
      : hostPath(TestMachine::get().root() + "/drive_c/Packages/" + name),
        path(u"C:\\Packages\\" + platform::wstring(name.begin(), name.end())) {
    writeBytes(hostPath, content);
  }
  ~MachineFile() { ::unlink(hostPath.c_str()); }
  MachineFile(const MachineFile&) = delete;
  MachineFile& operator=(const MachineFile&) = delete;

  std::string bytes() const { return readBytes(hostPath); }

  std::string hostPath;
  platform::wstring path;
};

// A writable copy of fixture `name` at C:\Packages\<copyName>.msi.
struct PackageCopy : MachineFile {
  PackageCopy(const std::string& name, const std::string& copyName)
      : MachineFile(copyName + ".msi", readBytes(fixtureHostPath(name))) {}
};

}  // namespace test_packages
