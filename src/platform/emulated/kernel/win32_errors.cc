#include "platform/emulated/kernel/win32_errors.h"

#include <cerrno>

#include "platform/emulated/kernel32.h"

namespace emulated {

DWORD win32ErrorFromErrno(int error) {
  switch (error) {
    case 0:
      return ERROR_SUCCESS;
    case ENOENT:
      return ERROR_FILE_NOT_FOUND;
    case ENOTDIR:
    case ELOOP:
      return ERROR_PATH_NOT_FOUND;
    case EMFILE:
    case ENFILE:
      return ERROR_TOO_MANY_OPEN_FILES;
    case EACCES:
    case EPERM:
    case EISDIR:
      return ERROR_ACCESS_DENIED;
    case EBADF:
      return ERROR_INVALID_HANDLE;
    case ENOMEM:
      return ERROR_NOT_ENOUGH_MEMORY;
    case EROFS:
      return ERROR_WRITE_PROTECT;
    case EBUSY:
    case ETXTBSY:
      return ERROR_SHARING_VIOLATION;
    case EEXIST:
      return ERROR_FILE_EXISTS;
    case EINVAL:
      return ERROR_INVALID_PARAMETER;
    // Running out of room, a quota or the size limit are all "the disk is
    // full" to a Windows program.
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
      return ERROR_DISK_FULL;
    case ENAMETOOLONG:
      return ERROR_FILENAME_EXCED_RANGE;
    default:
      return ERROR_GEN_FAILURE;
  }
}

void setLastErrorFromErrno(int error) { SetLastError(win32ErrorFromErrno(error)); }

}  // namespace emulated
