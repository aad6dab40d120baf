#include "install/msi/package_readers.h"

#include <algorithm>

#include "install/msi/msi_strings.h"
#include "install/msi/msi_table_reader.h"

namespace installer {
namespace msi_wrapper {

namespace {

struct DirectoryRow {
  platform::wstring defaultDir;
  platform::wstring parent;
};

std::uint32_t readDirectoryRow(MSIHANDLE database, const platform::wstring& directory, DirectoryRow& row) {
  const platform::wstring query =
      WIDE_TEXT("SELECT Directory.DefaultDir,Directory.Directory_Parent FROM Directory WHERE Directory.Directory=?");
  return readFirstRow(database, query, directory, [&](MSIHANDLE record) {
    std::uint32_t code = readRecordString(record, 1, row.defaultDir);
    if (code != ERROR_SUCCESS) return code;
    return readRecordString(record, 2, row.parent);
  });
}

// "short|long" names the directory by its long name; nothing else of the
// DefaultDir syntax (a ":" source part, for one) is taken apart.
platform::wstring longName(const platform::wstring& defaultDir) {
  const size_t bar = defaultDir.find(WCHAR('|'));
  return bar == platform::wstring::npos ? defaultDir : defaultDir.substr(bar + 1);
}

}  // namespace

std::uint32_t readPackageProperty(MSIHANDLE database, const platform::wstring& name, platform::wstring& value) {
  value.clear();
  const platform::wstring query = WIDE_TEXT("SELECT Property.Value FROM Property WHERE Property.Property=?");
  return readFirstRow(database, query, name, [&](MSIHANDLE record) { return readRecordString(record, 1, value); });
}

std::uint32_t resolveDirectoryPath(MSIHANDLE database, const platform::wstring& directory, platform::wstring& path) {
  // Each level closes its handles before the next one opens, so the walk
  // holds two handles at most however deep the tree is.
  std::vector<platform::wstring> visited;
  platform::wstring current = directory;
  for (;;) {
    if (std::find(visited.begin(), visited.end(), current) != visited.end()) return ERROR_INVALID_DATA;
    visited.push_back(current);
    DirectoryRow row;
    const std::uint32_t code = readDirectoryRow(database, current, row);
    if (code != ERROR_SUCCESS) return code;
    if (row.parent.empty() || row.parent == WIDE_TEXT("TARGETDIR")) return ERROR_SUCCESS;
    path = longName(row.defaultDir) + WIDE_TEXT("\\") + path;
    current = row.parent;
  }
}

std::uint32_t readCabinetNames(MSIHANDLE database, std::vector<platform::wstring>& names) {
  names.clear();
  return readTableRows(database, WIDE_TEXT("SELECT Media.Cabinet FROM Media"), [&](MSIHANDLE record) {
    platform::wstring cabinet;
    const std::uint32_t code = readRecordString(record, 1, cabinet);
    if (code != ERROR_SUCCESS) return code;
    if (!cabinet.empty() && cabinet[0] != WCHAR('#')) names.push_back(std::move(cabinet));
    return std::uint32_t{ERROR_SUCCESS};
  });
}

}  // namespace msi_wrapper
}  // namespace installer
