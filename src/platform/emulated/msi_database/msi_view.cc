// Views: MsiViewExecute, MsiViewFetch and MsiViewClose.
#include "platform/emulated/msi_database/libmsi_errors.h"
#include "platform/emulated/msi.h"
#include "platform/emulated/msi_database/msi_codepage.h"
#include "platform/emulated/msi_database/msi_objects.h"

namespace emulated {

namespace {

// Why a write statement may not reach libmsi, or 0.
UINT refusedWrite(ViewObject& view, LibmsiRecord* params) {
  DatabaseObject& database = view.database();
  // libmsi would keep the write in memory and drop it without a word.
  if (database.readOnly()) return ERROR_FUNCTION_FAILED;
  // libmsi's temporary rows break the table they sit in when it commits;
  // the emulated machine keeps no temporary rows.
  if (view.statement().temporaryInsert) return ERROR_CALL_NOT_IMPLEMENTED;
  // Text the codepage cannot hold would be committed as empty strings.
  if (!textFitsCodepage(database.textCodepage(), view.sql()) || !recordTextFits(database, params))
    return ERROR_FUNCTION_FAILED;
  return ERROR_SUCCESS;
}

UINT execute(ViewObject& view, LibmsiRecord* params) {
  const bool writes = view.statement().kind == SqlStatement::Kind::Write;
  if (writes) {
    if (UINT refused = refusedWrite(view, params)) return refused;
  }
  // libmsi crashes on a query with "?" markers executed without a record.
  GObjectPtr<LibmsiRecord> none;
  if (params == nullptr) {
    none.reset(libmsi_record_new(0));
    params = none.get();
  }
  GError* error = nullptr;
  const bool ok = libmsi_query_execute(view.query(), params, &error);
  GErrorPtr owned(error);
  if (!ok) return windowsCodeFromGError(error, ERROR_FUNCTION_FAILED);
  view.executed = true;
  if (writes) view.database().markWritten();
  return ERROR_SUCCESS;
}

}  // namespace

bool ViewObject::hasStreamColumns() {
  if (streamColumns_ < 0) {
    GError* error = nullptr;
    GObjectPtr<LibmsiRecord> types(libmsi_query_get_column_info(query_.get(), LIBMSI_COL_INFO_TYPES, &error));
    GErrorPtr owned(error);
    streamColumns_ = 0;
    const guint count = types ? libmsi_record_get_field_count(types.get()) : 0;
    for (guint field = 1; field <= count; ++field) {
      gchar* type = libmsi_record_get_string(types.get(), field);
      if (type != nullptr && (type[0] == 'v' || type[0] == 'V')) streamColumns_ = 1;
      g_free(type);
    }
  }
  return streamColumns_ == 1;
}

ViewObject::~ViewObject() {
  if (!database_) return;
  std::lock_guard<std::mutex> guard(database_->lock());
  query_.reset();
}

UINT ViewObject::finish() {
  {
    std::lock_guard<std::mutex> guard(database_->lock());
    query_.reset();
  }
  return releaseObject(std::move(database_));
}

}  // namespace emulated

using namespace emulated;

extern "C" UINT MsiViewExecute(MSIHANDLE hView, MSIHANDLE hRecord) {
  std::shared_ptr<ViewObject> view = findHandleOf<ViewObject>(hView);
  if (!view) return ERROR_INVALID_HANDLE;
  std::shared_ptr<RecordObject> params;
  if (hRecord != 0) {
    params = findHandleOf<RecordObject>(hRecord);
    if (!params) return ERROR_INVALID_HANDLE;
  }
  std::lock_guard<std::mutex> guard(view->database().lock());
  return execute(*view, params ? params->get() : nullptr);
}

extern "C" UINT MsiViewFetch(MSIHANDLE hView, MSIHANDLE* phRecord) {
  if (phRecord == nullptr) return ERROR_INVALID_PARAMETER;
  std::shared_ptr<ViewObject> view = findHandleOf<ViewObject>(hView);
  if (!view) return ERROR_INVALID_HANDLE;
  GObjectPtr<LibmsiRecord> row;
  std::shared_ptr<DatabaseObject> source;
  {
    std::lock_guard<std::mutex> guard(view->database().lock());
    if (!view->executed) return ERROR_FUNCTION_FAILED;
    GError* error = nullptr;
    row.reset(libmsi_query_fetch(view->query(), &error));
    GErrorPtr owned(error);
    // The end of the rows is a null row without an error.
    if (!row) return error != nullptr ? windowsCodeFromGError(error, ERROR_FUNCTION_FAILED) : ERROR_NO_MORE_ITEMS;
    if (view->hasStreamColumns()) source = view->sharedDatabase();
  }
  const MSIHANDLE handle = registerHandle(std::make_shared<RecordObject>(std::move(row), std::move(source)));
  if (handle == 0) return ERROR_NOT_ENOUGH_MEMORY;
  *phRecord = handle;
  return ERROR_SUCCESS;
}

extern "C" UINT MsiViewClose(MSIHANDLE hView) {
  std::shared_ptr<ViewObject> view = findHandleOf<ViewObject>(hView);
  if (!view) return ERROR_INVALID_HANDLE;
  std::lock_guard<std::mutex> guard(view->database().lock());
  if (!view->executed) return ERROR_FUNCTION_FAILED;
  GError* error = nullptr;
  const bool ok = libmsi_query_close(view->query(), &error);
  GErrorPtr owned(error);
  view->executed = false;
  return ok ? ERROR_SUCCESS : windowsCodeFromGError(error, ERROR_FUNCTION_FAILED);
}
