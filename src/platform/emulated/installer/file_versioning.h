// Whether a file being installed replaces a file of the same name already
// at its place, by Windows Installer's documented File Versioning Rules
// and the file letters of REINSTALLMODE (default "omus"):
//   p  only a missing file is installed;
//   o  also over an older version (the default);
//   e  also over an equal or older version;
//   d  also over any different version;
//   a  always.
// Under o, e and d:
//   - both versioned: the highest version wins; with equal versions the
//     languages decide (a file without a language never replaces one with
//     a language, one with a language replaces one without; a superset of
//     languages is kept; else the file in the product's language wins);
//   - versioned files win over unversioned ones;
//   - an unversioned file on the machine is user data once modified after
//     it was created: it is kept; otherwise it is replaced.
// A companion file (its Version names another file) is decided by its
// companion parent's versions, which the caller passes instead.
//
// The version of a file on the machine is read from its version resource
// (the VS_FIXEDFILEINFO of a PE image) and its language from the
// resource's Translation entry; a file without one is unversioned.
#pragma once

#include <string>
#include <string_view>

namespace emulated::installer {

struct FileVersionFacts {
  std::u16string version;   // "" unversioned
  std::u16string language;  // "" none; else decimal LANGIDs, comma-separated
};

struct ExistingFile {
  bool exists = false;
  FileVersionFacts facts;
  bool modified = false;  // modified after it was created
};

// What the machine has at `hostPath`.
ExistingFile inspectExistingFile(const std::string& hostPath);

// Compares "a.b.c.d" versions field by field (missing fields are 0).
int compareVersions(std::u16string_view a, std::u16string_view b);

// Whether `incoming` is installed over `existing`.
bool replacesExistingFile(const FileVersionFacts& incoming, const ExistingFile& existing,
                          std::u16string_view reinstallMode, std::u16string_view productLanguage);

}  // namespace emulated::installer
