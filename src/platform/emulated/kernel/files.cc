// CreateFileW and WriteFile of the emulated machine: Windows file semantics
// (dispositions, share modes, append-only access, error codes) over host
// file descriptors. A write on a full disk writes nothing, as on Windows.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <new>
#include <string>
#include <string_view>

#include "platform/emulated/kernel/file_sharing.h"
#include "platform/emulated/kernel/handle_table.h"
#include "platform/emulated/kernel32.h"
#include "platform/emulated/machine/machine_paths.h"
#include "platform/emulated/kernel/win32_errors.h"

namespace emulated {

namespace {

constexpr DWORD kWriteRights = GENERIC_ALL | GENERIC_WRITE | FILE_WRITE_DATA;
constexpr DWORD kReadRights = GENERIC_ALL | GENERIC_READ | GENERIC_EXECUTE | FILE_READ_DATA | FILE_EXECUTE;

// An open file. The descriptor and the share record live exactly as long as
// the object, which outlives its handle while a call still uses it.
class FileObject final : public KernelObject {
 public:
  explicit FileObject(DWORD access) : access_(access) {}
  ~FileObject() override {
    if (fd_ >= 0) ::close(fd_);
  }

  void adopt(int fd) { fd_ = fd; }
  int fd() const { return fd_; }
  ShareRegistration& sharing() { return sharing_; }
  bool canWrite() const { return access_ & (kWriteRights | FILE_APPEND_DATA); }

