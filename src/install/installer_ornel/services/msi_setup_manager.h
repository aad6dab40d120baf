// The `msi_setup_manager` service: pre-installation, installation and uninstallation.
#pragma once

#include "install/installer_ornel/interop_helpers/binder.h"

namespace installer {

class MsiSetupManagerService {
 public:
  static constexpr const char kName[] = "msi_setup_manager";

  static void bindMethods(node_interop::helpers::ObjectHolder& holder) {}
};

}  // namespace installer
