// MsiInstallProductW and MsiConfigureProductExW (msi_products.h): their
// arguments checked as documented, then one operation (install_operation.h).
#include <string>

#include "platform/emulated/installer/command_line.h"
#include "platform/emulated/installer/install_operation.h"
#include "platform/emulated/msi_products.h"
#include "platform/emulated/products/installed_products.h"

using namespace emulated;
using namespace emulated::installer;

namespace {

std::u16string_view wideView(LPCWSTR text) {
  return text == nullptr ? std::u16string_view() : std::u16string_view(text, std::char_traits<char16_t>::length(text));
}

}  // namespace

extern "C" UINT MsiInstallProductW(LPCWSTR szPackagePath, LPCWSTR szCommandLine) {
  if (szPackagePath == nullptr || *szPackagePath == 0) return ERROR_INVALID_PARAMETER;
  PropertySettings properties;
  if (UINT code = parseCommandLine(wideView(szCommandLine), &properties)) return code;
  return installPackage(wideView(szPackagePath), properties);
}

extern "C" UINT MsiConfigureProductExW(LPCWSTR szProduct, int iInstallLevel, INSTALLSTATE eInstallState,
                                       LPCWSTR szCommandLine) {
  if (szProduct == nullptr || !isGuid(szProduct)) return ERROR_INVALID_PARAMETER;
  PropertySettings properties;
  if (UINT code = parseCommandLine(wideView(szCommandLine), &properties)) return code;
  return configureProduct(wideView(szProduct), iInstallLevel, eInstallState, properties);
}
