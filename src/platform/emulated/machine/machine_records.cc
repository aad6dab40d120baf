// The machine's records: see machine_records.h.
#include "platform/emulated/machine/machine_records.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <fstream>

#include "platform/emulated/machine/machine_paths.h"

namespace emulated {

namespace {

std::string recordFile(const std::string& kind) { return machineRoot() + "/records/" + kind; }

std::string localTimeText() {
  std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
  return text;
}

std::string flattened(std::string field) {
  for (char& c : field) {
    if (c == '\t' || c == '\n' || c == '\r') c = ' ';
  }
  return field;
}

}  // namespace

bool appendMachineRecord(const std::string& kind, const std::vector<std::string>& fields) {
  ::mkdir((machineRoot() + "/records").c_str(), 0755);
  std::string line = localTimeText() + "\t" + std::to_string(::getpid());
  for (const std::string& field : fields) line += "\t" + flattened(field);
  line += "\n";
  int fd = ::open(recordFile(kind).c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  if (fd < 0) return false;
  const bool written = ::write(fd, line.data(), line.size()) == static_cast<ssize_t>(line.size());
  ::close(fd);
  return written;
}

std::vector<std::string> readMachineRecords(const std::string& kind) {
  std::vector<std::string> lines;
  std::ifstream in(recordFile(kind));
  for (std::string line; std::getline(in, line);) {
    if (!line.empty()) lines.push_back(line);
  }
  return lines;
}

}  // namespace emulated
