// The pattern of every package table reader: a query run through bare
// handles, each held so that it is closed on every path, also when an
// exception leaves the reader. A value that comes from the package or from
// script never becomes part of the SQL text: the query names it with "?"
// and the value travels in the parameter record (see TextParameter).
#pragma once

#include <cstdint>

#include "install/msi/msi_handle_holder.h"
#include "platform/windows.h"

namespace installer {
namespace msi_wrapper {

// A parameter record of one text field, for a query with one "?". The
// text is cut at a NUL, as every Windows Installer string is.
class TextParameter {
 public:
  explicit TextParameter(const platform::wstring& text) : record_(MsiCreateRecord(1)) {
    if (record_.get() != 0 && MsiRecordSetStringW(record_.get(), 1, text.c_str()) != ERROR_SUCCESS) record_.reset();
  }
  TextParameter(const TextParameter&) = delete;
  TextParameter& operator=(const TextParameter&) = delete;

  // 0 when the record could not be made.
  MSIHANDLE get() const { return record_.get(); }

 private:
  MsiHandleHolder record_;
};

// Opens `query` on `database` into `view` and executes it with the
// parameter record `parameters` (0 for none).
inline std::uint32_t openExecutedView(MSIHANDLE database, const platform::wstring& query, MsiHandleHolder& view,
                                      MSIHANDLE parameters = 0) {
  std::uint32_t code = MsiDatabaseOpenViewW(database, query.c_str(), view.receive());
  if (code != ERROR_SUCCESS) return code;
  return MsiViewExecute(view.get(), parameters);
}

// Opens and executes `query` on `database` and hands each row's record
// handle to `readRow`, which returns 0 to go on or a code to stop with.
// Returns 0 after the last row, or the first non-zero code. Rows that
// `readRow` stored before a failure stay stored.
template <class RowReader>
std::uint32_t readTableRows(MSIHANDLE database, const platform::wstring& query, RowReader&& readRow) {
  MsiHandleHolder view;
  std::uint32_t code = openExecutedView(database, query, view);
  if (code != ERROR_SUCCESS) return code;
  for (;;) {
    MsiHandleHolder record;
    code = MsiViewFetch(view.get(), record.receive());
    if (code == ERROR_NO_MORE_ITEMS) return ERROR_SUCCESS;
    if (code != ERROR_SUCCESS) return code;
    code = readRow(record.get());
    if (code != ERROR_SUCCESS) return code;
  }
}

// The same for the first row only, with the value of the query's one "?":
// a query without rows gives 259.
template <class RowReader>
std::uint32_t readFirstRow(MSIHANDLE database, const platform::wstring& query, const platform::wstring& parameter,
                           RowReader&& readRow) {
  TextParameter parameters(parameter);
  if (parameters.get() == 0) return ERROR_FUNCTION_FAILED;
  MsiHandleHolder view;
  std::uint32_t code = openExecutedView(database, query, view, parameters.get());
  if (code != ERROR_SUCCESS) return code;
  MsiHandleHolder record;
  code = MsiViewFetch(view.get(), record.receive());
  if (code != ERROR_SUCCESS) return code;
  return readRow(record.get());
}

}  // namespace msi_wrapper
}  // namespace installer
