// Windows Installer's product and feature queries, answered from the
// machine's store of installed products. Each first rolls back what a
// killed installation left, when no installation runs (else that one
// does), so no query sees a half-installed product.
#include <cstring>
#include <string>

#include "platform/emulated/installer/install_operation.h"
#include "platform/emulated/products/installed_products.h"
#include "platform/emulated/msi_products.h"
#include "platform/emulated/machine/text_out.h"
#include "platform/emulated/machine/unicode.h"

namespace emulated {

namespace {

// The text of one product property, or nullopt for an unknown property.
std::optional<std::u16string> productProperty(const InstalledProduct& product, std::u16string_view name) {
  if (name == INSTALLPROPERTY_INSTALLLOCATION) return product.installLocation;
  if (name == INSTALLPROPERTY_INSTALLEDPRODUCTNAME || name == INSTALLPROPERTY_PRODUCTNAME)
    return product.productName;
  if (name == INSTALLPROPERTY_LOCALPACKAGE) return product.localPackage;
  if (name == INSTALLPROPERTY_VERSIONSTRING) return product.versionString;
  if (name == INSTALLPROPERTY_PACKAGECODE) return product.packageCode;
  if (name == INSTALLPROPERTY_VERSIONMAJOR || name == INSTALLPROPERTY_VERSIONMINOR) {
    // The leading numbers of the version string, as decimal text.
    const std::string version = utf16ToUtf8(product.versionString);
    const size_t dot = version.find('.');
    const std::string piece =
        name == INSTALLPROPERTY_VERSIONMAJOR ? version.substr(0, dot)
                                             : (dot == std::string::npos ? "" : version.substr(dot + 1));
    return utf8ToUtf16(std::to_string(std::strtoul(piece.c_str(), nullptr, 10)));
  }
  return std::nullopt;
}

void copyTerminated(const std::u16string& text, LPWSTR buffer, size_t capacity) {
  const size_t copied = text.size() < capacity ? text.size() : capacity - 1;
  std::memcpy(buffer, text.data(), copied * sizeof(WCHAR));
  buffer[copied] = 0;
}

}  // namespace

}  // namespace emulated

using namespace emulated;

extern "C" UINT MsiGetProductInfoW(LPCWSTR szProduct, LPCWSTR szAttribute, LPWSTR lpValueBuf,
                                   LPDWORD pcchValueBuf) {
  installer::recoverInterruptedOperations();
  if (szProduct == nullptr || szAttribute == nullptr || !isGuid(szProduct)) return ERROR_INVALID_PARAMETER;
  if (lpValueBuf != nullptr && pcchValueBuf == nullptr) return ERROR_INVALID_PARAMETER;
  const auto product = findInstalledProduct(szProduct);
  if (!product) return ERROR_UNKNOWN_PRODUCT;
  const auto value = productProperty(*product, szAttribute);
  if (!value) return ERROR_UNKNOWN_PROPERTY;
  if (pcchValueBuf == nullptr) return ERROR_SUCCESS;
  return copyTextOut(*value, lpValueBuf, pcchValueBuf);
}

extern "C" UINT MsiEnumRelatedProductsW(LPCWSTR lpUpgradeCode, DWORD dwReserved, DWORD iProductIndex,
                                        LPWSTR lpProductBuf) {
  installer::recoverInterruptedOperations();
  if (lpUpgradeCode == nullptr || !isGuid(lpUpgradeCode) || dwReserved != 0 || lpProductBuf == nullptr)
    return ERROR_INVALID_PARAMETER;
  DWORD index = 0;
  for (const InstalledProduct& product : installedProducts()) {
    if (!sameGuid(product.upgradeCode, lpUpgradeCode)) continue;
    if (index++ == iProductIndex) {
      copyTerminated(product.productCode, lpProductBuf, MAX_GUID_CHARS + 1);
      return ERROR_SUCCESS;
    }
  }
  return ERROR_NO_MORE_ITEMS;
}

extern "C" UINT MsiEnumFeaturesW(LPCWSTR szProduct, DWORD iFeatureIndex, LPWSTR lpFeatureBuf,
                                 LPWSTR lpParentBuf) {
  installer::recoverInterruptedOperations();
  if (szProduct == nullptr || !isGuid(szProduct) || lpFeatureBuf == nullptr) return ERROR_INVALID_PARAMETER;
  const auto product = findInstalledProduct(szProduct);
  if (!product) return ERROR_UNKNOWN_PRODUCT;
  if (iFeatureIndex >= product->features.size()) return ERROR_NO_MORE_ITEMS;
  const InstalledFeature& feature = product->features[iFeatureIndex];
  copyTerminated(feature.name, lpFeatureBuf, MAX_FEATURE_CHARS + 1);
  if (lpParentBuf != nullptr) copyTerminated(feature.parent, lpParentBuf, MAX_FEATURE_CHARS + 1);
  return ERROR_SUCCESS;
}

extern "C" INSTALLSTATE MsiQueryFeatureStateW(LPCWSTR szProduct, LPCWSTR szFeature) {
  installer::recoverInterruptedOperations();
  if (szProduct == nullptr || szFeature == nullptr || !isGuid(szProduct)) return INSTALLSTATE_INVALIDARG;
  const auto product = findInstalledProduct(szProduct);
  if (!product) return INSTALLSTATE_UNKNOWN;
  for (const InstalledFeature& feature : product->features) {
    if (feature.name == szFeature) return feature.state;
  }
  return INSTALLSTATE_UNKNOWN;
}
