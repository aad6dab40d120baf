// The process-wide table of Windows Installer handles, and MsiCloseHandle.
#include <unordered_map>

#include "platform/emulated/msi.h"
#include "platform/emulated/msi_objects.h"

namespace emulated {

namespace {

// The table's mutex covers only the map and the counter; objects are used
// and finished outside it, through the shared pointers handed out.
class HandleTable {
 public:
  MSIHANDLE add(std::shared_ptr<HandleObject> object) {
    std::lock_guard<std::mutex> guard(mutex_);
    if (objects_.size() >= kMaxHandles) return 0;
    MSIHANDLE handle = next_;
    while (handle == 0 || objects_.count(handle) != 0) ++handle;
    next_ = handle + 1;
    objects_.emplace(handle, std::move(object));
    return handle;
  }

  std::shared_ptr<HandleObject> find(MSIHANDLE handle) {
    std::lock_guard<std::mutex> guard(mutex_);
    auto it = objects_.find(handle);
    return it == objects_.end() ? nullptr : it->second;
  }

  std::shared_ptr<HandleObject> remove(MSIHANDLE handle) {
    std::lock_guard<std::mutex> guard(mutex_);
    auto it = objects_.find(handle);
    if (it == objects_.end()) return nullptr;
    std::shared_ptr<HandleObject> object = std::move(it->second);
    objects_.erase(it);
    return object;
  }

 private:
  // Far below 2^32, so the search for a free value always ends.
  static constexpr size_t kMaxHandles = size_t{1} << 24;
  std::mutex mutex_;
  std::unordered_map<MSIHANDLE, std::shared_ptr<HandleObject>> objects_;
  MSIHANDLE next_ = 1;
};

// Never destroyed: handles still open when the process exits are dropped
// with it, as Windows drops them, instead of being finished during static
// destruction while the host may already be tearing GLib down.
HandleTable& table() {
  static HandleTable* instance = new HandleTable;
  return *instance;
}

}  // namespace

MSIHANDLE registerHandle(std::shared_ptr<HandleObject> object) { return table().add(std::move(object)); }

std::shared_ptr<HandleObject> findHandle(MSIHANDLE handle) {
  if (handle == 0) return nullptr;
  return table().find(handle);
}

std::shared_ptr<HandleObject> unregisterHandle(MSIHANDLE handle) {
  if (handle == 0) return nullptr;
  return table().remove(handle);
}

UINT releaseObject(std::shared_ptr<HandleObject> object) {
  // Out of the table, no new owner can appear: a count of 1 means this
  // caller is the last, and nobody else can be finishing it.
  if (!object || object.use_count() != 1) return ERROR_SUCCESS;
  return object->finish();
}

}  // namespace emulated

extern "C" UINT MsiCloseHandle(MSIHANDLE hAny) {
  if (hAny == 0) return ERROR_SUCCESS;
  std::shared_ptr<emulated::HandleObject> object = emulated::unregisterHandle(hAny);
  if (!object) return ERROR_INVALID_HANDLE;
  return emulated::releaseObject(std::move(object));
}
