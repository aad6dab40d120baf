// Summary information: MsiGetSummaryInformationW and
// MsiSummaryInfoGetPropertyW.
//
// libmsi's typed getters return garbage without an error when asked for a
// property of another type, so the type is always asked first. Windows
// types the code page (PID 1) as a 16-bit integer and the other integer
// properties as 32-bit ones.
#include <cstring>

#include "platform/emulated/msi_database/libmsi_errors.h"
#include "platform/emulated/msi.h"
#include "platform/emulated/msi_database/msi_database_open.h"
#include "platform/emulated/machine/text_out.h"
#include "platform/emulated/msi_database/msi_objects.h"
#include "platform/emulated/machine/unicode.h"

namespace emulated {

namespace {

constexpr UINT kLastProperty = PID_SECURITY;

std::shared_ptr<DatabaseObject> summarySource(MSIHANDLE hDatabase, LPCWSTR path, UINT& code) {
  if (hDatabase != 0) {
    std::shared_ptr<DatabaseObject> database = findHandleOf<DatabaseObject>(hDatabase);
    code = database ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
    return database;
  }
  if (path == nullptr) {
    code = ERROR_INVALID_HANDLE;
    return nullptr;
  }
  // A file that is there but is no sound package is an invalid package
  // here, as this function's documentation names it.
  return openDatabaseObject(path, OpenMode{}, code, ERROR_INSTALL_PACKAGE_INVALID);
}

// The string sizing of this function: the size is counted without the
// terminator, and 234 comes whenever the size given cannot hold text plus
// terminator (an empty buffer of size 0 is the documented way to ask).
UINT copyString(const std::u16string& text, LPWSTR buffer, LPDWORD size) {
  if (size == nullptr) return buffer == nullptr ? ERROR_SUCCESS : ERROR_INVALID_PARAMETER;
  if (buffer != nullptr) return copyTextOut(text, buffer, size);
  const UINT code = text.size() >= *size ? ERROR_MORE_DATA : ERROR_SUCCESS;
  *size = static_cast<DWORD>(text.size());
  return code;
}

UINT readProperty(LibmsiSummaryInfo* info, UINT property, UINT* type, INT* integer, FILETIME* time, LPWSTR buffer,
                  LPDWORD size) {
  const auto id = static_cast<LibmsiProperty>(property);
  GError* error = nullptr;
  const LibmsiPropertyType kind = libmsi_summary_info_get_property_type(info, id, &error);
  GErrorPtr owned(error);
  if (error != nullptr) return windowsCodeFromGError(error, ERROR_UNKNOWN_PROPERTY);
  UINT dataType = VT_EMPTY;
  UINT code = ERROR_SUCCESS;
  switch (kind) {
    case LIBMSI_PROPERTY_TYPE_INT:
      dataType = property == PID_CODEPAGE ? VT_I2 : VT_I4;
      if (integer != nullptr) *integer = libmsi_summary_info_get_int(info, id, nullptr);
      break;
    case LIBMSI_PROPERTY_TYPE_FILETIME:
      dataType = VT_FILETIME;
      if (time != nullptr) {
        const guint64 value = libmsi_summary_info_get_filetime(info, id, nullptr);
        time->dwLowDateTime = static_cast<DWORD>(value);
        time->dwHighDateTime = static_cast<DWORD>(value >> 32);
      }
      break;
    case LIBMSI_PROPERTY_TYPE_STRING: {
      dataType = VT_LPSTR;
      const gchar* text = libmsi_summary_info_get_string(info, id, nullptr);
      code = copyString(utf8ToUtf16(text != nullptr ? text : ""), buffer, size);
      break;
    }
    default:
      break;
  }
  if (type != nullptr) *type = dataType;
  return code;
}

}  // namespace

SummaryObject::~SummaryObject() {
  if (!database_) return;
  std::lock_guard<std::mutex> guard(database_->lock());
  info_.reset();
}

UINT SummaryObject::finish() {
  {
    std::lock_guard<std::mutex> guard(database_->lock());
    info_.reset();
  }
  return releaseObject(std::move(database_));
}

}  // namespace emulated

using namespace emulated;

extern "C" UINT MsiGetSummaryInformationW(MSIHANDLE hDatabase, LPCWSTR szDatabasePath, UINT uiUpdateCount,
                                          MSIHANDLE* phSummaryInfo) {
  if (phSummaryInfo == nullptr) return ERROR_INVALID_PARAMETER;
  UINT code = ERROR_SUCCESS;
  std::shared_ptr<DatabaseObject> database = summarySource(hDatabase, szDatabasePath, code);
  if (!database) return code;
  GObjectPtr<LibmsiSummaryInfo> info;
  {
    std::lock_guard<std::mutex> guard(database->lock());
    GError* error = nullptr;
    info.reset(libmsi_summary_info_new(database->get(), uiUpdateCount, &error));
    GErrorPtr owned(error);
    if (!info) return windowsCodeFromGError(error, ERROR_INSTALL_PACKAGE_INVALID);
  }
  const MSIHANDLE handle = registerHandle(std::make_shared<SummaryObject>(std::move(database), std::move(info)));
  if (handle == 0) return ERROR_NOT_ENOUGH_MEMORY;
  *phSummaryInfo = handle;
  return ERROR_SUCCESS;
}

extern "C" UINT MsiSummaryInfoGetPropertyW(MSIHANDLE hSummaryInfo, UINT uiProperty, UINT* puiDataType, INT* piValue,
                                           FILETIME* pftValue, LPWSTR szValueBuf, LPDWORD pcchValueBuf) {
  std::shared_ptr<SummaryObject> summary = findHandleOf<SummaryObject>(hSummaryInfo);
  if (!summary) return ERROR_INVALID_HANDLE;
  if (uiProperty > kLastProperty) return ERROR_UNKNOWN_PROPERTY;
  std::lock_guard<std::mutex> guard(summary->database().lock());
  return readProperty(summary->get(), uiProperty, puiDataType, piValue, pftValue, szValueBuf, pcchValueBuf);
}
