// A bare Windows Installer handle that is closed when it goes out of scope.
#pragma once

#include "platform/windows.h"

namespace installer {
namespace msi_wrapper {

class MsiHandleHolder {
 public:
  MsiHandleHolder() = default;
  explicit MsiHandleHolder(MSIHANDLE handle) : handle_(handle) {}
  ~MsiHandleHolder() { reset(); }
  MsiHandleHolder(const MsiHandleHolder&) = delete;
  MsiHandleHolder& operator=(const MsiHandleHolder&) = delete;

  MSIHANDLE get() const { return handle_; }

  // Closes the handle held, if any (0 is no handle and is never closed).
  void reset(MSIHANDLE handle = 0) {
    if (handle_ != 0) MsiCloseHandle(handle_);
    handle_ = handle;
  }

  // Gives the handle up without closing it.
  MSIHANDLE release() {
    const MSIHANDLE handle = handle_;
    handle_ = 0;
    return handle;
  }

  // For an out-parameter: closes what is held, sets 0 and hands out the
  // address, so a failing call leaves 0 behind.
  MSIHANDLE* receive() {
    reset();
    return &handle_;
  }

 private:
  MSIHANDLE handle_ = 0;
};

// The persist values of MsiOpenDatabaseW as its wide parameter: the SDK
// types them as LPCTSTR, which is narrow in a build without UNICODE.
inline LPCWSTR readOnlyPersist() { return reinterpret_cast<LPCWSTR>(MSIDBOPEN_READONLY); }
inline LPCWSTR directPersist() { return reinterpret_cast<LPCWSTR>(MSIDBOPEN_DIRECT); }

}  // namespace msi_wrapper
}  // namespace installer
