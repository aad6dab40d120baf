#include "install/msi/msi_product_version.h"

#include "install/msi/msi_strings.h"

#include <cstdint>
#include <tuple>

namespace installer {
namespace msi_wrapper {


MsiProductVersion::MsiProductVersion(const platform::wstring& text) {
  std::uint32_t* fields[] = {&major_, &minor_, &build_};
  size_t cursor = 0;
  for (std::uint32_t* field : fields) {
    if (cursor >= text.size()) break;
    size_t dot = text.find(u'.', cursor);
    if (dot == platform::wstring::npos) dot = text.size();
    const platform::wstring piece = text.substr(cursor, dot - cursor);
    const auto value = static_cast<std::uint32_t>(runtimeDecimal(piece));
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
