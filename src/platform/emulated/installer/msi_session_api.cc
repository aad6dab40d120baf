// The session functions of msi.dll: MsiOpenPackageW, MsiDoActionW, the property, condition
// and formatting functions, and the state and path queries that a package's
// costing answers. Each finds the session behind its handle and leaves the
// work to it.
#include <cstdlib>
#include <string>
#include <vector>

#include "platform/emulated/installer/actions.h"
#include "platform/emulated/installer/condition_evaluator.h"
#include "platform/emulated/installer/formatted_text.h"
#include "platform/emulated/installer/install_operation.h"
#include "platform/emulated/installer/session_handle.h"
#include "platform/emulated/installer/ui_settings.h"
#include "platform/emulated/machine/text_out.h"
#include "platform/emulated/msi.h"
#include "platform/emulated/msi_database/msi_objects.h"

namespace emulated::installer {

namespace {

std::u16string_view wideView(LPCWSTR text) { return std::u16string_view(text, std::char_traits<char16_t>::length(text)); }

// "#nnnn": a database handle in place of a path, as MsiOpenPackage accepts.
std::shared_ptr<DatabaseObject> databaseNamedBy(std::u16string_view path) {
  if (path.size() < 2 || path[0] != u'#') return nullptr;
  MSIHANDLE handle = 0;
  for (char16_t c : path.substr(1)) {
    if (c < u'0' || c > u'9' || handle > 100000000) return nullptr;
    handle = handle * 10 + static_cast<MSIHANDLE>(c - u'0');
  }
  return findHandleOf<DatabaseObject>(handle);
}

// A record's fields for the formatter: null fields (and empty ones, which
// Windows does not tell from null) as nullopt.
RecordFields recordFields(MSIHANDLE record) {
  const UINT count = MsiRecordGetFieldCount(record);
  RecordFields fields(count + 1);
  for (UINT field = 0; field <= count; ++field) {
    if (MsiRecordIsNull(record, field)) continue;
    DWORD size = 0;
    WCHAR empty[1] = {0};
    if (MsiRecordGetStringW(record, field, empty, &size) != ERROR_MORE_DATA || size == 0) continue;
    std::u16string text(size + 1, u'\0');
    ++size;
    if (MsiRecordGetStringW(record, field, text.data(), &size) != ERROR_SUCCESS) continue;
    text.resize(size);
    fields[field] = std::move(text);
  }
  return fields;
}

}  // namespace

}  // namespace emulated::installer

using namespace emulated;
using namespace emulated::installer;

extern "C" UINT MsiOpenPackageW(LPCWSTR szPackagePath, MSIHANDLE* hProduct) {
  if (szPackagePath == nullptr || hProduct == nullptr) return ERROR_INVALID_PARAMETER;
  const std::u16string_view path = wideView(szPackagePath);
  recoverInterruptedOperations();
  UINT code = ERROR_SUCCESS;
  std::shared_ptr<Session> session;
  if (std::shared_ptr<DatabaseObject> database = databaseNamedBy(path)) {
    session = Session::openDatabase(std::move(database), std::u16string(path), sessionUiLevel(), code);
  } else {
    session = Session::open(path, sessionUiLevel(), code);
  }
  if (!session) return code;
  const MSIHANDLE handle = registerHandle(std::make_shared<SessionObject>(std::move(session)));
  if (handle == 0) return ERROR_NOT_ENOUGH_MEMORY;
  *hProduct = handle;
  return ERROR_SUCCESS;
}

extern "C" UINT MsiGetPropertyW(MSIHANDLE hInstall, LPCWSTR szName, LPWSTR szValueBuf, LPDWORD pcchValueBuf) {
  const std::shared_ptr<Session> session = findSession(hInstall);
  if (!session) return ERROR_INVALID_HANDLE;
  if (szName == nullptr || (szValueBuf != nullptr && pcchValueBuf == nullptr)) return ERROR_INVALID_PARAMETER;
  const std::u16string value = session->property(wideView(szName));
  if (pcchValueBuf == nullptr) return ERROR_SUCCESS;
  return copyTextOut(value, szValueBuf, pcchValueBuf);
}

