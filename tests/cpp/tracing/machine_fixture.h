// A fresh emulated machine for each test: its own root directory with
// C:\Logs, and local time pinned to UTC so file names are predictable.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <time.h>

#include <regex>
#include <string>
#include <vector>

#include "../support/temp_machine.h"

namespace tracing_test {

class MachineTest : public test_support::TempMachineTest {
 protected:
  void SetUp() override {
    TempMachineTest::SetUp();
    ::setenv("TZ", "UTC0", 1);
    ::tzset();
    ASSERT_EQ(::mkdir(hostPath("Logs").c_str(), 0755), 0);
  }

  static time_t creationTime() { return 1700252347; }  // 2023-11-17 20:19:07 UTC
  static constexpr const char* kTraceName = "tolv_installer_11.17_20.19.INST.log";
  static constexpr const char* kInstallerName = "tolv_installer_11.17_20.19.MSI.log";

  std::string traceFile() const { return hostPath(std::string("Logs/") + kTraceName); }

  // The texts of the lines of a trace file, each checked to read
  // HH:MM:SS, a tab, the text, CR LF.
  static std::vector<std::string> traceLines(const std::string& path) {
    static const std::regex kLine("[0-2][0-9]:[0-5][0-9]:[0-5][0-9]\t([^\r\n]*)\r\n");
    const std::string content = read(path);
    std::vector<std::string> texts;
    std::smatch match;
    for (auto at = content.cbegin(); at != content.cend(); at = match[0].second) {
      if (!std::regex_search(at, content.cend(), match, kLine, std::regex_constants::match_continuous)) {
        ADD_FAILURE() << "not a trace line: " << std::string(at, content.cend());
        break;
      }
      texts.push_back(match[1]);
    }
    return texts;
  }
};

}  // namespace tracing_test
