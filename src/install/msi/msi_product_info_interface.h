// Questions about a product: the product inside a package file here, an
// installed product elsewhere. Every answer is "" or an empty list when
// Windows Installer fails; nothing throws on its codes.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/windows.h"

namespace installer {
namespace msi_wrapper {

struct FeatureInfo;

class MsiProductInfoInterface {
 public:
  MsiProductInfoInterface() = default;
  virtual ~MsiProductInfoInterface() = default;
  MsiProductInfoInterface(const MsiProductInfoInterface&) = delete;
  MsiProductInfoInterface& operator=(const MsiProductInfoInterface&) = delete;

  virtual platform::wstring getProductName() = 0;
  virtual platform::wstring getInstallDirectory() = 0;
  virtual platform::wstring getMsiFilePath() = 0;
  virtual platform::wstring getProductCode() = 0;
  virtual platform::wstring getProperty(const platform::wstring& name) = 0;
  virtual std::vector<platform::wstring> getCabFileNames() = 0;
  // The feature tree (feature_info.h); Windows Installer's code.
  virtual std::uint32_t getProductFeatures(std::vector<FeatureInfo>& features) = 0;
  // What the package means on this machine (setup_type.h): 0 to 4.
  virtual std::int32_t getSetupType() = 0;
};

// The product of a package file, opened read-only. Nothing when the open
// fails; `error` receives the open's Windows Installer code either way.
std::unique_ptr<MsiProductInfoInterface> openMsiProductInfo(const platform::wstring& path, std::uint32_t& error);

}  // namespace msi_wrapper
}  // namespace installer
