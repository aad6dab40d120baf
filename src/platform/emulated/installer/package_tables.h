// The rows of a package's tables, as the engine reads them: fixed queries
// of the engine itself (never outside text) over the session's read-only
// database object, each run under the database's lock.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/emulated/msi_database/msi_objects.h"

namespace emulated::installer {

// One row: each field's text (an integer as its decimal text), nullopt for
// a null field.
using TableRow = std::vector<std::optional<std::u16string>>;

class PackageTables {
 public:
  explicit PackageTables(std::shared_ptr<DatabaseObject> database) : database_(std::move(database)) {}
  PackageTables(const PackageTables&) = delete;
  PackageTables& operator=(const PackageTables&) = delete;

  // Every row of `sql`; nullopt when the query cannot be made, which for
  // the engine's fixed queries means the table (optional in most packages)
  // is missing or lacks a column.
  std::optional<std::vector<TableRow>> select(const char* sql) const;

  const std::shared_ptr<DatabaseObject>& database() const { return database_; }

 private:
  std::shared_ptr<DatabaseObject> database_;
};

// Field `index` of `row` as text; "" for a null or missing field.
std::u16string fieldText(const TableRow& row, size_t index);

// Field `index` as an integer; `fallback` for a null, missing or
// non-numeric field.
int fieldNumber(const TableRow& row, size_t index, int fallback);

}  // namespace emulated::installer
