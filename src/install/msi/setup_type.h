// The setup type: what the package means on this machine. 0 not
// determined; 1 a fresh install; 2 the product is installed from another
// package; 3 an upgrade of an installed related product; 4 the product is
// installed with this very package.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/windows.h"

namespace installer {
namespace msi_wrapper {

class MsiPackageInfoInterface;

enum SetupType : std::int32_t {
  kSetupUndetermined = 0,
  kSetupFresh = 1,
  kSetupOtherPackage = 2,
  kSetupUpgrade = 3,
  kSetupSamePackage = 4,
};

// One row of a package's Upgrade table, with an empty bound read as open.
struct UpgradeEntry {
  platform::wstring upgradeCode;
  platform::wstring versionMin = WIDE_TEXT("0.0.0");
  platform::wstring versionMax = WIDE_TEXT("99999.99999.99999");
  std::int32_t attributes = 0;
};

// Upgrade attribute bits.
inline constexpr std::int32_t kUpgradeDetectOnly = 0x2;
inline constexpr std::int32_t kUpgradeMinInclusive = 0x100;
inline constexpr std::int32_t kUpgradeMaxInclusive = 0x200;

std::uint32_t readUpgradeRow(MSIHANDLE record, UpgradeEntry& entry);
std::uint32_t readUpgradeTable(MSIHANDLE database, std::vector<UpgradeEntry>& entries);

// The entries whose first related installed product's version lies in
// their range; detect-only entries never match.
std::vector<UpgradeEntry> findInstalledUpgradeMatches(const std::vector<UpgradeEntry>& entries);

// Whether the package's product is installed, with the package code Windows
// Installer recorded for it. An unknown product is no error.
bool getInstalledPackageCode(MSIHANDLE database, platform::wstring& packageCode, std::uint32_t& error);

// The setup type of the package open as `database`, whose package
// information is `package`.
std::int32_t getSetupType(MSIHANDLE database, MsiPackageInfoInterface& package);

}  // namespace msi_wrapper
}  // namespace installer
