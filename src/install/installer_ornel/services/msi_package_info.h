// The `msi_package_info` service: the default package's validity and package code.
#pragma once

#include "install/installer_ornel/interop_helpers/binder.h"

namespace installer {

class MsiPackageInfoService {
 public:
  static constexpr const char kName[] = "msi_package_info";

  static void bindMethods(node_interop::helpers::ObjectHolder& holder) {}
};

}  // namespace installer
