// Readers of a package's own tables, over a bare database handle. Each runs
// its own query and returns a Windows Installer code. The names looked up
// (a property's, a directory's) reach the query as record parameters, so
// any text is a name, quotes included; one is cut at a NUL.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/windows.h"

namespace installer {
namespace msi_wrapper {

// The Property table's value for `name`; 259 when the table lacks it.
std::uint32_t readPackageProperty(MSIHANDLE database, const platform::wstring& name, platform::wstring& value);

// Puts the directories from `directory` up to the one right under the root
// in front of `path`, each as its long name followed by "\". The directory
// right under the root (parent TARGETDIR or none) adds nothing. A missing
// row stops the walk with 259 and a parent chain that loops back stops it
// with 13 (invalid data); either way `path` keeps the part built so far.
std::uint32_t resolveDirectoryPath(MSIHANDLE database, const platform::wstring& directory, platform::wstring& path);

// The Media table's external cabinets: names that are empty or start with
// "#" (stored inside the package) are left out. `names` is cleared first
// and keeps what was read before an error.
std::uint32_t readCabinetNames(MSIHANDLE database, std::vector<platform::wstring>& names);

}  // namespace msi_wrapper
}  // namespace installer
