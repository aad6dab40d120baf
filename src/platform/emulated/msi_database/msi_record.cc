// Records: MsiCreateRecord and the MsiRecord* field functions.
//
// libmsi's record getters have traps that Windows' do not: get_int warns on
// a null field, set_int(MSI_NULL_INTEGER) stores a number instead of a null,
// and a stream field read as text gives a null string. Each function below
// tests the field first and answers as Windows does.
#include <cstring>

#include "platform/emulated/msi.h"
#include "platform/emulated/machine/text_out.h"
#include "platform/emulated/msi_database/msi_objects.h"
#include "platform/emulated/machine/unicode.h"

namespace emulated {

namespace {

// Windows allows 65535 fields; libmsi's records stop one short.
constexpr UINT kMaxFields = 65534;

bool beyondLastField(LibmsiRecord* record, UINT field) { return field > libmsi_record_get_field_count(record); }

bool isAscii(const gchar* text, size_t& length) {
  size_t n = 0;
  for (; text[n] != 0; ++n) {
    if (static_cast<unsigned char>(text[n]) >= 0x80) return false;
  }
  length = n;
  return true;
}

// Fills `text` with the field as Windows renders it: "" for a null field or
// one past the last, the number for an integer, 1804 for a stream.
void loadFieldText(LibmsiRecord* record, UINT field, RecordObject::TextCache& text) {
  text.valid = true;
  text.field = field;
  text.code = ERROR_SUCCESS;
  text.ascii.reset();
  text.wide.clear();
  text.length = 0;
  // libmsi counts a field past the last as null.
  if (libmsi_record_is_null(record, field)) return;
  gchar* utf8 = libmsi_record_get_string(record, field);
  if (utf8 == nullptr) {
    text.code = ERROR_INVALID_DATATYPE;
    return;
  }
  if (isAscii(utf8, text.length)) {
    text.ascii.reset(utf8);
    return;
  }
  text.wide = utf8ToUtf16(utf8);
  text.length = text.wide.size();
  g_free(utf8);
}

void copyUnits(const RecordObject::TextCache& text, WCHAR* out, size_t count) {
  if (text.ascii) {
    const gchar* in = text.ascii.get();
    for (size_t i = 0; i < count; ++i) out[i] = static_cast<WCHAR>(in[i]);
  } else {
    std::memcpy(out, text.wide.data(), count * sizeof(WCHAR));
  }
}

}  // namespace

RecordObject::~RecordObject() {
  if (!source_) return;
  std::lock_guard<std::mutex> guard(source_->lock());
  record_.reset();
}

UINT RecordObject::finish() {
  if (!source_) return ERROR_SUCCESS;
  {
    std::lock_guard<std::mutex> guard(source_->lock());
    record_.reset();
  }
  return releaseObject(std::move(source_));
}

}  // namespace emulated

using namespace emulated;

extern "C" MSIHANDLE MsiCreateRecord(UINT cParams) {
  if (cParams > kMaxFields) return 0;
  ensureLibmsiRuntime();
  GObjectPtr<LibmsiRecord> record(libmsi_record_new(cParams));
  if (!record) return 0;
  return registerHandle(std::make_shared<RecordObject>(std::move(record)));
}

extern "C" UINT MsiRecordGetFieldCount(MSIHANDLE hRecord) {
  RecordRef record = findRecord(hRecord);
  if (!record) return static_cast<UINT>(-1);
  return libmsi_record_get_field_count(record->get());
}

// Windows documents ERROR_INVALID_HANDLE as a possible result of this BOOL
// function, and callers that test for non-zero read it as "null".
extern "C" BOOL MsiRecordIsNull(MSIHANDLE hRecord, UINT iField) {
  RecordRef record = findRecord(hRecord);
  if (!record) return ERROR_INVALID_HANDLE;
  return libmsi_record_is_null(record->get(), iField) ? TRUE : FALSE;
}

extern "C" UINT MsiRecordGetStringW(MSIHANDLE hRecord, UINT iField, LPWSTR szValueBuf, LPDWORD pcchValueBuf) {
  RecordRef record = findRecord(hRecord);
  if (!record) return ERROR_INVALID_HANDLE;
  if (pcchValueBuf == nullptr) return ERROR_INVALID_PARAMETER;
  RecordObject::TextCache& cache = record->textCache();
  if (!cache.valid || cache.field != iField) loadFieldText(record->get(), iField, cache);
  if (cache.code != ERROR_SUCCESS) return cache.code;
  const auto copy = [&cache](LPWSTR out, DWORD count) { copyUnits(cache, out, count); };
  return copyTextOut(static_cast<DWORD>(cache.length), copy, szValueBuf, pcchValueBuf);
}

extern "C" int MsiRecordGetInteger(MSIHANDLE hRecord, UINT iField) {
  RecordRef record = findRecord(hRecord);
  if (!record) return static_cast<int>(MSI_NULL_INTEGER);
  LibmsiRecord* raw = record->get();
  // libmsi counts a field past the last as null.
  if (libmsi_record_is_null(raw, iField)) return static_cast<int>(MSI_NULL_INTEGER);
  // A text field that holds a number gives the number, as on Windows.
  return libmsi_record_get_int(raw, iField);
}

extern "C" UINT MsiRecordSetStringW(MSIHANDLE hRecord, UINT iField, LPCWSTR szValue) {
  RecordRef record = findRecord(hRecord);
  if (!record) return ERROR_INVALID_HANDLE;
  if (beyondLastField(record->get(), iField)) return ERROR_INVALID_PARAMETER;
  record->changed();
  // A null pointer and an empty string both make the field null.
  if (szValue == nullptr || szValue[0] == 0) {
    libmsi_record_set_string(record->get(), iField, nullptr);
    return ERROR_SUCCESS;
  }
  const std::string utf8 = utf16ToUtf8(std::u16string_view(szValue));
  libmsi_record_set_string(record->get(), iField, utf8.c_str());
  return ERROR_SUCCESS;
}

extern "C" UINT MsiRecordSetInteger(MSIHANDLE hRecord, UINT iField, int iValue) {
  RecordRef record = findRecord(hRecord);
  if (!record) return ERROR_INVALID_HANDLE;
  if (beyondLastField(record->get(), iField)) return ERROR_INVALID_PARAMETER;
  record->changed();
  if (iValue == static_cast<int>(MSI_NULL_INTEGER)) {
    libmsi_record_set_string(record->get(), iField, nullptr);
  } else {
    libmsi_record_set_int(record->get(), iField, iValue);
  }
  return ERROR_SUCCESS;
}
