// The `msi_package_info` service: whether the default package is a valid
// package, and its package code. Every call opens the package afresh by its
// bare name, which Windows Installer resolves against the current directory.
#pragma once

#include "install/installer_ornel/interop_helpers/binder.h"
#include "platform/windows.h"

namespace installer {

class MsiPackageInfoService {
 public:
  static constexpr const char kName[] = "msi_package_info";

  bool isValid();
  platform::wstring getPackageCode();

  static void bindMethods(node_interop::helpers::ObjectHolder& holder) {
    using node_interop::helpers::bindMethod;
    bindMethod(holder, "isValid", &MsiPackageInfoService::isValid);
    bindMethod(holder, "getPackageCode", &MsiPackageInfoService::getPackageCode);
  }
};

}  // namespace installer
