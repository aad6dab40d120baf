// The properties Windows Installer sets itself when it opens a package
// (the "Property Reference" of its documentation): the Windows version,
// the system and shell folders, the user, the machine and the product's
// state. Their values come from the emulated machine (machine.conf and the
// store of installed products).
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "platform/emulated/machine/machine_config.h"

namespace emulated::installer {

using PropertyMap = std::map<std::u16string, std::u16string, std::less<>>;

struct OpenContext {
  std::u16string packagePath;  // absolute Windows path of the package
  bool installed = false;      // the product code is in the store
  int uiLevel = 5;             // the internal UI level in force
};

// Adds the system properties to `properties`, which holds the package's
// Property table (ALLUSERS there picks the per-machine shell folders). A
// system property replaces a row of the same name, as on Windows.
void addSystemProperties(PropertyMap& properties, const MachineFacts& machine, const OpenContext& context);

// Date and Time: read at each use, as Windows computes them. nullopt for
// any other name.
std::optional<std::u16string> clockProperty(std::u16string_view name);

}  // namespace emulated::installer
