// The cabinets an installation takes its compressed files from, as the
// Media table names them: "#name", a stream of the package's _Streams
// table (an embedded cabinet), or a file name in the package's source
// folder (an external cabinet). Each file of a cabinet is stored under its
// File table key.
//
// libgcab decompresses. It trusts a cabinet's structure, so every cabinet
// is checked first against the published cabinet format (CFHEADER, the
// CFFOLDER and CFFILE entries, every CFDATA block): offsets and counts
// inside the cabinet, names terminated, each file inside its folder's
// data, a compression libgcab knows, no file continued in another
// cabinet. A cabinet that fails is a corrupt cabinet to the installation
// (its error 1335) and never reaches libgcab. The compressed bits themselves are
// checked by the decompressors as they read.
//
// A cabinet is read and extracted once per installation, its wanted files
// into a staging folder (the journal's), whatever number of files it holds.
#pragma once

#include <ctime>
#include <map>
#include <string>
#include <string_view>

#include "platform/emulated/win_types.h"

namespace emulated::installer {

class Session;

// True when `bytes` hold a cabinet libgcab may read; else `problem` says why.
bool checkCabinet(std::string_view bytes, std::string* problem);

// The bytes of the cabinet that a Media row's Cabinet column names.
// ERROR_FILE_NOT_FOUND when the stream or file is missing, another Win32
// code when it cannot be read.
UINT readCabinet(const Session& session, std::u16string_view cabinet, std::string* bytes);

// A file wanted from a cabinet: where it goes, and what extraction found.
struct CabinetMember {
  std::string stagedPath;     // the host path it is extracted to
  bool extracted = false;
  std::time_t modified = 0;   // the date the cabinet keeps for it
};

// Extracts the members named in `wanted` (by their name in the cabinet)
// from a checked cabinet into `folder`, a folder of their staged paths.
// False with `problem` set when the cabinet cannot be read or written out.
bool extractCabinet(const std::string& bytes, const std::string& folder, std::map<std::string, CabinetMember>& wanted,
                    std::string* problem);

}  // namespace emulated::installer
