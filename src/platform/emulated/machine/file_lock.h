// Cross-process safety for the machine's file stores (installed products,
// the registry): an flock held for an object's life, and the replacement
// of a whole file in one rename, so that a reader sees either the old
// bytes or the new ones, never half of them.
//
// flock locks belong to an open file description: two FileLocks on the same
// path exclude each other between processes and between threads of one
// process alike. A lock that cannot be taken (the lock file cannot be
// opened) is not held; callers go on unlocked rather than fail, as the
// stores did before they shared this helper.
#pragma once

#include <string>

namespace emulated {

class FileLock {
 public:
  enum Mode { kShared, kExclusive };
  FileLock(const std::string& lockPath, Mode mode);
  ~FileLock();
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;

  bool held() const { return fd_ >= 0; }

 private:
  int fd_;
};

// Writes `bytes` to a temporary beside `path`, syncs it and renames it over
// `path`. False when any step fails; `path` is then as it was.
bool replaceFile(const std::string& path, const std::string& bytes);

// Removes the temporaries that replaceFile calls on `path` left when their
// process died between the write and the rename.
void removeReplaceLeftovers(const std::string& path);

}  // namespace emulated
