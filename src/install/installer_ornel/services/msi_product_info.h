// The `msi_product_info` service: the default package's product facts.
#pragma once

#include "install/installer_ornel/interop_helpers/binder.h"

namespace installer {

class MsiProductInfoService {
 public:
  static constexpr const char kName[] = "msi_product_info";

  static void bindMethods(node_interop::helpers::ObjectHolder& holder) {}
};

}  // namespace installer
