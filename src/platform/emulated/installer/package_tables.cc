// Reading a package's tables for the engine (package_tables.h).
#include "platform/emulated/installer/package_tables.h"

#include <cstdlib>
#include <mutex>

#include "platform/emulated/machine/unicode.h"

namespace emulated::installer {

namespace {

TableRow readRow(LibmsiRecord* record) {
  const guint count = libmsi_record_get_field_count(record);
  TableRow row;
  row.reserve(count);
  for (guint field = 1; field <= count; ++field) {
    if (libmsi_record_is_null(record, field)) {
      row.emplace_back(std::nullopt);
      continue;
    }
    gchar* text = libmsi_record_get_string(record, field);
    // A stream field has no text; the engine never selects one.
    row.emplace_back(text == nullptr ? std::u16string() : utf8ToUtf16(text));
    g_free(text);
  }
  return row;
}

}  // namespace

std::optional<std::vector<TableRow>> PackageTables::select(const char* sql) const {
  std::lock_guard<std::mutex> guard(database_->lock());
  GError* error = nullptr;
  GObjectPtr<LibmsiQuery> query(libmsi_query_new(database_->get(), sql, &error));
  GErrorPtr queryError(error);
  if (!query) return std::nullopt;
  error = nullptr;
  const bool executed = libmsi_query_execute(query.get(), nullptr, &error);
  GErrorPtr executeError(error);
  if (!executed) return std::nullopt;
  std::vector<TableRow> rows;
  for (;;) {
    error = nullptr;
    GObjectPtr<LibmsiRecord> record(libmsi_query_fetch(query.get(), &error));
    GErrorPtr fetchError(error);
    if (!record) break;
    rows.push_back(readRow(record.get()));
  }
  libmsi_query_close(query.get(), nullptr);
  return rows;
}

std::u16string fieldText(const TableRow& row, size_t index) {
  return index < row.size() && row[index] ? *row[index] : std::u16string();
}

int fieldNumber(const TableRow& row, size_t index, int fallback) {
  const std::u16string text = fieldText(row, index);
  if (text.empty()) return fallback;
  const std::string narrow = utf16ToUtf8(text);
  char* end = nullptr;
  const long value = std::strtol(narrow.c_str(), &end, 10);
  return *end == 0 ? static_cast<int>(value) : fallback;
}

}  // namespace emulated::installer
