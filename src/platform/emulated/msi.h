// msi functions of the emulated Windows machine: same names and signatures
// as the Windows SDK declares them in msi.h and msiquery.h.
//
// The database side is backed by libmsi. What the emulation adds on top of
// it, and why, is written next to each function in its source file; the
// short version for callers:
// - handles are small integers from one process-wide table; 0 is no handle;
// - every handle may be used from any thread, but one handle by one thread
//   at a time (a database and its views share one lock, see msi_objects.h);
// - MSIDBOPEN_DIRECT and MSIDBOPEN_CREATEDIRECT commit the changes when the
//   last handle on the database closes; MSIDBOPEN_TRANSACT needs
//   MsiDatabaseCommit; MSIDBOPEN_READONLY refuses every write;
// - text is UTF-16 here and UTF-8 inside libmsi.
#pragma once

#include "platform/emulated/msi_products.h"
#include "platform/emulated/win_types.h"

// Windows error codes of the installer functions that win_types.h lacks.
#ifndef ERROR_CALL_NOT_IMPLEMENTED
#define ERROR_CALL_NOT_IMPLEMENTED 120L
#endif
#ifndef ERROR_CREATE_FAILED
#define ERROR_CREATE_FAILED 1631L
#endif
#ifndef ERROR_NOT_FOUND
#define ERROR_NOT_FOUND 1168L
#endif
#ifndef ERROR_INVALID_FIELD
#define ERROR_INVALID_FIELD 1616L
#endif
#ifndef ERROR_INVALID_TABLE
#define ERROR_INVALID_TABLE 1628L
#endif
#ifndef ERROR_INVALID_DATATYPE
#define ERROR_INVALID_DATATYPE 1804L
#endif

#ifndef ERROR_UNKNOWN_COMPONENT
#define ERROR_UNKNOWN_COMPONENT 1607L
#endif
#ifndef ERROR_INSTALL_PACKAGE_OPEN_FAILED
#define ERROR_INSTALL_PACKAGE_OPEN_FAILED 1619L
#endif

// The value of a null integer field.
#define MSI_NULL_INTEGER 0x80000000

// Persist modes of MsiOpenDatabaseW: small integers passed as the pointer.
#define MSIDBOPEN_READONLY (reinterpret_cast<LPCWSTR>(static_cast<std::uintptr_t>(0)))
#define MSIDBOPEN_TRANSACT (reinterpret_cast<LPCWSTR>(static_cast<std::uintptr_t>(1)))
#define MSIDBOPEN_DIRECT (reinterpret_cast<LPCWSTR>(static_cast<std::uintptr_t>(2)))
#define MSIDBOPEN_CREATE (reinterpret_cast<LPCWSTR>(static_cast<std::uintptr_t>(3)))
#define MSIDBOPEN_CREATEDIRECT (reinterpret_cast<LPCWSTR>(static_cast<std::uintptr_t>(4)))
#define MSIDBOPEN_PATCHFILE (32 / sizeof(*MSIDBOPEN_READONLY))

typedef enum tagMSIMODIFY {
  MSIMODIFY_SEEK = -1,
  MSIMODIFY_REFRESH = 0,
  MSIMODIFY_INSERT = 1,
  MSIMODIFY_UPDATE = 2,
  MSIMODIFY_ASSIGN = 3,
  MSIMODIFY_REPLACE = 4,
  MSIMODIFY_MERGE = 5,
  MSIMODIFY_DELETE = 6,
  MSIMODIFY_INSERT_TEMPORARY = 7,
  MSIMODIFY_VALIDATE = 8,
  MSIMODIFY_VALIDATE_NEW = 9,
  MSIMODIFY_VALIDATE_FIELD = 10,
  MSIMODIFY_VALIDATE_DELETE = 11,
} MSIMODIFY;

// Results of MsiEvaluateConditionW.
typedef enum tagMSICONDITION {
  MSICONDITION_FALSE = 0,  // the expression is false
  MSICONDITION_TRUE = 1,   // the expression is true
  MSICONDITION_NONE = 2,   // there is no expression
  MSICONDITION_ERROR = 3,  // the expression is malformed
} MSICONDITION;

