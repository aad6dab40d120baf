// Opening a package file as a database object, shared by MsiOpenDatabaseW
// and MsiGetSummaryInformationW (which may name a file instead of a
// handle). Internal to the emulated machine.
#pragma once

#include <memory>

#include "platform/emulated/msi_database/msi_objects.h"

namespace emulated {

// What a persist value of MsiOpenDatabaseW asks for.
struct OpenMode {
  bool readOnly = true;
  bool create = false;
  bool commitOnClose = false;
};

// False for an output-file path, a patch file or an unknown value: the
// emulated machine opens packages in place only.
bool openModeFromPersist(LPCWSTR persist, OpenMode& mode);

// The database object, or null with `code` set to the Windows code:
// `damagedCode` for an existing file that is not a package libmsi can read
// safely (package_check.h), the open or create failure otherwise.
std::shared_ptr<DatabaseObject> openDatabaseObject(LPCWSTR windowsPath, const OpenMode& mode, UINT& code,
                                                   UINT damagedCode = ERROR_OPEN_FAILED);

}  // namespace emulated
