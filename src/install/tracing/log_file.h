// The trace file: opened for appending, shared with every other reader and
// writer (deny-none), written one whole line per call. It stands in for a
// text-mode file stream, failure state included: after a failed open, write
// or close, nothing more is written until the next successful open.
#pragma once

#include <cstddef>

#include "platform/windows.h"

namespace installer::tracing {

// Creates `path` when no file of that name exists. Failure (the file exists,
// its directory is missing) is not reported: the open that follows decides.
void createFileIfAbsent(const platform::wstring& path) noexcept;

class LogFile {
 public:
  LogFile() = default;
  ~LogFile() { close(); }
  LogFile(const LogFile&) = delete;
  LogFile& operator=(const LogFile&) = delete;

  // Opens `path` at its end, creating it when absent. Success clears the
  // failure state, failure sets it. Must not be called while open.
  bool open(const platform::wstring& path) noexcept;

  // Closes the file if open; a failing close sets the failure state.
  void close() noexcept;

  bool isOpen() const noexcept { return handle_ != INVALID_HANDLE_VALUE; }
  bool writable() const noexcept { return isOpen() && !failed_; }
  void setFailed() noexcept { failed_ = true; }

  // Writes all of `data` in one call, so that lines of other processes
  // appending to the same file land between lines, never inside one.
  // A failed write sets the failure state.
  void write(const char* data, std::size_t size) noexcept;

 private:
  HANDLE handle_ = INVALID_HANDLE_VALUE;
  bool failed_ = false;
};

}  // namespace installer::tracing