extern "C" UINT MsiSetPropertyW(MSIHANDLE hInstall, LPCWSTR szName, LPCWSTR szValue) {
  const std::shared_ptr<Session> session = findSession(hInstall);
  if (!session) return ERROR_INVALID_HANDLE;
  if (szName == nullptr) return ERROR_INVALID_PARAMETER;
  if (*szName == 0) return ERROR_FUNCTION_FAILED;
  session->setProperty(wideView(szName), szValue == nullptr ? std::u16string_view() : wideView(szValue));
  return ERROR_SUCCESS;
}

extern "C" UINT MsiDoActionW(MSIHANDLE hInstall, LPCWSTR szAction) {
  const std::shared_ptr<Session> session = findSession(hInstall);
  if (!session) return ERROR_INVALID_HANDLE;
  if (szAction == nullptr) return ERROR_INVALID_PARAMETER;
  return doAction(*session, wideView(szAction));
}

extern "C" MSICONDITION MsiEvaluateConditionW(MSIHANDLE hInstall, LPCWSTR szCondition) {
  const std::shared_ptr<Session> session = findSession(hInstall);
  if (!session) return MSICONDITION_ERROR;
  if (szCondition == nullptr) return MSICONDITION_NONE;
  return evaluateCondition(wideView(szCondition), *session);
}

extern "C" UINT MsiFormatRecordW(MSIHANDLE hInstall, MSIHANDLE hRecord, LPWSTR szResultBuf, LPDWORD pcchResultBuf) {
  // Without an installation handle only the record's own fields resolve.
  std::shared_ptr<Session> session;
  if (hInstall != 0 && !(session = findSession(hInstall))) return ERROR_INVALID_HANDLE;
  if (!findHandleOf<RecordObject>(hRecord)) return ERROR_INVALID_HANDLE;
  if (szResultBuf != nullptr && pcchResultBuf == nullptr) return ERROR_INVALID_PARAMETER;
  const std::u16string text = formatRecord(recordFields(hRecord), session.get());
  if (pcchResultBuf == nullptr) return ERROR_SUCCESS;
  return copyTextOut(text, szResultBuf, pcchResultBuf);
}

extern "C" UINT MsiGetFeatureStateW(MSIHANDLE hInstall, LPCWSTR szFeature, INSTALLSTATE* piInstalled,
                                    INSTALLSTATE* piAction) {
  const std::shared_ptr<Session> session = findSession(hInstall);
  if (!session) return ERROR_INVALID_HANDLE;
  if (szFeature == nullptr || piInstalled == nullptr || piAction == nullptr) return ERROR_INVALID_PARAMETER;
  return session->featureStates(wideView(szFeature), piInstalled, piAction) ? ERROR_SUCCESS : ERROR_UNKNOWN_FEATURE;
}

extern "C" UINT MsiGetComponentStateW(MSIHANDLE hInstall, LPCWSTR szComponent, INSTALLSTATE* piInstalled,
                                      INSTALLSTATE* piAction) {
  const std::shared_ptr<Session> session = findSession(hInstall);
  if (!session) return ERROR_INVALID_HANDLE;
  if (szComponent == nullptr || piInstalled == nullptr || piAction == nullptr) return ERROR_INVALID_PARAMETER;
  return session->componentStates(wideView(szComponent), piInstalled, piAction) ? ERROR_SUCCESS
                                                                                : ERROR_UNKNOWN_COMPONENT;
}

extern "C" UINT MsiGetTargetPathW(MSIHANDLE hInstall, LPCWSTR szFolder, LPWSTR szPathBuf, LPDWORD pcchPathBuf) {
  const std::shared_ptr<Session> session = findSession(hInstall);
  if (!session) return ERROR_INVALID_HANDLE;
  if (szFolder == nullptr || (szPathBuf != nullptr && pcchPathBuf == nullptr)) return ERROR_INVALID_PARAMETER;
  // Paths exist once CostFinalize has resolved them.
  const DirectoryRow* directory = session->costed() ? session->findDirectory(wideView(szFolder)) : nullptr;
  if (directory == nullptr) return ERROR_DIRECTORY;
  if (pcchPathBuf == nullptr) return ERROR_SUCCESS;
  return copyTextOut(directory->targetPath, szPathBuf, pcchPathBuf);
}
