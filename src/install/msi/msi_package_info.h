// MsiPackageInfoInterface over a package file and its summary information.
#pragma once

#include <cstdint>

#include "install/msi/msi_handle_holder.h"
#include "install/msi/msi_package_info_interface.h"

namespace installer {
namespace msi_wrapper {

class MsiPackageInfo : public MsiPackageInfoInterface {
 public:
  explicit MsiPackageInfo(const platform::wstring& path);
  ~MsiPackageInfo() override;

  bool isValid() override;
  platform::wstring getPackageCode() override;

 private:
  MsiHandleHolder database_;
  MsiHandleHolder summary_;
  std::uint32_t openError_ = ERROR_SUCCESS;
  std::uint32_t summaryError_ = ERROR_SUCCESS;
};

}  // namespace msi_wrapper
}  // namespace installer
