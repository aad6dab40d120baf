// The feature tree of a package, as the feature-selection page shows it:
// each feature with its install-level condition and, for an installed
// product, whether it is on the machine.
#pragma once

#include <cstdint>
#include <map>
#include <tuple>
#include <vector>

#include "install/installer_ornel/interop_helpers/record_fields.h"
#include "platform/windows.h"

namespace installer {
namespace msi_wrapper {

// The feature's row of the Condition table: empty and 0 without one.
struct ActiveInstallLevel {
  platform::wstring condition;
  std::int32_t installLevel = 0;
};

struct FeatureInfo {
  platform::wstring name;
  platform::wstring parentName;  // empty for a top-level feature
  platform::wstring displayName;
  platform::wstring description;
  ActiveInstallLevel activeInstallLevel;
  std::int32_t defaultInstallLevel = 0;
  std::int32_t cost = 0;  // no reader fills it
  bool enabled = true;
  bool visible = true;
};

struct FeatureCondition {
  platform::wstring feature;
  platform::wstring condition;
  std::int32_t level = 0;
};

std::uint32_t readFeatureRow(MSIHANDLE record, FeatureInfo& feature);
std::uint32_t readConditionTable(MSIHANDLE database, std::vector<FeatureCondition>& conditions);

// The Feature table with each feature's condition. Returns the first
// failing code; a package without a Condition table lists every feature
// and returns the failed query's code.
std::uint32_t readFeatureTable(MSIHANDLE database, std::vector<FeatureInfo>& features);

// The installed features of a product, by name, with their parents. Stops
// at the first code other than 0 and 259.
void enumerateInstalledFeatures(const platform::wstring& productCode,
                                std::map<platform::wstring, platform::wstring>& installed);

// The features of an installed product's cached package, each enabled when
// installed locally or from source, and hidden when Windows Installer does
// not list it.
std::uint32_t readInstalledFeatures(const platform::wstring& productCode, const platform::wstring& cachedPackage,
                                    std::vector<FeatureInfo>& features);

}  // namespace msi_wrapper
}  // namespace installer

template <>
struct node_interop::helpers::RecordFields<installer::msi_wrapper::ActiveInstallLevel> {
  using T = installer::msi_wrapper::ActiveInstallLevel;
  static constexpr auto fields = std::make_tuple(field("condition", &T::condition), field("installLevel", &T::installLevel));
};

template <>
struct node_interop::helpers::RecordFields<installer::msi_wrapper::FeatureInfo> {
  using T = installer::msi_wrapper::FeatureInfo;
  static constexpr auto fields = std::make_tuple(
      field("name", &T::name), field("parentName", &T::parentName), field("displayName", &T::displayName),
      field("description", &T::description), field("activeInstallLevel", &T::activeInstallLevel),
      field("defaultInstallLevel", &T::defaultInstallLevel), field("cost", &T::cost), field("enabled", &T::enabled),
      field("visible", &T::visible));
};
