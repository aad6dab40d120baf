#include "platform/emulated/msi_database/libmsi_errors.h"

#include <libmsi.h>

#include "platform/emulated/msi.h"

namespace emulated {

namespace {

// What libmsi's result codes (the Windows Installer codes it was derived
// from) are on Windows.
UINT fromResultCode(int code) {
  switch (code) {
    case LIBMSI_RESULT_SUCCESS: return ERROR_SUCCESS;
    case LIBMSI_RESULT_ACCESS_DENIED: return ERROR_ACCESS_DENIED;
    case LIBMSI_RESULT_INVALID_HANDLE: return ERROR_INVALID_HANDLE;
    case LIBMSI_RESULT_NOT_ENOUGH_MEMORY:
    case LIBMSI_RESULT_OUTOFMEMORY: return ERROR_NOT_ENOUGH_MEMORY;
    case LIBMSI_RESULT_INVALID_DATA: return ERROR_INVALID_DATA;
    case LIBMSI_RESULT_INVALID_PARAMETER: return ERROR_INVALID_PARAMETER;
    case LIBMSI_RESULT_OPEN_FAILED: return ERROR_OPEN_FAILED;
    case LIBMSI_RESULT_CALL_NOT_IMPLEMENTED: return ERROR_CALL_NOT_IMPLEMENTED;
    case LIBMSI_RESULT_MORE_DATA: return ERROR_MORE_DATA;
    case LIBMSI_RESULT_NOT_FOUND: return ERROR_NOT_FOUND;
    case LIBMSI_RESULT_UNKNOWN_PROPERTY: return ERROR_UNKNOWN_PROPERTY;
    // libmsi reports a malformed query, a missing table and an unknown
    // column alike when the query is prepared; Windows gives 1615 for all.
    case LIBMSI_RESULT_BAD_QUERY_SYNTAX: return ERROR_BAD_QUERY_SYNTAX;
    case LIBMSI_RESULT_INVALID_FIELD: return ERROR_INVALID_FIELD;
    // A duplicate primary key on INSERT, among others.
    case LIBMSI_RESULT_FUNCTION_FAILED: return ERROR_FUNCTION_FAILED;
    case LIBMSI_RESULT_INVALID_TABLE: return ERROR_INVALID_TABLE;
    case LIBMSI_RESULT_DATATYPE_MISMATCH: return ERROR_DATATYPE_MISMATCH;
    case LIBMSI_RESULT_INVALID_DATATYPE: return ERROR_INVALID_DATATYPE;
    default: return ERROR_FUNCTION_FAILED;
  }
}

}  // namespace

UINT windowsCodeFromGError(const GError* error, UINT fallback) {
  if (error == nullptr) return fallback;
  if (error->domain == LIBMSI_RESULT_ERROR) return fromResultCode(error->code);
  // Validation errors of a modified row: the call failed.
  if (error->domain == LIBMSI_DB_ERROR) return ERROR_FUNCTION_FAILED;
  return fallback;
}

}  // namespace emulated
