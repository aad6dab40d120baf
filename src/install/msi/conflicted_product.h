// The installed product that conflicts with the package: a release or beta
// of the same family, this very package, or something the package would
// downgrade.
#pragma once

#include <tuple>

#include "install/installer_ornel/interop_helpers/record_fields.h"
#include "platform/windows.h"

namespace installer {
namespace msi_wrapper {

struct ConflictedProductInfo {
  platform::wstring productName;  // the installed product's registered name
  platform::wstring productCode;
  bool isBeta = false;
  bool isTolv = false;       // of this product family, release or beta
  bool isTheSame = false;    // the package itself is installed
  bool isDowngrade = false;
};

// Upgrade attributes that classify the installed product; the whole number
// is compared, not single bits.
inline constexpr std::int32_t kBetaAttributes = 768;
inline constexpr std::int32_t kFamilyAttributes = 1;

// The first installed product related to the default package by an upgrade
// rule that is not detect-only. False, with `info` untouched, when there is
// none or the package cannot be read; throws "msiProductInfo error: <code>"
// when the default package cannot be opened at all.
bool getConflictedProductInfo(ConflictedProductInfo& info);

}  // namespace msi_wrapper
}  // namespace installer

template <>
struct node_interop::helpers::RecordFields<installer::msi_wrapper::ConflictedProductInfo> {
  using T = installer::msi_wrapper::ConflictedProductInfo;
  static constexpr auto fields =
      std::make_tuple(field("productName", &T::productName), field("productCode", &T::productCode),
                      field("isBeta", &T::isBeta), field("isTolv", &T::isTolv), field("isTheSame", &T::isTheSame),
                      field("isDowngrade", &T::isDowngrade));
};
