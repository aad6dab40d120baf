#include "platform/emulated/kernel/handle_table.h"

#include <cstdint>
#include <mutex>
#include <vector>

#include "platform/emulated/kernel32.h"

namespace emulated {

namespace {

// Slot i holds the object of handle (i + 1) * 4. The lock covers the slots
// and the free list only: objects are destroyed after it is released, since
// their destructors may take locks of their own (the file share table).
class HandleTable {
 public:
  static HandleTable& instance() {
    static HandleTable* table = new HandleTable;  // outlives static destructors that close handles
    return *table;
  }

  HANDLE insert(std::shared_ptr<KernelObject> object) {
    std::lock_guard<std::mutex> lock(mutex_);
    size_t index;
    if (!free_.empty()) {
      index = free_.back();
      free_.pop_back();
      slots_[index] = std::move(object);
    } else {
      index = slots_.size();
      slots_.push_back(std::move(object));
    }
    return toHandle(index);
  }

  std::shared_ptr<KernelObject> lookup(HANDLE handle) {
    std::lock_guard<std::mutex> lock(mutex_);
    size_t index;
    if (!toIndex(handle, &index)) return nullptr;
    return slots_[index];
  }

  bool remove(HANDLE handle) {
    std::shared_ptr<KernelObject> doomed;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      size_t index;
      if (!toIndex(handle, &index)) return false;
      doomed.swap(slots_[index]);
      free_.push_back(index);
    }
    return true;  // `doomed` dies here, outside the lock
  }

 private:
  static HANDLE toHandle(size_t index) {
    return reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>((index + 1) * 4));
  }

  // Caller holds mutex_.
  bool toIndex(HANDLE handle, size_t* index) const {
    auto value = reinterpret_cast<std::uintptr_t>(handle);
    if (value == 0 || value % 4 != 0) return false;
    *index = value / 4 - 1;
    return *index < slots_.size() && slots_[*index] != nullptr;
  }

  std::mutex mutex_;
  std::vector<std::shared_ptr<KernelObject>> slots_;
  std::vector<size_t> free_;
};

}  // namespace

HANDLE insertHandle(std::shared_ptr<KernelObject> object) {
  return HandleTable::instance().insert(std::move(object));
}

std::shared_ptr<KernelObject> lookupHandle(HANDLE handle) {
  return HandleTable::instance().lookup(handle);
}

bool removeHandle(HANDLE handle) { return HandleTable::instance().remove(handle); }

}  // namespace emulated

extern "C" BOOL CloseHandle(HANDLE hObject) {
  if (!emulated::removeHandle(hObject)) {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  }
  return TRUE;
}
