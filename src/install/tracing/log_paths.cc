#include "install/tracing/log_paths.h"

#include "platform/windows.h"

namespace installer::tracing {

namespace {

constexpr std::size_t kNameBufferSize = 80;

std::string format(const char* pattern, const std::tm& local) {
  char buffer[kNameBufferSize];
  std::size_t length = std::strftime(buffer, sizeof buffer, pattern, &local);
  return std::string(buffer, length);
}

}  // namespace

LogFileNames logFileNames(std::time_t moment) {
  std::tm local{};
  if (localtime_s(&local, &moment) != 0) return {};
  return {format("tolv_installer_%m.%d_%H.%M.INST.log", local),
          format("tolv_installer_%m.%d_%H.%M.MSI.log", local)};
}

std::string prefixLogDirectory(const std::string& directory, const std::string& path) {
  if (directory.empty()) return path;
  const char last = directory.back();
  const bool separate = !path.empty() && last != '\\' && last != '/';
  return directory + (separate ? "\\" : "") + path;
}

}  // namespace installer::tracing
