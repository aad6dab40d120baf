#include "install/msi/msi_product_version.h"

#include <cstdint>
#include <limits>
#include <tuple>

namespace installer {
namespace msi_wrapper {

namespace {

bool isBlank(WCHAR c) { return c == u' ' || (c >= u'\t' && c <= u'\r'); }

// The C runtime's wide decimal conversion of one piece, clamped to the
// signed 32-bit range.
std::int32_t readDecimal(const platform::wstring& piece) {
  size_t i = 0;
  while (i < piece.size() && isBlank(piece[i])) ++i;
  bool negative = false;
  if (i < piece.size() && (piece[i] == u'+' || piece[i] == u'-')) negative = piece[i++] == u'-';
  constexpr std::int64_t kMax = std::numeric_limits<std::int32_t>::max();
  std::int64_t value = 0;
  for (; i < piece.size() && piece[i] >= u'0' && piece[i] <= u'9'; ++i) {
    value = value * 10 + (piece[i] - u'0');
    if (value > kMax + 1) value = kMax + 1;  // clamped below; stop growing
  }
  if (negative) value = -value;
  if (value > kMax) value = kMax;
  if (value < -kMax - 1) value = -kMax - 1;
  return static_cast<std::int32_t>(value);
}

}  // namespace

MsiProductVersion::MsiProductVersion(const platform::wstring& text) {
  std::uint32_t* fields[] = {&major_, &minor_, &build_};
  size_t cursor = 0;
  for (std::uint32_t* field : fields) {
    if (cursor >= text.size()) break;
    size_t dot = text.find(u'.', cursor);
    if (dot == platform::wstring::npos) dot = text.size();
    const platform::wstring piece = text.substr(cursor, dot - cursor);
    const auto value = static_cast<std::uint32_t>(readDecimal(piece));
    if (value == 0 && piece != WIDE_TEXT("0")) break;
    *field = value;
    cursor = dot + 1;
  }
}

bool MsiProductVersion::operator==(const MsiProductVersion& other) const {
  return major_ == other.major_ && minor_ == other.minor_ && build_ == other.build_;
}

bool MsiProductVersion::operator<(const MsiProductVersion& other) const {
  return std::tie(major_, minor_, build_) < std::tie(other.major_, other.minor_, other.build_);
}

bool isVersionStringLess(const platform::wstring& a, const platform::wstring& b) {
  for (size_t i = 0; i < a.size() && i < b.size(); ++i) {
    if (a[i] != b[i]) return a[i] < b[i];
  }
  return false;
}

}  // namespace msi_wrapper
}  // namespace installer
