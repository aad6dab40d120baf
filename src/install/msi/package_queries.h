// Queries on a package file that open it for the one question: any
// Windows Installer SQL, and the two branding values of a package.
#pragma once

#include <vector>

#include "platform/windows.h"

namespace installer {
namespace msi_wrapper {

using Rows = std::vector<std::vector<platform::wstring>>;

// Every row of `query` on the package at `path`, each field as text (an
// integer as its decimal text, a null field as ""). Empty when the package
// cannot be opened or the query fails.
Rows readQueryRows(const platform::wstring& path, const platform::wstring& query);

// Field 1 of the first row of `query`, or "".
platform::wstring readFirstValue(const platform::wstring& path, const platform::wstring& query);

// The Registry value named RebrandingCode, and the GETPREMIUM_LINK property.
platform::wstring readRebrandingCode(const platform::wstring& path);
platform::wstring readPremiumLink(const platform::wstring& path);

}  // namespace msi_wrapper
}  // namespace installer
