#include "install/tracing/log_file.h"

#include <limits>

namespace installer::tracing {

void createFileIfAbsent(const platform::wstring& path) noexcept {
  HANDLE file = CreateFileW(path.c_str(), 0, FILE_SHARE_WRITE, nullptr, CREATE_NEW, 0, nullptr);
  if (file != INVALID_HANDLE_VALUE) CloseHandle(file);
}

bool LogFile::open(const platform::wstring& path) noexcept {
  // Append-only access makes every write land at the current end of the
  // file, also when another process appends to it at the same time.
  HANDLE file = CreateFileW(path.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                            OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    failed_ = true;
    return false;
  }
  handle_ = file;
  failed_ = false;
  return true;
}

void LogFile::close() noexcept {
  if (!isOpen()) return;
  // WriteFile leaves nothing buffered in the process, so closing has
  // nothing to flush.
  if (!CloseHandle(handle_)) failed_ = true;
  handle_ = INVALID_HANDLE_VALUE;
}

void LogFile::write(const char* data, std::size_t size) noexcept {
  if (!writable()) return;
  DWORD written = 0;
  if (size > std::numeric_limits<DWORD>::max() ||
      !WriteFile(handle_, data, static_cast<DWORD>(size), &written, nullptr) || written != size) {
    failed_ = true;
  }
}

}  // namespace installer::tracing
