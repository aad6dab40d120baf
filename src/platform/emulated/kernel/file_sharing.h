// Windows share modes between the file opens of this process. Each open
// that reads, writes or deletes is recorded with its access and share mode;
// a later open is refused (ERROR_SHARING_VIOLATION) when either side denies
// what the other does. Opens of other processes are not seen: the host has
// no share modes to ask.
#pragma once

#include <sys/types.h>

#include "platform/emulated/win_types.h"

namespace emulated {

struct FileId {
  dev_t device;
  ino_t inode;
};

// One recorded open. Registering checks and records under one lock, so two
// racing opens cannot both pass.
class ShareRegistration {
 public:
  ShareRegistration() = default;
  ~ShareRegistration() { release(); }
  ShareRegistration(const ShareRegistration&) = delete;
  ShareRegistration& operator=(const ShareRegistration&) = delete;

  // Records an open of `id`; false (and nothing recorded) when it conflicts
  // with an open already recorded. Releases any earlier record first.
  bool acquire(FileId id, DWORD access, DWORD share);
  void release();

 private:
  bool held_ = false;
  FileId id_{};
  DWORD access_ = 0;
  DWORD share_ = 0;
};

}  // namespace emulated
