// The process-wide table of Windows Installer handles: the base class of
// the objects behind them and the calls that add, find and remove them.
// It knows nothing of the kinds of object it holds (msi_objects.h does).
//
// Handles count up from 1, skip 0 and values in use, and are reused only
// after a wrap of the 32-bit counter. The table's mutex is held only to add,
// find or remove an entry, never while an object is used or finished.
#pragma once

#include <memory>

#include "platform/emulated/win_types.h"

namespace emulated {

enum class HandleKind { Database, View, Record, Summary, Session };

class HandleObject {
 public:
  explicit HandleObject(HandleKind kind) : kind_(kind) {}
  virtual ~HandleObject() = default;
  HandleObject(const HandleObject&) = delete;
  HandleObject& operator=(const HandleObject&) = delete;

  HandleKind kind() const { return kind_; }

  // Runs once, when the last owner lets go through releaseObject; the code
  // reaches the caller of MsiCloseHandle. Destructors finish what was not
  // finished, without a code to report.
  virtual UINT finish() { return ERROR_SUCCESS; }

  // Whether a thread may keep this object as the last one it looked up
  // (findCachedHandle) after the call that found it has returned.
  virtual bool cacheable() const { return true; }

 private:
  const HandleKind kind_;
};

MSIHANDLE registerHandle(std::shared_ptr<HandleObject> object);
std::shared_ptr<HandleObject> findHandle(MSIHANDLE handle);
std::shared_ptr<HandleObject> unregisterHandle(MSIHANDLE handle);

template <class T>
std::shared_ptr<T> findHandleOf(MSIHANDLE handle) {
  std::shared_ptr<HandleObject> object = findHandle(handle);
  if (!object || object->kind() != T::kKind) return nullptr;
  return std::static_pointer_cast<T>(std::move(object));
}

// The object behind `handle` for one call. Reading a row asks for the same
// record several times in a row, so each thread keeps the last cacheable
// object it found, with a strong reference, and trusts it for as long as no
// handle at all has been closed since. An object that is not cacheable is
// only held for the call.
class HandleRef {
 public:
  HandleRef() = default;
  HandleRef(HandleObject* object, std::shared_ptr<HandleObject> hold) : object_(object), hold_(std::move(hold)) {}
  explicit operator bool() const { return object_ != nullptr; }
  HandleObject* operator->() const { return object_; }
  HandleObject* get() const { return object_; }

 private:
  HandleObject* object_ = nullptr;
  std::shared_ptr<HandleObject> hold_;
};
HandleRef findCachedHandle(MSIHANDLE handle);

// Lets go of one owner; when it was the last, finishes the object and
// returns finish()'s code. Otherwise the last owner finishes it later.
UINT releaseObject(std::shared_ptr<HandleObject> object);

}  // namespace emulated
