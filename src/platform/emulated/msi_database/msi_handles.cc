// The process-wide table of Windows Installer handles, and MsiCloseHandle.
#include <atomic>
#include <cstdint>
#include <mutex>
#include <vector>

#include "platform/emulated/msi.h"
#include "platform/emulated/msi_database/msi_handle_table.h"

namespace emulated {

namespace {

// Handles count up and each value has one slot, its low bits: a lookup is
// an index and a compare, and adding or removing a handle allocates nothing
// (the installer opens and closes one record handle per row read). A value
// whose slot is taken is skipped. At most half the slots are used; growing
// the table keeps every value's slot distinct, since a larger mask only adds
// bits. The mutex covers the slots and the counter; objects are used and
// finished outside it, through the shared pointers handed out.
class HandleTable {
 public:
  MSIHANDLE add(std::shared_ptr<HandleObject> object) {
    std::lock_guard<std::mutex> guard(mutex_);
    if (count_ >= kMaxHandles) return 0;
    if (2 * (count_ + 1) > slots_.size()) grow();
    MSIHANDLE handle = next_;
    while (handle == 0 || slots_[handle & mask()].handle != 0) ++handle;
    next_ = handle + 1;
    Slot& slot = slots_[handle & mask()];
    slot.handle = handle;
    slot.object = std::move(object);
    ++count_;
    return handle;
  }

  std::shared_ptr<HandleObject> find(MSIHANDLE handle) {
    std::lock_guard<std::mutex> guard(mutex_);
    const Slot& slot = slots_[handle & mask()];
    return slot.handle == handle ? slot.object : nullptr;
  }

  std::shared_ptr<HandleObject> remove(MSIHANDLE handle) {
    std::lock_guard<std::mutex> guard(mutex_);
    Slot& slot = slots_[handle & mask()];
    if (slot.handle != handle) return nullptr;
    slot.handle = 0;
    --count_;
    removals_.fetch_add(1, std::memory_order_release);
    return std::move(slot.object);
  }

  // Counts every removal; a value found while it stays the same is still
  // the value's object.
  std::uint64_t removals() const { return removals_.load(std::memory_order_acquire); }

 private:
  struct Slot {
    MSIHANDLE handle = 0;  // 0: free
    std::shared_ptr<HandleObject> object;
  };
  // Far below 2^31, so the search for a free value always ends.
  static constexpr size_t kMaxHandles = size_t{1} << 24;

  size_t mask() const { return slots_.size() - 1; }

  void grow() {
    std::vector<Slot> larger(slots_.size() * 2);
    const size_t largerMask = larger.size() - 1;
    for (Slot& slot : slots_) {
      if (slot.handle != 0) larger[slot.handle & largerMask] = std::move(slot);
    }
    slots_.swap(larger);
  }

  std::mutex mutex_;
  std::atomic<std::uint64_t> removals_{0};
  std::vector<Slot> slots_ = std::vector<Slot>(64);
  size_t count_ = 0;
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

namespace {

struct LastFound {
  MSIHANDLE handle = 0;
  std::uint64_t removals = 0;
  std::shared_ptr<HandleObject> object;
};
thread_local LastFound lastFound;

}  // namespace

HandleRef findCachedHandle(MSIHANDLE handle) {
  if (handle == 0) return {};
  const std::uint64_t removals = table().removals();
  if (lastFound.handle == handle && lastFound.removals == removals) return HandleRef(lastFound.object.get(), nullptr);
  std::shared_ptr<HandleObject> object = findHandle(handle);
  if (!object) return {};
  HandleObject* found = object.get();
  if (!found->cacheable()) return HandleRef(found, std::move(object));
  lastFound = LastFound{handle, removals, std::move(object)};
  return HandleRef(found, nullptr);
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
  // This thread's last lookup must not keep the object from finishing.
  if (emulated::lastFound.handle == hAny) emulated::lastFound = emulated::LastFound{};
  return emulated::releaseObject(std::move(object));
}
