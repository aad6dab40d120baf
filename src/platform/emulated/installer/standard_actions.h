// The standard actions of Windows Installer, by name: one table that
// MsiDoActionW and the installation's sequence walk both look names up in.
// It lists every standard action Microsoft documents. An entry with a body
// runs it on the session and returns the action's Windows code; an entry
// without one is a standard action the emulated machine accepts as a step
// that changes nothing (the engine posts its ACTIONSTART and a log line).
#pragma once

#include <string_view>

#include "platform/emulated/installer/session.h"

namespace emulated::installer {

struct StandardAction {
  const char16_t* name;
  UINT (*run)(Session& session);  // nullptr: accepted, changes nothing here
};

// nullptr for a name that is not a documented standard action.
const StandardAction* findStandardAction(std::u16string_view name);

// The action's body alone, without its messages: ERROR_SUCCESS for an
// accepted step, ERROR_FUNCTION_NOT_CALLED (1626) for a name the table lacks.
UINT runStandardAction(Session& session, std::u16string_view name);

// The bodies, each as its documented standard action does (search_actions.cc,
// upgrade_actions.cc, check_actions.cc).
UINT appSearch(Session& session);
UINT launchConditions(Session& session);
UINT findRelatedProducts(Session& session);
UINT migrateFeatureStates(Session& session);
UINT validateProductId(Session& session);
UINT installValidate(Session& session);

// The installation's operation and registration (the installation engine):
// registration_actions.cc, and RemoveExistingProducts in upgrade_actions.cc.
UINT installInitialize(Session& session);
UINT installFinalize(Session& session);
UINT processComponents(Session& session);
UINT removeExistingProducts(Session& session);
UINT registerProductAction(Session& session);
UINT publishFeatures(Session& session);
UINT publishProduct(Session& session);
UINT unpublishFeatures(Session& session);
UINT registerUser(Session& session);

// The installation's changes to files, folders, the registry and shortcuts
// (file_actions.cc, registry_actions.cc, shortcut_actions.cc): each writes
// its operations into the session's script, and changes nothing in a
// package session.
UINT createFolders(Session& session);
UINT removeFolders(Session& session);
UINT installFiles(Session& session);
UINT removeFiles(Session& session);
UINT writeRegistryValues(Session& session);
UINT removeRegistryValues(Session& session);
UINT createShortcuts(Session& session);
UINT removeShortcuts(Session& session);

}  // namespace emulated::installer
