// The process's handle table. A HANDLE names a kernel object (a file now;
// events and file mappings later); CloseHandle serves them all.
#pragma once

#include <memory>

#include "platform/emulated/win_types.h"

namespace emulated {

// Everything a handle can name. The object's destructor releases its host
// resources; it runs when the last handle is closed and no call that looked
// the handle up is still using the object.
class KernelObject {
 public:
  virtual ~KernelObject() = default;
  KernelObject(const KernelObject&) = delete;
  KernelObject& operator=(const KernelObject&) = delete;

 protected:
  KernelObject() = default;
};

// A new handle for `object`: a non-zero multiple of 4, as Windows hands
// them out; values of closed handles are reused.
HANDLE insertHandle(std::shared_ptr<KernelObject> object);

// The object named by `handle`, or null when the handle is not open.
std::shared_ptr<KernelObject> lookupHandle(HANDLE handle);

// The object named by `handle` when it is a T, else null.
template <typename T>
std::shared_ptr<T> lookupHandleAs(HANDLE handle) {
  return std::dynamic_pointer_cast<T>(lookupHandle(handle));
}

// Closes `handle`; false when it was not open.
bool removeHandle(HANDLE handle);

}  // namespace emulated
