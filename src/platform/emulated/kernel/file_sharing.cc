#include "platform/emulated/kernel/file_sharing.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

#include "platform/emulated/kernel32.h"

namespace emulated {

namespace {

// What an access mask does to the file's data, after generic rights are
// expanded. Attribute-only opens take part in no sharing check.
struct Uses {
  bool read, write, remove;
  bool any() const { return read || write || remove; }
};

Uses usesOf(DWORD access) {
  const bool all = access & GENERIC_ALL;
  return Uses{all || (access & (GENERIC_READ | GENERIC_EXECUTE | FILE_READ_DATA | FILE_EXECUTE)),
              all || (access & (GENERIC_WRITE | FILE_WRITE_DATA | FILE_APPEND_DATA)),
              all || (access & DELETE)};
}

struct Open {
  DWORD access;
  DWORD share;
};

bool conflicts(const Open& a, const Open& b) {
  Uses ua = usesOf(a.access), ub = usesOf(b.access);
  auto denies = [](const Uses& uses, DWORD share) {
    return (uses.read && !(share & FILE_SHARE_READ)) || (uses.write && !(share & FILE_SHARE_WRITE)) ||
           (uses.remove && !(share & FILE_SHARE_DELETE));
  };
  return denies(ua, b.share) || denies(ub, a.share);
}

class ShareTable {
 public:
  static ShareTable& instance() {
    static ShareTable* table = new ShareTable;  // handles may close during static destruction
    return *table;
  }

  bool add(FileId id, Open open) {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<Open>& opens = files_[key(id)];
    for (const Open& other : opens) {
      if (conflicts(open, other)) return false;
    }
    opens.push_back(open);
    return true;
  }

  void remove(FileId id, Open open) {
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = files_.find(key(id));
    if (it == files_.end()) return;
    std::vector<Open>& opens = it->second;
    auto match = std::find_if(opens.begin(), opens.end(), [&](const Open& o) {
      return o.access == open.access && o.share == open.share;
    });
    if (match != opens.end()) opens.erase(match);
    if (opens.empty()) files_.erase(it);
  }

 private:
  static std::pair<dev_t, ino_t> key(FileId id) { return {id.device, id.inode}; }

  std::mutex mutex_;
  std::map<std::pair<dev_t, ino_t>, std::vector<Open>> files_;
};

}  // namespace

bool ShareRegistration::acquire(FileId id, DWORD access, DWORD share) {
  release();
  if (!usesOf(access).any()) return true;
  if (!ShareTable::instance().add(id, Open{access, share})) return false;
  held_ = true;
  id_ = id;
  access_ = access;
  share_ = share;
  return true;
}

void ShareRegistration::release() {
  if (!held_) return;
  ShareTable::instance().remove(id_, Open{access_, share_});
  held_ = false;
}

}  // namespace emulated
