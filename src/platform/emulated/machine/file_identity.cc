#include "platform/emulated/machine/file_identity.h"

#include <sys/stat.h>

#include <algorithm>
#include <ctime>

namespace emulated {

namespace {

// Longer than the coarsest clock tick of the file systems the machine
// root lives on.
constexpr std::int64_t kSettledNanoseconds = 2000000000;

std::int64_t nanoseconds(const timespec& time) { return std::int64_t(time.tv_sec) * 1000000000 + time.tv_nsec; }

}  // namespace

bool identifyFile(const std::string& hostPath, FileIdentity& identity) {
  struct stat info;
  if (::stat(hostPath.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return false;
  timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  const std::int64_t changed = std::max(nanoseconds(info.st_mtim), nanoseconds(info.st_ctim));
  identity = {std::uint64_t(info.st_dev), std::uint64_t(info.st_ino), std::int64_t(info.st_size),
              nanoseconds(info.st_mtim), nanoseconds(now) - changed > kSettledNanoseconds};
  return true;
}

}  // namespace emulated
