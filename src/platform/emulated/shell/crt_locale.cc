// The Windows C runtime's conversions between one wide unit and multibyte
// text in its default ("C") locale, where the multibyte encoding is one
// byte per character and byte b is the unit b. Units of 256 and above have
// no multibyte form there.
#include <cerrno>

#include "platform/emulated/crt.h"

std::size_t mbrtowc(WCHAR* unit, const char* bytes, std::size_t count, std::mbstate_t*) {
  if (bytes == nullptr) return 0;
  if (count == 0) return static_cast<std::size_t>(-2);
  const auto byte = static_cast<unsigned char>(*bytes);
  if (unit != nullptr) *unit = static_cast<WCHAR>(byte);
  return byte == 0 ? 0 : 1;
}

errno_t wcrtomb_s(std::size_t* written, char* bytes, std::size_t size, WCHAR unit, std::mbstate_t*) {
  if (written != nullptr) *written = static_cast<std::size_t>(-1);
  if (bytes == nullptr) {
    // As for a null character: the state is reset, one byte would be written.
    if (size != 0) return EINVAL;
    if (written != nullptr) *written = 1;
    return 0;
  }
  if (size == 0) return EINVAL;
  if (unit >= 256) {
    errno = EILSEQ;
    return EILSEQ;
  }
  bytes[0] = static_cast<char>(unit);
  if (written != nullptr) *written = 1;
  return 0;
}