 private:
  const DWORD access_;
  int fd_ = -1;
  ShareRegistration sharing_;
};

HANDLE fail(DWORD error) {
  SetLastError(error);
  return INVALID_HANDLE_VALUE;
}

// Characters that no Windows file name may hold. A colon is allowed only as
// the drive's; alternate data streams are not emulated.
bool hasInvalidCharacters(std::u16string_view path) {
  if (path.substr(0, 4) == u"\\\\?\\") path.remove_prefix(4);
  for (size_t i = 0; i < path.size(); ++i) {
    char16_t c = path[i];
    if (c < 0x20 || c == u'<' || c == u'>' || c == u'"' || c == u'|' || c == u'?' || c == u'*') return true;
    if (c == u':' && i != 1) return true;
  }
  return false;
}

bool isDirectory(const std::string& path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// Windows tells a missing file in an existing directory (2) from a missing
// directory on the way (3).
DWORD missingPathError(const std::string& hostPath) {
  size_t slash = hostPath.rfind('/');
  std::string parent = slash == 0 ? "/" : hostPath.substr(0, slash);
  return isDirectory(parent) ? ERROR_FILE_NOT_FOUND : ERROR_PATH_NOT_FOUND;
}

int accessFlags(DWORD access) {
  const bool read = access & kReadRights;
  const bool write = access & kWriteRights;
  // Append-only access: every write lands at the end, also when other
  // handles or processes append to the same file.
  const bool appendOnly = (access & FILE_APPEND_DATA) && !write;
  if (appendOnly) return (read ? O_RDWR : O_WRONLY) | O_APPEND;
  if (write) return read ? O_RDWR : O_WRONLY;
  return O_RDONLY;
}

// Host open flags for a disposition, given whether the file exists now;
// 0 with *error set when the disposition fails before any host call.
int dispositionFlags(DWORD disposition, bool exists, DWORD* error) {
  switch (disposition) {
    case CREATE_NEW:
      if (exists) *error = ERROR_FILE_EXISTS;
      return O_CREAT | O_EXCL;
    case CREATE_ALWAYS:
      return O_CREAT | O_TRUNC;
    case OPEN_EXISTING:
      return 0;
    case OPEN_ALWAYS:
      return O_CREAT;
    case TRUNCATE_EXISTING:
      return O_TRUNC;
    default:
      *error = ERROR_INVALID_PARAMETER;
      return 0;
  }
}

struct Request {
  std::u16string_view name;
  DWORD access, share, disposition, flags;
};

HANDLE createFile(const Request& r) {
  if (r.name.empty()) return fail(ERROR_PATH_NOT_FOUND);
  if (hasInvalidCharacters(r.name)) return fail(ERROR_INVALID_NAME);
  if (r.disposition == TRUNCATE_EXISTING && !(r.access & kWriteRights)) return fail(ERROR_INVALID_PARAMETER);
  const std::string host = toHostPath(r.name);
  if (host.empty()) return fail(ERROR_PATH_NOT_FOUND);

  struct stat before;
  const bool exists = ::stat(host.c_str(), &before) == 0;
  DWORD error = ERROR_SUCCESS;
  const int disposition = dispositionFlags(r.disposition, exists, &error);
  if (error != ERROR_SUCCESS) return fail(error);
  if (!exists && (r.disposition == OPEN_EXISTING || r.disposition == TRUNCATE_EXISTING))
    return fail(missingPathError(host));
  // A directory opens only for backup semantics, and then only to be read.
  if (exists && S_ISDIR(before.st_mode) && !(r.flags & FILE_FLAG_BACKUP_SEMANTICS))
    return fail(ERROR_ACCESS_DENIED);

  auto file = std::make_shared<FileObject>(r.access);
  // Checked before the open, so a refused open truncates nothing.
  if (exists && !file->sharing().acquire(FileId{before.st_dev, before.st_ino}, r.access, r.share))
    return fail(ERROR_SHARING_VIOLATION);

  const mode_t mode = (r.flags & FILE_ATTRIBUTE_READONLY) ? 0444 : 0666;
  int fd = ::open(host.c_str(), accessFlags(r.access) | disposition | O_CLOEXEC | O_NOCTTY, mode);
  if (fd < 0) return fail(errno == ENOENT ? missingPathError(host) : win32ErrorFromErrno(errno));
  file->adopt(fd);

  // The file may have been created or replaced since the check above.
  struct stat after;
  if (::fstat(fd, &after) != 0) return fail(win32ErrorFromErrno(errno));
  if (!exists || after.st_ino != before.st_ino || after.st_dev != before.st_dev) {
    if (!file->sharing().acquire(FileId{after.st_dev, after.st_ino}, r.access, r.share))
      return fail(ERROR_SHARING_VIOLATION);
  }

  HANDLE handle = insertHandle(std::move(file));
  const bool reportsExisting = r.disposition == CREATE_ALWAYS || r.disposition == OPEN_ALWAYS;
  SetLastError(exists && reportsExisting ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
  return handle;
}

bool isDiskFull(int error) { return win32ErrorFromErrno(error) == ERROR_DISK_FULL; }

// Windows writes the whole buffer or, when the disk is full, nothing: the
// call fails with ERROR_DISK_FULL and reports 0 bytes written. A host write
// may stop part way when the room runs out, so the part it wrote at the end
// of the file is cut off again. (Bytes that overwrote earlier content in
// the middle of the file before the room ran out stay overwritten.)
void undoPartialWrite(int fd, DWORD done) {
  const off_t end = ::lseek(fd, 0, SEEK_CUR);
  struct stat st;
  if (end < static_cast<off_t>(done) || ::fstat(fd, &st) != 0 || st.st_size != end) return;
  const off_t start = end - static_cast<off_t>(done);
  if (::ftruncate(fd, start) == 0) ::lseek(fd, start, SEEK_SET);
}

BOOL writeAll(int fd, const char* data, DWORD size, LPDWORD written) {
  DWORD done = 0;
  while (done < size) {
    ssize_t n = ::write(fd, data + done, size - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      const int error = n < 0 ? errno : ENOSPC;
      if (isDiskFull(error)) {
        if (done > 0) undoPartialWrite(fd, done);
        done = 0;
      }
      if (written) *written = done;
      setLastErrorFromErrno(error);
      return FALSE;
    }
    done += static_cast<DWORD>(n);
  }
  if (written) *written = done;
  return TRUE;
}

}  // namespace

}  // namespace emulated

extern "C" HANDLE CreateFileW(LPCWSTR lpFileName, DWORD dwDesiredAccess, DWORD dwShareMode,
                              LPSECURITY_ATTRIBUTES, DWORD dwCreationDisposition,
                              DWORD dwFlagsAndAttributes, HANDLE) {
  if (lpFileName == nullptr) return emulated::fail(ERROR_PATH_NOT_FOUND);
  try {
    return emulated::createFile({lpFileName, dwDesiredAccess, dwShareMode, dwCreationDisposition,
                                 dwFlagsAndAttributes});
  } catch (const std::bad_alloc&) {
    return emulated::fail(ERROR_NOT_ENOUGH_MEMORY);
  }
}

extern "C" BOOL WriteFile(HANDLE hFile, LPCVOID lpBuffer, DWORD nNumberOfBytesToWrite,
                          LPDWORD lpNumberOfBytesWritten, LPOVERLAPPED lpOverlapped) {
  if (lpNumberOfBytesWritten) *lpNumberOfBytesWritten = 0;
  auto file = emulated::lookupHandleAs<emulated::FileObject>(hFile);
  DWORD error = ERROR_SUCCESS;
  if (!file) {
    error = ERROR_INVALID_HANDLE;
  } else if (lpOverlapped != nullptr || (lpBuffer == nullptr && nNumberOfBytesToWrite != 0)) {
    error = ERROR_INVALID_PARAMETER;
  } else if (!file->canWrite()) {
    error = ERROR_ACCESS_DENIED;
  }
  if (error != ERROR_SUCCESS) {
    SetLastError(error);
    return FALSE;
  }
  return emulated::writeAll(file->fd(), static_cast<const char*>(lpBuffer), nNumberOfBytesToWrite,
                            lpNumberOfBytesWritten);
}
