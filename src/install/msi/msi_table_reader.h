// The pattern of every package table reader: a query run through bare
// handles, each held so that it is closed on every path, also when an
// exception leaves the reader.
#pragma once

#include <cstdint>

#include "install/msi/msi_handle_holder.h"
#include "platform/windows.h"

namespace installer {
namespace msi_wrapper {

// Opens `query` on `database` into `view` and executes it.
inline std::uint32_t openExecutedView(MSIHANDLE database, const platform::wstring& query,
                                      MsiHandleHolder& view) {
  std::uint32_t code = MsiDatabaseOpenViewW(database, query.c_str(), view.receive());
  if (code != ERROR_SUCCESS) return code;
  return MsiViewExecute(view.get(), 0);
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

// The same for the first row only: a query without rows gives 259.
template <class RowReader>
std::uint32_t readFirstRow(MSIHANDLE database, const platform::wstring& query, RowReader&& readRow) {
  MsiHandleHolder view;
  std::uint32_t code = openExecutedView(database, query, view);
  if (code != ERROR_SUCCESS) return code;
  MsiHandleHolder record;
  code = MsiViewFetch(view.get(), record.receive());
  if (code != ERROR_SUCCESS) return code;
  return readRow(record.get());
}

}  // namespace msi_wrapper
}  // namespace installer
