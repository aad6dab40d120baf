// Windows Installer's product and feature queries (msi.h), answered by the
// emulated machine from its store of installed products.
#pragma once

#include "platform/emulated/win_types.h"

typedef enum tagINSTALLSTATE {
  INSTALLSTATE_NOTUSED = -7,
  INSTALLSTATE_BADCONFIG = -6,
  INSTALLSTATE_INCOMPLETE = -5,
  INSTALLSTATE_SOURCEABSENT = -4,
  INSTALLSTATE_MOREDATA = -3,
  INSTALLSTATE_INVALIDARG = -2,
  INSTALLSTATE_UNKNOWN = -1,
  INSTALLSTATE_BROKEN = 0,
  INSTALLSTATE_ADVERTISED = 1,
  INSTALLSTATE_REMOVED = 1,
  INSTALLSTATE_ABSENT = 2,
  INSTALLSTATE_LOCAL = 3,
  INSTALLSTATE_SOURCE = 4,
  INSTALLSTATE_DEFAULT = 5,
} INSTALLSTATE;

// Product properties (the INSTALLPROPERTY_* names of msi.h).
#define INSTALLPROPERTY_INSTALLLOCATION u"InstallLocation"
#define INSTALLPROPERTY_INSTALLEDPRODUCTNAME u"InstalledProductName"
#define INSTALLPROPERTY_LOCALPACKAGE u"LocalPackage"
#define INSTALLPROPERTY_VERSIONSTRING u"VersionString"
#define INSTALLPROPERTY_PACKAGECODE u"PackageCode"
#define INSTALLPROPERTY_PRODUCTNAME u"ProductName"
#define INSTALLPROPERTY_VERSIONMAJOR u"VersionMajor"
#define INSTALLPROPERTY_VERSIONMINOR u"VersionMinor"

// The install level MsiConfigureProductExW takes: the product's default.
#define INSTALLLEVEL_DEFAULT 0
#define INSTALLLEVEL_MINIMUM 1
#define INSTALLLEVEL_MAXIMUM 0xFFFF

// Length of a GUID in its braced text form, without the terminator.
#define MAX_GUID_CHARS 38

extern "C" {

// Installs the package at szPackagePath with the properties of the command
// line (PROPERTY=value pairs, a value quoted with "" when it holds blanks),
// under the UI level and external handler in force: ERROR_SUCCESS,
// ERROR_SUCCESS_REBOOT_REQUIRED, ERROR_INSTALL_USEREXIT (cancelled, rolled
// back), ERROR_INSTALL_FAILURE (an action failed, rolled back),
// ERROR_INSTALL_PACKAGE_OPEN_FAILED, ERROR_INSTALL_PACKAGE_INVALID,
// ERROR_INSTALL_ALREADY_RUNNING, ERROR_PRODUCT_VERSION,
// ERROR_INVALID_COMMAND_LINE (installer/msi_install_api.cc).
UINT MsiInstallProductW(LPCWSTR szPackagePath, LPCWSTR szCommandLine);

// Installs or removes an installed product from its cached package:
// INSTALLSTATE_ABSENT removes it (REMOVE=ALL), LOCAL and SOURCE put every
// feature there (ADDLOCAL=ALL, ADDSOURCE=ALL), DEFAULT reconfigures with
// the command line and iInstallLevel. ERROR_UNKNOWN_PRODUCT,
// ERROR_INVALID_PARAMETER for a malformed product code or state,
// ERROR_CALL_NOT_IMPLEMENTED for ADVERTISED (the machine does not
// advertise), ERROR_INSTALL_SOURCE_ABSENT when the cached package is gone;
// the other results as MsiInstallProductW's.
UINT MsiConfigureProductExW(LPCWSTR szProduct, int iInstallLevel, INSTALLSTATE eInstallState, LPCWSTR szCommandLine);


// A property of an installed product, with the two-call sizing contract:
// *pcchValueBuf is in characters without the terminator; a short buffer
// gives ERROR_MORE_DATA and the size needed. ERROR_UNKNOWN_PRODUCT,
// ERROR_UNKNOWN_PROPERTY, ERROR_INVALID_PARAMETER (malformed GUID).
UINT MsiGetProductInfoW(LPCWSTR szProduct, LPCWSTR szAttribute, LPWSTR lpValueBuf, LPDWORD pcchValueBuf);

// The iProductIndex-th installed product with this upgrade code; lpProductBuf
// holds 39 characters. ERROR_NO_MORE_ITEMS past the last one.
UINT MsiEnumRelatedProductsW(LPCWSTR lpUpgradeCode, DWORD dwReserved, DWORD iProductIndex, LPWSTR lpProductBuf);

// The iFeatureIndex-th feature of an installed product and its parent; both
// buffers hold MAX_FEATURE_CHARS + 1 characters.
UINT MsiEnumFeaturesW(LPCWSTR szProduct, DWORD iFeatureIndex, LPWSTR lpFeatureBuf, LPWSTR lpParentBuf);

INSTALLSTATE MsiQueryFeatureStateW(LPCWSTR szProduct, LPCWSTR szFeature);

}  // extern "C"

#define MAX_FEATURE_CHARS 38
