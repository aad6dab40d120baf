// MsiViewModify. libmsi has no counterpart, so the two modes the add-on
// uses are rebuilt from SQL: an insert becomes an INSERT of the view's
// columns, a delete a DELETE on the table's primary keys, both run with
// parameter records under the database's lock.
#include <string>
#include <vector>

#include "platform/emulated/msi_database/libmsi_errors.h"
#include "platform/emulated/msi.h"
#include "platform/emulated/msi_database/msi_codepage.h"
#include "platform/emulated/msi_database/msi_objects.h"

namespace emulated {

namespace {

struct Column {
  std::string name;
  std::string type;  // libmsi's type text: s72, I2, v0...
  bool isInteger() const { return !type.empty() && (type[0] == 'i' || type[0] == 'I' || type[0] == 'j' || type[0] == 'J'); }
  bool isStream() const { return !type.empty() && (type[0] == 'v' || type[0] == 'V'); }
};

std::string takeString(gchar* text) {
  std::string value = text != nullptr ? text : "";
  g_free(text);
  return value;
}

std::string quoted(const std::string& name) { return "`" + name + "`"; }

bool viewColumns(LibmsiQuery* query, std::vector<Column>& columns) {
  GError* error = nullptr;
  GObjectPtr<LibmsiRecord> names(libmsi_query_get_column_info(query, LIBMSI_COL_INFO_NAMES, &error));
  GErrorPtr namesError(error);
  error = nullptr;
  GObjectPtr<LibmsiRecord> types(libmsi_query_get_column_info(query, LIBMSI_COL_INFO_TYPES, &error));
  GErrorPtr typesError(error);
  if (!names || !types) return false;
  const guint count = libmsi_record_get_field_count(names.get());
  for (guint field = 1; field <= count; ++field) {
    columns.push_back({takeString(libmsi_record_get_string(names.get(), field)),
                       takeString(libmsi_record_get_string(types.get(), field))});
  }
  return !columns.empty();
}

// Copies field `from` of `source` into field `to` of `target` with the
// column's type: the caller may have set a number as text or the reverse.
UINT copyField(LibmsiRecord* source, guint from, const Column& column, LibmsiRecord* target, guint to) {
  if (libmsi_record_is_null(source, from)) return ERROR_SUCCESS;
  if (column.isStream()) return ERROR_CALL_NOT_IMPLEMENTED;
  if (column.isInteger()) {
    const gint value = libmsi_record_get_int(source, from);
    if (value == static_cast<gint>(MSI_NULL_INTEGER)) return ERROR_DATATYPE_MISMATCH;
    libmsi_record_set_int(target, to, value);
    return ERROR_SUCCESS;
  }
  gchar* text = libmsi_record_get_string(source, from);
  if (text == nullptr) return ERROR_DATATYPE_MISMATCH;
  libmsi_record_set_string(target, to, text);
  g_free(text);
  return ERROR_SUCCESS;
}

// Prepares and runs one statement; for a SELECT, `found` tells whether it
// gave a row.
UINT run(LibmsiDatabase* database, const std::string& sql, LibmsiRecord* params, bool* found = nullptr) {
  // The column names come from the package: a damaged one with a grave
  // accent in a name would leave a quote open for libmsi's parser.
  if (checkSql(sql) != ERROR_SUCCESS) return ERROR_FUNCTION_FAILED;
  GError* error = nullptr;
  GObjectPtr<LibmsiQuery> query(libmsi_query_new(database, sql.c_str(), &error));
  GErrorPtr prepareError(error);
  if (!query) return windowsCodeFromGError(error, ERROR_FUNCTION_FAILED);
  error = nullptr;
  const bool ok = libmsi_query_execute(query.get(), params, &error);
  GErrorPtr executeError(error);
  if (!ok) return windowsCodeFromGError(error, ERROR_FUNCTION_FAILED);
  if (found != nullptr) {
    error = nullptr;
    GObjectPtr<LibmsiRecord> row(libmsi_query_fetch(query.get(), &error));
    GErrorPtr fetchError(error);
    *found = row != nullptr;
  }
  return ERROR_SUCCESS;
}

UINT insertRow(ViewObject& view, const std::vector<Column>& columns, LibmsiRecord* record) {
  std::string names;
  std::string markers;
  GObjectPtr<LibmsiRecord> params(libmsi_record_new(columns.size()));
  for (guint i = 0; i < columns.size(); ++i) {
    if (UINT code = copyField(record, i + 1, columns[i], params.get(), i + 1)) return code;
    names += (i ? "," : "") + quoted(columns[i].name);
    markers += i ? ",?" : "?";
  }
  DatabaseObject& database = view.database();
  if (!recordTextFits(database, params.get())) return ERROR_FUNCTION_FAILED;
  const std::string sql =
      "INSERT INTO " + quoted(view.statement().table) + " (" + names + ") VALUES (" + markers + ")";
  // A second row with the same primary key fails here with 1627.
  const UINT code = run(database.get(), sql, params.get());
  if (code == ERROR_SUCCESS) database.markWritten();
  return code;
}

UINT primaryKeys(LibmsiDatabase* database, const std::string& table, std::vector<std::string>& keys) {
  GError* error = nullptr;
  LibmsiRecord* raw = libmsi_database_get_primary_keys(database, table.c_str(), &error);
  GErrorPtr owned(error);
  // On a missing table libmsi leaves its result uninitialised: only the
  // error can be trusted.
  if (error != nullptr) return windowsCodeFromGError(error, ERROR_INVALID_TABLE);
  GObjectPtr<LibmsiRecord> record(raw);
  const guint count = record ? libmsi_record_get_field_count(record.get()) : 0;
  for (guint field = 1; field <= count; ++field) keys.push_back(takeString(libmsi_record_get_string(record.get(), field)));
  return keys.empty() ? ERROR_INVALID_TABLE : ERROR_SUCCESS;
}

UINT deleteRow(ViewObject& view, const std::vector<Column>& columns, LibmsiRecord* record) {
  DatabaseObject& database = view.database();
  const std::string& table = view.statement().table;
  std::vector<std::string> keys;
  if (UINT code = primaryKeys(database.get(), table, keys)) return code;
  GObjectPtr<LibmsiRecord> params(libmsi_record_new(keys.size()));
  std::string where;
  for (guint k = 0; k < keys.size(); ++k) {
    guint position = 0;
    while (position < columns.size() && columns[position].name != keys[k]) ++position;
    // Windows needs every primary key column in the view to find the row.
    if (position == columns.size()) return ERROR_FUNCTION_FAILED;
    if (UINT code = copyField(record, position + 1, columns[position], params.get(), k + 1)) return code;
    where += (k ? " AND " : "") + quoted(keys[k]) + " = ?";
  }
  bool found = false;
  if (UINT code = run(database.get(), "SELECT * FROM " + quoted(table) + " WHERE " + where, params.get(), &found))
    return code;
  // A row that is already gone cannot be deleted.
  if (!found) return ERROR_FUNCTION_FAILED;
  const UINT code = run(database.get(), "DELETE FROM " + quoted(table) + " WHERE " + where, params.get());
  if (code == ERROR_SUCCESS) database.markWritten();
  return code;
}

UINT modify(ViewObject& view, MSIMODIFY mode, LibmsiRecord* record) {
  if (!view.executed) return ERROR_FUNCTION_FAILED;
  if (view.database().readOnly()) return ERROR_ACCESS_DENIED;
  // Joins and statements other than SELECT have no single table to change.
  if (view.statement().kind != SqlStatement::Kind::Select || view.statement().table.empty())
    return ERROR_FUNCTION_FAILED;
  std::vector<Column> columns;
  if (!viewColumns(view.query(), columns)) return ERROR_FUNCTION_FAILED;
  if (libmsi_record_get_field_count(record) < columns.size()) return ERROR_INVALID_PARAMETER;
  return mode == MSIMODIFY_INSERT ? insertRow(view, columns, record) : deleteRow(view, columns, record);
}

}  // namespace

}  // namespace emulated

using namespace emulated;

extern "C" UINT MsiViewModify(MSIHANDLE hView, MSIMODIFY eModifyMode, MSIHANDLE hRecord) {
  if (eModifyMode < MSIMODIFY_SEEK || eModifyMode > MSIMODIFY_VALIDATE_DELETE) return ERROR_INVALID_PARAMETER;
  std::shared_ptr<ViewObject> view = findHandleOf<ViewObject>(hView);
  std::shared_ptr<RecordObject> record = findHandleOf<RecordObject>(hRecord);
  if (!view || !record) return ERROR_INVALID_HANDLE;
  // The emulated machine supports the modes the add-on uses. Temporary rows
  // in particular stay out of libmsi: they corrupt their table at commit.
  if (eModifyMode != MSIMODIFY_INSERT && eModifyMode != MSIMODIFY_DELETE) return ERROR_CALL_NOT_IMPLEMENTED;
  std::lock_guard<std::mutex> guard(view->database().lock());
  return modify(*view, eModifyMode, record->get());
}
