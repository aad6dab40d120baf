// MsiProductInfoInterface over a package file.
#pragma once

#include <cstdint>
#include <memory>

#include "install/msi/msi_handle_holder.h"
#include "install/msi/msi_package_info_interface.h"
#include "install/msi/msi_product_info_interface.h"

namespace installer {
namespace msi_wrapper {

class MsiProductInfo : public MsiProductInfoInterface {
 public:
  // Opens `path` read-only; the result is in openError(). The package
  // information opens the same file a second time.
  explicit MsiProductInfo(platform::wstring path);
  ~MsiProductInfo() override;

  platform::wstring getProductName() override;
  // Program Files, then the long names of the directories from the one
  // below the top-level folder down to INSTALLDIR, each ending in "\". A
  // package without such a path gives Program Files\Manufacturer\ProductName.
  platform::wstring getInstallDirectory() override;
  platform::wstring getMsiFilePath() override;
  platform::wstring getProductCode() override;
  platform::wstring getProperty(const platform::wstring& name) override;
  std::vector<platform::wstring> getCabFileNames() override;
  std::uint32_t getProductFeatures(std::vector<FeatureInfo>& features) override;
  std::int32_t getSetupType() override;

  std::uint32_t openError() const { return openError_; }
  MsiPackageInfoInterface& packageInfo() { return *packageInfo_; }

 private:
  platform::wstring path_;
  MsiHandleHolder database_;
  std::uint32_t openError_ = ERROR_SUCCESS;
  std::unique_ptr<MsiPackageInfoInterface> packageInfo_;
};

}  // namespace msi_wrapper
}  // namespace installer
