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

// Length of a GUID in its braced text form, without the terminator.
#define MAX_GUID_CHARS 38

extern "C" {

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
