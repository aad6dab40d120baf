// The names of the installer run's two log files and the rule that puts a
// log directory in front of them. Paths are narrow, in the C runtime's
// multibyte encoding (see runtime_text.h).
#pragma once

#include <ctime>
#include <string>

namespace installer::tracing {

struct LogFileNames {
  std::string trace;        // "tolv_installer_%m.%d_%H.%M.INST.log"
  std::string installer;    // "tolv_installer_%m.%d_%H.%M.MSI.log"
};

// Both names from one moment in local time; a name is empty when it cannot
// be formatted.
LogFileNames logFileNames(std::time_t moment);

// `directory` in front of `path`, with one "\" between them unless the path
// is empty or the directory already ends in a separator. An empty directory
// leaves the path as it is.
std::string prefixLogDirectory(const std::string& directory, const std::string& path);

}  // namespace installer::tracing
