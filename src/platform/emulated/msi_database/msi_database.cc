// Databases: MsiOpenDatabaseW, MsiDatabaseCommit and MsiDatabaseOpenViewW.
//
// libmsi opens a database in one of two ways that matter here. Its direct
// mode (flags 0) writes through to the file and deletes the file when the
// database is released without a commit; its transact mode keeps changes in
// memory until libmsi_database_commit. Every writable persist value of
// Windows therefore opens in transact mode, and the direct modes commit
// when the last handle on the database closes, as Windows' direct mode
// leaves the changes in the file. A read-only libmsi database accepts
// writes in memory and silently drops them at commit, so the emulation
// refuses writes on read-only handles itself (msi_view.cc).
//
// An existing file is checked before libmsi sees it (package_check.h):
// MsiOpenDatabaseW answers ERROR_OPEN_FAILED for one that fails, the only
// failure its documentation gives for a file it cannot read.
#include <cstdint>
#include <string>

#include "platform/emulated/msi_database/libmsi_errors.h"
#include "platform/emulated/machine/machine_paths.h"
#include "platform/emulated/msi.h"
#include "platform/emulated/msi_database/msi_codepage.h"
#include "platform/emulated/msi_database/msi_database_open.h"
#include "platform/emulated/msi_database/package_check.h"
#include "platform/emulated/machine/unicode.h"

namespace emulated {

namespace {

std::u16string_view wideView(LPCWSTR text) { return std::u16string_view(text, std::char_traits<char16_t>::length(text)); }

guint libmsiFlags(const OpenMode& mode) {
  if (mode.readOnly) return LIBMSI_DB_FLAGS_READONLY;
  guint flags = LIBMSI_DB_FLAGS_TRANSACT;
  if (mode.create) flags |= LIBMSI_DB_FLAGS_CREATE;
  return flags;
}

}  // namespace

bool openModeFromPersist(LPCWSTR persist, OpenMode& mode) {
  const std::uintptr_t value = reinterpret_cast<std::uintptr_t>(persist);
  switch (value) {
    case 0: mode = {true, false, false}; return true;   // MSIDBOPEN_READONLY
    case 1: mode = {false, false, false}; return true;  // MSIDBOPEN_TRANSACT
    case 2: mode = {false, false, true}; return true;   // MSIDBOPEN_DIRECT
    case 3: mode = {false, true, false}; return true;   // MSIDBOPEN_CREATE
    case 4: mode = {false, true, true}; return true;    // MSIDBOPEN_CREATEDIRECT
    default: return false;
  }
}

std::shared_ptr<DatabaseObject> openDatabaseObject(LPCWSTR windowsPath, const OpenMode& mode, UINT& code,
                                                   UINT damagedCode) {
  const UINT failure = mode.create ? ERROR_CREATE_FAILED : ERROR_OPEN_FAILED;
  const std::string hostPath = toHostPath(wideView(windowsPath));
  if (hostPath.empty()) {
    code = failure;
    return nullptr;
  }
  ensureLibmsiRuntime();
  // libmsi reads an existing file as it finds it; nothing damaged may
  // reach it (package_check.h). A created file starts empty.
  if (!mode.create) {
    const PackageVerdict verdict = checkPackageFile(hostPath);
    if (verdict != PackageVerdict::sound) {
      code = verdict == PackageVerdict::missing ? failure : damagedCode;
      return nullptr;
    }
  }
  GError* error = nullptr;
  // A missing file and a file that is not a compound document both come
  // back as null without an error; Windows calls either an open failure.
  GObjectPtr<LibmsiDatabase> database(libmsi_database_new(hostPath.c_str(), libmsiFlags(mode), nullptr, &error));
  GErrorPtr owned(error);
  if (!database) {
    code = failure;
    return nullptr;
  }
  code = ERROR_SUCCESS;
  return std::make_shared<DatabaseObject>(std::move(database), mode.readOnly, mode.commitOnClose);
}

DatabaseObject::~DatabaseObject() {
  std::lock_guard<std::mutex> guard(lock_);
  if (!finished_ && commitOnClose_ && dirty_) commit();
}

UINT DatabaseObject::commit() {
  if (readOnly_) return ERROR_SUCCESS;
  GError* error = nullptr;
  const bool ok = libmsi_database_commit(database_.get(), &error);
  GErrorPtr owned(error);
  if (!ok) return windowsCodeFromGError(error, ERROR_FUNCTION_FAILED);
  dirty_ = false;
  return ERROR_SUCCESS;
}

int DatabaseObject::textCodepage() {
  if (codepage_ < 0) codepage_ = databaseTextCodepage(database_.get());
  return codepage_;
}

UINT DatabaseObject::finish() {
  std::lock_guard<std::mutex> guard(lock_);
  if (finished_) return ERROR_SUCCESS;
  finished_ = true;
  // Nothing written, nothing to commit: the file stays byte for byte.
  return commitOnClose_ && dirty_ ? commit() : ERROR_SUCCESS;
}

}  // namespace emulated

using namespace emulated;

extern "C" UINT MsiOpenDatabaseW(LPCWSTR szDatabasePath, LPCWSTR szPersist, MSIHANDLE* phDatabase) {
  OpenMode mode;
  if (szDatabasePath == nullptr || phDatabase == nullptr || !openModeFromPersist(szPersist, mode))
    return ERROR_INVALID_PARAMETER;
  UINT code = ERROR_SUCCESS;
  std::shared_ptr<DatabaseObject> database = openDatabaseObject(szDatabasePath, mode, code);
  if (!database) return code;
  const MSIHANDLE handle = registerHandle(database);
  if (handle == 0) return ERROR_NOT_ENOUGH_MEMORY;
  *phDatabase = handle;
  return ERROR_SUCCESS;
}

extern "C" UINT MsiDatabaseCommit(MSIHANDLE hDatabase) {
  std::shared_ptr<DatabaseObject> database = findHandleOf<DatabaseObject>(hDatabase);
  if (!database) return ERROR_INVALID_HANDLE;
  std::lock_guard<std::mutex> guard(database->lock());
  return database->commit();
}

extern "C" UINT MsiDatabaseOpenViewW(MSIHANDLE hDatabase, LPCWSTR szQuery, MSIHANDLE* phView) {
  if (szQuery == nullptr || phView == nullptr) return ERROR_INVALID_PARAMETER;
  std::shared_ptr<DatabaseObject> database = findHandleOf<DatabaseObject>(hDatabase);
  if (!database) return ERROR_INVALID_HANDLE;
  std::string sql = utf16ToUtf8(wideView(szQuery));
  if (UINT refused = checkSql(sql)) return refused;  // before libmsi's parser sees it
  GObjectPtr<LibmsiQuery> query;
  {
    std::lock_guard<std::mutex> guard(database->lock());
    GError* error = nullptr;
    query.reset(libmsi_query_new(database->get(), sql.c_str(), &error));
    GErrorPtr owned(error);
    // A malformed query, a missing table and an unknown column all fail here.
    if (!query) return windowsCodeFromGError(error, ERROR_BAD_QUERY_SYNTAX);
  }
  SqlStatement statement = classifySql(sql);
  auto view = std::make_shared<ViewObject>(database, std::move(query), std::move(statement), std::move(sql));
  const MSIHANDLE handle = registerHandle(view);
  if (handle == 0) return ERROR_NOT_ENOUGH_MEMORY;
  *phView = handle;
  return ERROR_SUCCESS;
}
