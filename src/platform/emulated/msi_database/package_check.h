// The check that a package file passes before libmsi may open it. libmsi
// trusts a package's structure: a damaged compound file or string pool
// makes it read out of bounds and crash the process, and a damaged
// download must cost the installer an error code, not its life. So every
// existing file that a database is opened on is checked first: its
// compound file structure (compound_file.h), then the Windows Installer
// layer above it: the summary information, the string pool (and that its
// strings convert from the package's codepage), the table catalogue, the
// column catalogue and the sizes of the table streams, which libmsi loads
// and indexes trusting them. What passes never made libmsi crash or warn
// in the package fuzzer (tests/fuzz).
//
// The verdict is cached per file identity (path, size, modification time,
// inode), so opening the same package again costs one stat.
#pragma once

#include <string>

namespace emulated {

enum class PackageVerdict {
  sound,    // libmsi may open it
  missing,  // no readable regular file there
  damaged,  // a file, but not a package that libmsi can read safely
};

// Thread-safe.
PackageVerdict checkPackageFile(const std::string& hostPath);

// The check itself, uncached; `problem` says what is wrong.
PackageVerdict checkPackageFile(const std::string& hostPath, std::string& problem);

// A table's stream name as a package stores it in the compound file: the
// table marker, then the name with pairs of name characters packed into
// one character each.
std::u16string packedTableStreamName(const std::string& table);

// The same packing without the table marker: how a stream of the _Streams
// table (an embedded cabinet, say) is named in the compound file.
std::u16string packedStreamName(const std::string& name);

}  // namespace emulated
