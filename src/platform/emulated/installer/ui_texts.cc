#include "platform/emulated/installer/ui_texts.h"

#include <cstdio>
#include <string>

#include "platform/emulated/machine/unicode.h"

namespace emulated::installer {

namespace {

std::u16string ascii(const char* text) { return utf8ToUtf16(text); }

struct ActionDescription {
  std::u16string_view action;
  std::u16string_view description;
};

// Microsoft documents the default description of only the actions below.
// The ActionText table's own page gives the three that every package must
// author; the descriptions of the other standard actions the engine runs
// (AppSearch, LaunchConditions, FindRelatedProducts, ValidateProductID,
// CostInitialize, FileCost, CostFinalize, InstallValidate,
// MigrateFeatureStates, InstallInitialize, InstallFinalize,
// ProcessComponents, RemoveExistingProducts, CreateFolders, RemoveFolders,
// InstallFiles, RemoveFiles, WriteRegistryValues, RemoveRegistryValues, CreateShortcuts,
// RemoveShortcuts, RegisterProduct, PublishFeatures, PublishProduct,
// UnpublishFeatures, RegisterUser) are resources of msi.dll that no
// published page lists, so they stay empty until a package's ActionText
// table gives one.
constexpr ActionDescription kDefaults[] = {
    {u"Rollback", u"Undoes actions."},
    {u"RollbackCleanup", u"Removes old files."},
    {u"GenerateScript", u"Generates system operations for action."},
};

}  // namespace

std::tm localNow() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  return local;
}

std::u16string installerTime(const std::tm& at) {
  char text[48];
  std::snprintf(text, sizeof text, "%d:%02d:%02d", at.tm_hour, at.tm_min, at.tm_sec);
  return ascii(text);
}

std::u16string installerDate(const std::tm& at) {
  char text[48];
  std::snprintf(text, sizeof text, "%d/%d/%d", at.tm_mon + 1, at.tm_mday, at.tm_year + 1900);
  return ascii(text);
}

std::u16string_view defaultActionDescription(std::u16string_view action) {
  for (const ActionDescription& entry : kDefaults) {
    if (entry.action == action) return entry.description;
  }
  return {};
}

std::u16string actionStartText(std::u16string_view action, std::u16string_view description, const std::tm& at) {
  std::u16string text = u"Action " + installerTime(at) + u": ";
  text.append(action);
  text += u". ";
  text.append(description);
  return text;
}

std::u16string actionStartedLogText(std::u16string_view action, const std::tm& at) {
  std::u16string text = u"Action start " + installerTime(at) + u": ";
  text.append(action);
  return text + u".";
}

std::u16string actionEndedLogText(std::u16string_view action, UINT result, const std::tm& at) {
  std::u16string text = u"Action ended " + installerTime(at) + u": ";
  text.append(action);
  return text + u". Return value " + ascii(std::to_string(logReturnValue(result)).c_str()) + u".";
}

int logReturnValue(UINT result) {
  // "Logging of Action Return Values".
  switch (result) {
    case ERROR_FUNCTION_NOT_CALLED: return 0;
    case ERROR_SUCCESS: return 1;
    case ERROR_INSTALL_USEREXIT: return 2;
    case ERROR_INSTALL_FAILURE: return 3;
    case 1604: return 4;  // ERROR_INSTALL_SUSPEND
    case ERROR_INVALID_HANDLE_STATE: return 6;
    case 1618: return 8;  // ERROR_INSTALL_ALREADY_RUNNING
    default: return 3;
  }
}

std::u16string recordText(const std::vector<std::u16string>& fields) {
  std::u16string text;
  for (size_t i = 0; i < fields.size(); ++i) {
    text += ascii(std::to_string(i + 1).c_str()) + u": " + fields[i] + u" ";
  }
  return text;
}

}  // namespace emulated::installer
