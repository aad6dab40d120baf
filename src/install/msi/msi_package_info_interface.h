// Facts about a package file as a whole: whether it can be read, and its
// package code.
#pragma once

#include <memory>

#include "platform/windows.h"

namespace installer {
namespace msi_wrapper {

class MsiPackageInfoInterface {
 public:
  MsiPackageInfoInterface() = default;
  virtual ~MsiPackageInfoInterface() = default;
  MsiPackageInfoInterface(const MsiPackageInfoInterface&) = delete;
  MsiPackageInfoInterface& operator=(const MsiPackageInfoInterface&) = delete;

  // True when the package opened and its summary information was read.
  virtual bool isValid() = 0;
  // The package code GUID (summary property 9), or "".
  virtual platform::wstring getPackageCode() = 0;
};

// Never fails as an object: a file that cannot be read gives an object
// whose isValid is false.
std::unique_ptr<MsiPackageInfoInterface> openMsiPackageInfo(const platform::wstring& path);

}  // namespace msi_wrapper
}  // namespace installer
