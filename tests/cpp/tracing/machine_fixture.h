// A fresh emulated machine for each test: its own root directory with
// C:\Logs, and local time pinned to UTC so file names are predictable.
#pragma once

#include <gtest/gtest.h>

#include "../support/temp_machine.h"
#include <stdlib.h>
#include <sys/stat.h>
#include <time.h>

#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace tracing_test {

class MachineTest : public test_support::TempMachineTest {
 protected:
  void SetUp() override {
    TempMachineTest::SetUp();
    ::setenv("TZ", "UTC0", 1);
    ::tzset();
    ASSERT_EQ(::mkdir(hostPath("Logs").c_str(), 0755), 0);
  }

  // 2023-11-17 20:19:07 UTC.
  static time_t creationTime() {
    std::tm moment{};
    moment.tm_year = 123;
    moment.tm_mon = 10;
    moment.tm_mday = 17;
    moment.tm_hour = 20;
    moment.tm_min = 19;
    moment.tm_sec = 7;
    return ::timegm(&moment);
  }
  static constexpr const char* kTraceName = "tolv_installer_11.17_20.19.INST.log";
  static constexpr const char* kInstallerName = "tolv_installer_11.17_20.19.MSI.log";

  std::string traceFile() const { return hostPath(std::string("Logs/") + kTraceName); }

  // The texts of the lines of a trace file, each checked to read
  // HH:MM:SS, a tab, the text, CR LF.
  static std::vector<std::string> traceLines(const std::string& path) {
    static const std::regex kLine("([0-2][0-9]):([0-5][0-9]):([0-5][0-9])\t([^\r\n]*)");
    std::string content = read(path);
    std::vector<std::string> texts;
    size_t start = 0;
    while (start < content.size()) {
      size_t end = content.find("\r\n", start);
      if (end == std::string::npos) {
        ADD_FAILURE() << "line without CR LF at the end: " << content.substr(start);
        break;
      }
      std::string line = content.substr(start, end - start);
      std::smatch match;
      if (!std::regex_match(line, match, kLine)) {
        ADD_FAILURE() << "not a trace line: " << line;
      } else {
        texts.push_back(match[4]);
      }
      start = end + 2;
    }
    return texts;
  }
};

}  // namespace tracing_test
