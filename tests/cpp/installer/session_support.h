// A fresh machine per test and a session over the session test package.
#pragma once

#include <fstream>
#include <string>

#include "../platform/msi_test_helpers.h"
#include "../support/temp_machine.h"
#include "platform/emulated/machine/unicode.h"

namespace session_test {

using msi_test::Handle;

inline std::u16string packagePath(const std::string& name = "session") {
  return emulated::toWindowsPath(std::string(MSI_FIXTURE_DIR) + "/" + name + ".msi");
}

class SessionTest : public test_support::TempMachineTest {
 protected:
  void configure(const std::string& lines) { std::ofstream(root_ + "/machine.conf", std::ios::app) << lines; }

  // Opens the package into `session_`; the test fails unless that works.
  void open(const std::u16string& path = packagePath()) {
    ASSERT_EQ(MsiOpenPackageW(path.c_str(), session_.out()), ERROR_SUCCESS);
  }

  void set(const std::u16string& name, const std::u16string& value) {
    ASSERT_EQ(MsiSetPropertyW(session_, name.c_str(), value.c_str()), ERROR_SUCCESS);
  }

  // A property as UTF-8, read with the two-call sizing of MsiGetPropertyW.
  std::string property(const std::u16string& name) const {
    WCHAR empty[1] = {0};
    DWORD size = 0;
    if (MsiGetPropertyW(session_, name.c_str(), empty, &size) != ERROR_MORE_DATA)
      return "<sizing failed>";
    std::u16string value(size + 1, u'\0');
    ++size;
    if (MsiGetPropertyW(session_, name.c_str(), value.data(), &size) != ERROR_SUCCESS) return "<read failed>";
    value.resize(size);
    return emulated::utf16ToUtf8(value);
  }

  Handle session_;
};

}  // namespace session_test