// Summary information property types (the VARENUM values Windows uses).
#define VT_EMPTY 0
#define VT_I2 2
#define VT_I4 3
#define VT_LPSTR 30
#define VT_FILETIME 64

// Summary information property ids.
#define PID_CODEPAGE 1
#define PID_TITLE 2
#define PID_SUBJECT 3
#define PID_AUTHOR 4
#define PID_KEYWORDS 5
#define PID_COMMENTS 6
#define PID_TEMPLATE 7
#define PID_LASTAUTHOR 8
#define PID_REVNUMBER 9
#define PID_EDITTIME 10
#define PID_LASTPRINTED 11
#define PID_CREATE_DTM 12
#define PID_LASTSAVE_DTM 13
#define PID_PAGECOUNT 14
#define PID_WORDCOUNT 15
#define PID_CHARCOUNT 16
#define PID_APPNAME 18
#define PID_SECURITY 19

extern "C" {

UINT MsiOpenDatabaseW(LPCWSTR szDatabasePath, LPCWSTR szPersist, MSIHANDLE* phDatabase);
UINT MsiDatabaseCommit(MSIHANDLE hDatabase);
UINT MsiDatabaseOpenViewW(MSIHANDLE hDatabase, LPCWSTR szQuery, MSIHANDLE* phView);

UINT MsiViewExecute(MSIHANDLE hView, MSIHANDLE hRecord);
UINT MsiViewFetch(MSIHANDLE hView, MSIHANDLE* phRecord);
UINT MsiViewModify(MSIHANDLE hView, MSIMODIFY eModifyMode, MSIHANDLE hRecord);
UINT MsiViewClose(MSIHANDLE hView);

MSIHANDLE MsiCreateRecord(UINT cParams);
UINT MsiRecordGetFieldCount(MSIHANDLE hRecord);
BOOL MsiRecordIsNull(MSIHANDLE hRecord, UINT iField);
UINT MsiRecordGetStringW(MSIHANDLE hRecord, UINT iField, LPWSTR szValueBuf, LPDWORD pcchValueBuf);
int MsiRecordGetInteger(MSIHANDLE hRecord, UINT iField);
UINT MsiRecordSetStringW(MSIHANDLE hRecord, UINT iField, LPCWSTR szValue);
UINT MsiRecordSetInteger(MSIHANDLE hRecord, UINT iField, int iValue);

UINT MsiGetSummaryInformationW(MSIHANDLE hDatabase, LPCWSTR szDatabasePath, UINT uiUpdateCount,
                               MSIHANDLE* phSummaryInfo);
UINT MsiSummaryInfoGetPropertyW(MSIHANDLE hSummaryInfo, UINT uiProperty, UINT* puiDataType, INT* piValue,
                                FILETIME* pftValue, LPWSTR szValueBuf, LPDWORD pcchValueBuf);

UINT MsiCloseHandle(MSIHANDLE hAny);

// Installer sessions (installer/msi_session_api.cc). A session handle comes
// from MsiOpenPackageW: the package opened read-only, its properties, and
// after the costing actions its directories and feature states.
UINT MsiOpenPackageW(LPCWSTR szPackagePath, MSIHANDLE* hProduct);
UINT MsiGetPropertyW(MSIHANDLE hInstall, LPCWSTR szName, LPWSTR szValueBuf, LPDWORD pcchValueBuf);
UINT MsiSetPropertyW(MSIHANDLE hInstall, LPCWSTR szName, LPCWSTR szValue);
MSICONDITION MsiEvaluateConditionW(MSIHANDLE hInstall, LPCWSTR szCondition);
UINT MsiFormatRecordW(MSIHANDLE hInstall, MSIHANDLE hRecord, LPWSTR szResultBuf, LPDWORD pcchResultBuf);
UINT MsiGetFeatureStateW(MSIHANDLE hInstall, LPCWSTR szFeature, INSTALLSTATE* piInstalled, INSTALLSTATE* piAction);
UINT MsiGetComponentStateW(MSIHANDLE hInstall, LPCWSTR szComponent, INSTALLSTATE* piInstalled,
                           INSTALLSTATE* piAction);
UINT MsiGetTargetPathW(MSIHANDLE hInstall, LPCWSTR szFolder, LPWSTR szPathBuf, LPDWORD pcchPathBuf);

}  // extern "C"
