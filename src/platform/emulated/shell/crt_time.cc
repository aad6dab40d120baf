#include <cerrno>

#include "platform/emulated/crt.h"

// Windows' argument order (result first) over the host's localtime_r.
errno_t localtime_s(std::tm* result, const std::time_t* time) {
  if (result == nullptr || time == nullptr) return EINVAL;
  if (::localtime_r(time, result) == nullptr) return EINVAL;
  return 0;
}
