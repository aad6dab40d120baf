// A fresh emulated machine for each test: its own root directory (with
// drive_c), named by INSTALLER_ORNEL_MACHINE while the test runs, and
// removed afterwards, when the machine named before comes back.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

namespace test_support {

class TempMachineTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/ornel-machine-XXXXXX";
    ASSERT_NE(::mkdtemp(pattern), nullptr);
    root_ = pattern;
    const char* previous = ::getenv("INSTALLER_ORNEL_MACHINE");
    hadPrevious_ = previous != nullptr;
    if (hadPrevious_) previous_ = previous;
    ::setenv("INSTALLER_ORNEL_MACHINE", root_.c_str(), 1);
    ASSERT_EQ(::mkdir((root_ + "/drive_c").c_str(), 0755), 0);
  }
  void TearDown() override {
    std::string cmd = "rm -rf '" + root_ + "'";
    (void)::system(cmd.c_str());
    // Tests of one binary may share a machine set up for the whole process.
    if (hadPrevious_) {
      ::setenv("INSTALLER_ORNEL_MACHINE", previous_.c_str(), 1);
    } else {
      ::unsetenv("INSTALLER_ORNEL_MACHINE");
    }
  }

  // The host path of a path under C:\, given with forward slashes.
  std::string hostPath(const std::string& underDriveC) const { return root_ + "/drive_c/" + underDriveC; }

  static bool exists(const std::string& path) {
    struct stat st;
    return ::stat(path.c_str(), &st) == 0;
  }

  static std::string read(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
  }

  // Runs body(0) .. body(count - 1) in as many forked processes at once;
  // true when every one returned true.
  static bool inProcesses(int count, const std::function<bool(int)>& body) {
    std::vector<pid_t> children;
    for (int i = 0; i < count; ++i) {
      children.push_back(::fork());
      if (children.back() == 0) ::_exit(body(i) ? 0 : 1);
    }
    bool ok = true;
    for (pid_t child : children) {
      int status = 0;
      ok = ::waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0 && ok;
    }
    return ok;
  }

  std::string root_;

 private:
  bool hadPrevious_ = false;
  std::string previous_;
};

}  // namespace test_support
