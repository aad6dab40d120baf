// The table of standard actions (standard_actions.h).
#include "platform/emulated/installer/standard_actions.h"

namespace emulated::installer {

namespace {

constexpr StandardAction kActions[] = {
    // The searches and checks that come before an installation.
    {u"AppSearch", appSearch},
    {u"LaunchConditions", launchConditions},
    {u"FindRelatedProducts", findRelatedProducts},
    {u"ValidateProductID", validateProductId},
    {u"MigrateFeatureStates", migrateFeatureStates},
    {u"InstallValidate", installValidate},
    // Costing.
    {u"CostInitialize", [](Session& session) { return session.costInitialize(); }},
    {u"FileCost", [](Session& session) { return session.fileCost(); }},
    {u"CostFinalize", [](Session& session) { return session.costFinalize(); }},

    // The installation's own actions: the operation and its registration.
    {u"InstallInitialize", installInitialize},
    {u"InstallFinalize", installFinalize},
    {u"ProcessComponents", processComponents},
    {u"RemoveExistingProducts", removeExistingProducts},
    {u"RegisterProduct", registerProductAction},
    {u"PublishFeatures", publishFeatures},
    {u"PublishProduct", publishProduct},
    {u"UnpublishFeatures", unpublishFeatures},
    {u"RegisterUser", registerUser},

    // The installation's changes to files, folders, the registry and
    // shortcuts, written into the installation script.
    {u"CreateFolders", createFolders},
    {u"RemoveFolders", removeFolders},
    {u"InstallFiles", installFiles},
    {u"RemoveFiles", removeFiles},
    {u"WriteRegistryValues", writeRegistryValues},
    {u"RemoveRegistryValues", removeRegistryValues},
    {u"CreateShortcuts", createShortcuts},
    {u"RemoveShortcuts", removeShortcuts},

    // The other documented standard actions: what they do (services, COM,
    // fonts, ODBC, ...) the emulated machine does not have.
    {u"ADMIN", nullptr},
    {u"ADVERTISE", nullptr},
    {u"AllocateRegistrySpace", nullptr},
    {u"BindImage", nullptr},
    {u"CCPSearch", nullptr},
    {u"DeleteServices", nullptr},
    {u"DisableRollback", nullptr},
    {u"DuplicateFiles", nullptr},
    {u"EXECUTE", nullptr},
    {u"ForceReboot", nullptr},
    {u"INSTALL", nullptr},
    {u"InstallAdminPackage", nullptr},
    {u"InstallExecute", nullptr},
    {u"InstallExecuteAgain", nullptr},
    {u"InstallODBC", nullptr},
    {u"InstallServices", nullptr},
    {u"InstallSFPCatalogFile", nullptr},
    {u"IsolateComponents", nullptr},
    {u"MoveFiles", nullptr},
    {u"MsiConfigureServices", nullptr},
    {u"MsiPublishAssemblies", nullptr},
    {u"MsiUnpublishAssemblies", nullptr},
    {u"PatchFiles", nullptr},
    {u"PublishComponents", nullptr},
    {u"RegisterClassInfo", nullptr},
    {u"RegisterComPlus", nullptr},
    {u"RegisterExtensionInfo", nullptr},
    {u"RegisterFonts", nullptr},
    {u"RegisterMIMEInfo", nullptr},
    {u"RegisterProgIdInfo", nullptr},
    {u"RegisterTypeLibraries", nullptr},
    {u"RemoveDuplicateFiles", nullptr},
    {u"RemoveEnvironmentStrings", nullptr},
    {u"RemoveIniValues", nullptr},
    {u"RemoveODBC", nullptr},
    {u"ResolveSource", nullptr},
    {u"RMCCPSearch", nullptr},
    {u"ScheduleReboot", nullptr},
    {u"SelfRegModules", nullptr},
    {u"SelfUnregModules", nullptr},
    {u"SEQUENCE", nullptr},
    {u"SetODBCFolders", nullptr},
    {u"StartServices", nullptr},
    {u"StopServices", nullptr},
    {u"UnpublishComponents", nullptr},
    {u"UnregisterClassInfo", nullptr},
    {u"UnregisterComPlus", nullptr},
    {u"UnregisterExtensionInfo", nullptr},
    {u"UnregisterFonts", nullptr},
    {u"UnregisterMIMEInfo", nullptr},
    {u"UnregisterProgIdInfo", nullptr},
    {u"UnregisterTypeLibraries", nullptr},
    {u"WriteEnvironmentStrings", nullptr},
    {u"WriteIniValues", nullptr},
};

}  // namespace

const StandardAction* findStandardAction(std::u16string_view name) {
  for (const StandardAction& action : kActions) {
    if (name == action.name) return &action;
  }
  return nullptr;
}

UINT runStandardAction(Session& session, std::u16string_view name) {
  const StandardAction* action = findStandardAction(name);
  if (action == nullptr) return ERROR_FUNCTION_NOT_CALLED;
  return action->run == nullptr ? ERROR_SUCCESS : action->run(session);
}

}  // namespace emulated::installer
