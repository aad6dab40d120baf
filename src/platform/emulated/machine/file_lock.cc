#include "platform/emulated/machine/file_lock.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>

namespace emulated {

FileLock::FileLock(const std::string& lockPath, Mode mode)
    : fd_(::open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644)) {
  if (fd_ < 0) return;
  while (::flock(fd_, mode == kExclusive ? LOCK_EX : LOCK_SH) != 0) {
    if (errno == EINTR) continue;
    ::close(fd_);
    fd_ = -1;
    return;
  }
}

FileLock::~FileLock() {
  if (fd_ >= 0) ::close(fd_);
}

namespace {
std::string temporaryPrefix(const std::string& path) { return path + ".tmp."; }
}  // namespace

void removeReplaceLeftovers(const std::string& path) {
  const size_t slash = path.rfind('/');
  const std::string directory = slash == std::string::npos ? "." : path.substr(0, slash);
  const std::string prefix = temporaryPrefix(path.substr(slash + 1));
  DIR* dir = ::opendir(directory.c_str());
  if (dir == nullptr) return;
  while (dirent* entry = ::readdir(dir)) {
    if (std::string(entry->d_name).rfind(prefix, 0) == 0) ::unlink((directory + "/" + entry->d_name).c_str());
  }
  ::closedir(dir);
}

bool replaceFile(const std::string& path, const std::string& bytes) {
  // Unique per process and call, so writers that hold no lock cannot
  // write into each other's temporary.
  static std::atomic<unsigned> counter{0};
  const std::string temporary = temporaryPrefix(path) + std::to_string(::getpid()) + "." + std::to_string(counter++);
  const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (fd < 0) return false;
  bool written = true;
  for (size_t done = 0; written && done < bytes.size();) {
    const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
    if (n < 0 && errno == EINTR) continue;
    written = n > 0;
    if (written) done += static_cast<size_t>(n);
  }
  written = written && ::fsync(fd) == 0;
  written = ::close(fd) == 0 && written;
  if (!written || std::rename(temporary.c_str(), path.c_str()) != 0) {
    std::remove(temporary.c_str());
    return false;
  }
  return true;
}

}  // namespace emulated
