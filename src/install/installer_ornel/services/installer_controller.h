// The `installer_controller` service: the machine and the bootstrapper around the installer.
#pragma once

#include "install/installer_ornel/interop_helpers/binder.h"

namespace installer {

class InstallerController {
 public:
  static constexpr const char kName[] = "installer_controller";

  static void bindMethods(node_interop::helpers::ObjectHolder& holder) {}
};

}  // namespace installer
