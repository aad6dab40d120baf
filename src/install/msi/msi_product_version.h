// Product versions: the three-part value with which upgrade ranges are
// tested, and the plain character comparison that tells a downgrade.
#pragma once

#include <cstdint>

#include "platform/windows.h"

namespace installer {
namespace msi_wrapper {

class MsiProductVersion {
 public:
  // Parses "major.minor.build": each piece is read as the C runtime reads a
  // decimal number (leading blanks and a sign accepted, digits up to the
  // first other character, clamped to the signed 32-bit range, stored
  // unsigned). A piece that reads as 0 without being exactly "0" ends the
  // parse; that field and the later ones stay 0. A fourth piece is ignored.
  // Nothing is ever a parse error.
  explicit MsiProductVersion(const platform::wstring& text);
  virtual ~MsiProductVersion() = default;
  MsiProductVersion(const MsiProductVersion&) = default;
  MsiProductVersion& operator=(const MsiProductVersion&) = default;

  std::uint32_t major() const { return major_; }
  std::uint32_t minor() const { return minor_; }
  std::uint32_t build() const { return build_; }

  bool operator==(const MsiProductVersion& other) const;
  // Field by field, as unsigned numbers: 1.2.3 < 1.10.0.
  bool operator<(const MsiProductVersion& other) const;

  bool operator==(const platform::wstring& text) const { return *this == MsiProductVersion(text); }
  bool operator<(const platform::wstring& text) const { return *this < MsiProductVersion(text); }
  bool operator>(const platform::wstring& text) const { return !(*this == text) && !(*this < text); }

 private:
  std::uint32_t major_ = 0;
  std::uint32_t minor_ = 0;
  std::uint32_t build_ = 0;
};

// A comparison of the two texts unit by unit, not of their numbers: the
// first differing UTF-16 unit decides. An empty `a`, equal texts and texts
// of which one is a prefix of the other are never less. So "10.0.0" is less
// than "9.0.0".
bool isVersionStringLess(const platform::wstring& a, const platform::wstring& b);

}  // namespace msi_wrapper
}  // namespace installer
