#include "install/msi/package_queries.h"

#include "install/msi/msi_database.h"
#include "install/msi/msi_record.h"
#include "install/msi/msi_view.h"

namespace installer {
namespace msi_wrapper {

namespace {

// Opens the package read-only and runs `query`; null on any failure.
std::unique_ptr<MsiView> openQuery(const platform::wstring& path, const platform::wstring& query,
                                   std::unique_ptr<MsiDatabase>& database) {
  std::uint32_t error = 0;
  database = openMsiDatabase(path, 0, error);
  if (!database || error != 0) return nullptr;
  std::unique_ptr<MsiView> view;
  if (database->openView(query, view) != ERROR_SUCCESS) return nullptr;
  return view;
}

}  // namespace

Rows readQueryRows(const platform::wstring& path, const platform::wstring& query) {
  Rows rows;
  std::unique_ptr<MsiDatabase> database;
  std::unique_ptr<MsiView> view = openQuery(path, query, database);
  if (!view) return rows;
  while (std::unique_ptr<MsiRecord> record = view->fetch()) {
    std::vector<platform::wstring> row;
    const std::uint32_t count = record->getFieldCount();
    row.reserve(count);
    for (std::uint32_t field = 1; field <= count; ++field) row.push_back(record->getString(field));
    rows.push_back(std::move(row));
  }
  return rows;
}

platform::wstring readFirstValue(const platform::wstring& path, const platform::wstring& query) {
  std::unique_ptr<MsiDatabase> database;
  std::unique_ptr<MsiView> view = openQuery(path, query, database);
  if (!view) return {};
  std::unique_ptr<MsiRecord> record = view->fetch();
  return record ? record->getString(1) : platform::wstring();
}

platform::wstring readRebrandingCode(const platform::wstring& path) {
  return readFirstValue(path, WIDE_TEXT("select Value from Registry Where Name='RebrandingCode'"));
}

platform::wstring readPremiumLink(const platform::wstring& path) {
  return readFirstValue(path, WIDE_TEXT("select Value from Property Where Property='GETPREMIUM_LINK'"));
}

}  // namespace msi_wrapper
}  // namespace installer
