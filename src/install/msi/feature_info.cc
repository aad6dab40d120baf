#include "install/msi/feature_info.h"

#include "install/msi/msi_handle_holder.h"
#include "install/msi/msi_strings.h"
#include "install/msi/msi_product_installed_info.h"
#include "install/msi/msi_table_reader.h"

namespace installer {
namespace msi_wrapper {

std::uint32_t readFeatureRow(MSIHANDLE record, FeatureInfo& feature) {
  platform::wstring* texts[] = {&feature.name, &feature.parentName, &feature.displayName, &feature.description};
  for (std::uint32_t field = 1; field <= 4; ++field) {
    const std::uint32_t code = readRecordString(record, field, *texts[field - 1]);
    if (code != ERROR_SUCCESS) return code;
  }
  platform::wstring text;
  std::uint32_t code = readRecordString(record, 5, text);
  if (code != ERROR_SUCCESS) return code;
  feature.visible = runtimeDecimal(text) != 0;
  if ((code = readRecordString(record, 6, text)) != ERROR_SUCCESS) return code;
  feature.defaultInstallLevel = runtimeDecimal(text);
  return ERROR_SUCCESS;
}

std::uint32_t readConditionTable(MSIHANDLE database, std::vector<FeatureCondition>& conditions) {
  return readTableRows(database, WIDE_TEXT("SELECT Condition.Feature_,Condition.Level,Condition.Condition FROM Condition"),
                       [&conditions](MSIHANDLE record) {
                         FeatureCondition row;
                         platform::wstring level;
                         std::uint32_t code = readRecordString(record, 1, row.feature);
                         if (code == ERROR_SUCCESS) code = readRecordString(record, 2, level);
                         if (code == ERROR_SUCCESS) code = readRecordString(record, 3, row.condition);
                         if (code != ERROR_SUCCESS) return code;
                         row.level = runtimeDecimal(level);
                         conditions.push_back(std::move(row));
                         return code;
                       });
}

std::uint32_t readFeatureTable(MSIHANDLE database, std::vector<FeatureInfo>& features) {
  std::uint32_t code = readTableRows(
      database,
      WIDE_TEXT("SELECT Feature.Feature,Feature.Feature_Parent,Feature.Title,Feature.Description,Feature.Display,"
                "Feature.Level FROM Feature"),
      [&features](MSIHANDLE record) {
        FeatureInfo feature;
        const std::uint32_t rowCode = readFeatureRow(record, feature);
        if (rowCode == ERROR_SUCCESS) features.push_back(std::move(feature));
        return rowCode;
      });
  if (code != ERROR_SUCCESS) return code;
  std::vector<FeatureCondition> conditions;
  code = readConditionTable(database, conditions);
  if (code != ERROR_SUCCESS) return code;
  for (const FeatureCondition& condition : conditions) {
    for (FeatureInfo& feature : features) {
      if (feature.name != condition.feature) continue;
      feature.activeInstallLevel = {condition.condition, condition.level};
      break;
    }
  }
  return ERROR_SUCCESS;
}

void enumerateInstalledFeatures(const platform::wstring& productCode,
                                std::map<platform::wstring, platform::wstring>& installed) {
  installed.clear();
  if (!isProductInstalled(productCode)) return;
  for (DWORD index = 0;; ++index) {
    WCHAR feature[MAX_FEATURE_CHARS + 1] = {};
    WCHAR parent[MAX_FEATURE_CHARS + 1] = {};
    const UINT code = MsiEnumFeaturesW(productCode.c_str(), index, feature, parent);
    if (code != ERROR_SUCCESS) return;  // 259 at the end; any other code would repeat
    installed.emplace(feature, parent);
  }
}

std::uint32_t readInstalledFeatures(const platform::wstring& productCode, const platform::wstring& cachedPackage,
                                    std::vector<FeatureInfo>& features) {
  features.clear();
  MsiHandleHolder database;
  std::uint32_t code = MsiOpenDatabaseW(cachedPackage.c_str(), MSIDBOPEN_READONLY, database.receive());
  if (code != ERROR_SUCCESS) return code;
  if ((code = readFeatureTable(database.get(), features)) != ERROR_SUCCESS) return code;
  std::map<platform::wstring, platform::wstring> installed;
  enumerateInstalledFeatures(productCode, installed);
  for (FeatureInfo& feature : features) {
    const INSTALLSTATE state = MsiQueryFeatureStateW(productCode.c_str(), feature.name.c_str());
    feature.enabled = state == INSTALLSTATE_LOCAL || state == INSTALLSTATE_SOURCE;
    if (feature.visible && installed.find(feature.name) == installed.end()) feature.visible = false;
  }
  return ERROR_SUCCESS;
}

}  // namespace msi_wrapper
}  // namespace installer
