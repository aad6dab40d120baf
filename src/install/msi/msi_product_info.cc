#include "install/msi/msi_product_info.h"
#include "install/msi/feature_info.h"
#include "install/msi/setup_type.h"

#include "install/msi/package_readers.h"

namespace installer {
namespace msi_wrapper {

namespace {

platform::wstring programFilesFolder() {
  WCHAR folder[MAX_PATH] = {0};
  if (!SHGetSpecialFolderPathW(nullptr, folder, CSIDL_PROGRAM_FILES, FALSE)) return {};
  return folder;
}

}  // namespace

MsiProductInfo::MsiProductInfo(platform::wstring path) : path_(std::move(path)) {
  openError_ = MsiOpenDatabaseW(path_.c_str(), readOnlyPersist(), database_.receive());
  packageInfo_ = openMsiPackageInfo(path_);
}

MsiProductInfo::~MsiProductInfo() {
  database_.reset();
  packageInfo_.reset();
}

platform::wstring MsiProductInfo::getProductName() { return getProperty(WIDE_TEXT("ProductName")); }

platform::wstring MsiProductInfo::getProductCode() { return getProperty(WIDE_TEXT("ProductCode")); }

platform::wstring MsiProductInfo::getMsiFilePath() { return path_; }

platform::wstring MsiProductInfo::getProperty(const platform::wstring& name) {
  platform::wstring value;
  if (readPackageProperty(database_.get(), name, value) != ERROR_SUCCESS) return {};
  return value;
}

platform::wstring MsiProductInfo::getInstallDirectory() {
  // The walk's code is not examined: one that stops early leaves the part
  // already built, which is still the best answer the package gives.
  platform::wstring relative;
  resolveDirectoryPath(database_.get(), WIDE_TEXT("INSTALLDIR"), relative);
  const platform::wstring programFiles = programFilesFolder();
  if (programFiles.empty()) return {};
  if (!relative.empty()) return programFiles + WIDE_TEXT("\\") + relative;
  platform::wstring manufacturer;
  if (readPackageProperty(database_.get(), WIDE_TEXT("Manufacturer"), manufacturer) != ERROR_SUCCESS ||
      manufacturer.empty())
    return {};
  const platform::wstring productName = getProductName();
  if (productName.empty()) return {};
  return programFiles + WIDE_TEXT("\\") + manufacturer + WIDE_TEXT("\\") + productName;
}

std::vector<platform::wstring> MsiProductInfo::getCabFileNames() {
  std::vector<platform::wstring> names;
  readCabinetNames(database_.get(), names);
  return names;
}

std::unique_ptr<MsiProductInfoInterface> openMsiProductInfo(const platform::wstring& path, std::uint32_t& error) {
  auto info = std::make_unique<MsiProductInfo>(path);
  error = info->openError();
  if (error != ERROR_SUCCESS) return nullptr;
  return info;
}

std::uint32_t MsiProductInfo::getProductFeatures(std::vector<FeatureInfo>& features) {
  features.clear();
  return readFeatureTable(database_.get(), features);
}

std::int32_t MsiProductInfo::getSetupType() { return msi_wrapper::getSetupType(database_.get(), *packageInfo_); }

}  // namespace msi_wrapper
}  // namespace installer
