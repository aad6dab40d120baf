// The session functions of msi.dll: MsiOpenPackageW, the property, condition
// and formatting functions, and the state and path queries that a package's
// costing answers. Each finds the session behind its handle and leaves the
// work to it.
#include <cstdlib>
#include <string>
#include <vector>

#include "platform/emulated/installer/condition.h"
#include "platform/emulated/installer/format_text.h"
#include "platform/emulated/installer/session_handle.h"
#include "platform/emulated/machine/text_out.h"
#include "platform/emulated/machine/unicode.h"
#include "platform/emulated/msi.h"
#include "platform/emulated/msi_database/msi_objects.h"

namespace emulated::installer {

namespace {

// The UI level a session reports (UILevel) until an internal UI level is
// set: INSTALLUILEVEL_FULL.
constexpr int kDefaultUiLevel = 5;

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

// The facts of no session: MsiFormatRecordW without an installation
// handle formats the record's fields only.
class NoSession final : public SessionFacts {
 public:
  std::u16string property(std::u16string_view) const override { return {}; }
  std::u16string environment(std::u16string_view) const override { return {}; }
  bool featureStates(std::u16string_view, INSTALLSTATE*, INSTALLSTATE*) const override { return false; }
  bool componentStates(std::u16string_view, INSTALLSTATE*, INSTALLSTATE*) const override { return false; }
  std::u16string filePath(std::u16string_view, bool) const override { return {}; }
  std::u16string componentDirectory(std::u16string_view) const override { return {}; }
};

std::u16string recordText(MSIHANDLE record, UINT field) {
  DWORD size = 0;
  WCHAR empty[1] = {0};
  if (MsiRecordGetStringW(record, field, empty, &size) != ERROR_MORE_DATA) return {};
  std::u16string text(size + 1, u'\0');
  ++size;
  if (MsiRecordGetStringW(record, field, text.data(), &size) != ERROR_SUCCESS) return {};
  text.resize(size);
  return text;
}

// Field 0 is the template; without one, each field shows as "n: [n] ".
std::u16string recordTemplate(MSIHANDLE record, UINT count) {
  if (!MsiRecordIsNull(record, 0)) return recordText(record, 0);
  std::u16string text;
  for (UINT field = 1; field <= count; ++field) {
    const std::u16string n = utf8ToUtf16(std::to_string(field));
    text += n + u": [" + n + u"] ";
  }
  return text;
}

}  // namespace

}  // namespace emulated::installer

using namespace emulated;
using namespace emulated::installer;

extern "C" UINT MsiOpenPackageW(LPCWSTR szPackagePath, MSIHANDLE* hProduct) {
  if (szPackagePath == nullptr || hProduct == nullptr) return ERROR_INVALID_PARAMETER;
  const std::u16string_view path = wideView(szPackagePath);
  UINT code = ERROR_SUCCESS;
  std::shared_ptr<Session> session;
  if (std::shared_ptr<DatabaseObject> database = databaseNamedBy(path)) {
    session = Session::openDatabase(std::move(database), std::u16string(path), kDefaultUiLevel, code);
  } else {
    session = Session::open(path, kDefaultUiLevel, code);
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

extern "C" MSICONDITION MsiEvaluateConditionW(MSIHANDLE hInstall, LPCWSTR szCondition) {
  const std::shared_ptr<Session> session = findSession(hInstall);
  if (!session) return MSICONDITION_ERROR;
  if (szCondition == nullptr) return MSICONDITION_NONE;
  return evaluateCondition(wideView(szCondition), *session);
}

extern "C" UINT MsiFormatRecordW(MSIHANDLE hInstall, MSIHANDLE hRecord, LPWSTR szResultBuf, LPDWORD pcchResultBuf) {
  std::shared_ptr<Session> session;
  if (hInstall != 0 && !(session = findSession(hInstall))) return ERROR_INVALID_HANDLE;
  if (!findHandleOf<RecordObject>(hRecord)) return ERROR_INVALID_HANDLE;
  if (szResultBuf != nullptr && pcchResultBuf == nullptr) return ERROR_INVALID_PARAMETER;
  const UINT count = MsiRecordGetFieldCount(hRecord);
  std::vector<std::u16string> fields(count + 1);
  fields[0] = recordTemplate(hRecord, count);
  for (UINT field = 1; field <= count; ++field) fields[field] = recordText(hRecord, field);
  const NoSession none;
  const std::u16string text =
      formatText(fields[0], session ? static_cast<const SessionFacts&>(*session) : none, fields);
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
