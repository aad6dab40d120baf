// Reading, checking and extracting cabinets (cabinet.h).
#include "platform/emulated/installer/cabinet.h"

#include <gio/gio.h>
#include <libgcab.h>

#include <cstdint>
#include <fstream>
#include <memory>
#include <sstream>
#include <vector>

#include "platform/emulated/installer/session.h"
#include "platform/emulated/machine/machine_paths.h"
#include "platform/emulated/machine/unicode.h"
#include "platform/emulated/msi_database/compound_file.h"
#include "platform/emulated/msi_database/package_check.h"

namespace emulated::installer {

namespace {

// The cabinet format's fixed sizes and flags.
constexpr size_t kHeaderSize = 36;
constexpr size_t kFolderSize = 8;
constexpr size_t kFileSize = 16;
constexpr size_t kDataSize = 8;
constexpr std::uint16_t kPreviousCabinet = 0x0001;
constexpr std::uint16_t kNextCabinet = 0x0002;
constexpr std::uint16_t kReservePresent = 0x0004;
constexpr std::uint16_t kFirstContinuedIndex = 0xFFFD;  // 0xFFFD..0xFFFF: spans cabinets
constexpr std::uint32_t kMaxBlock = 32768;
constexpr std::uint32_t kMaxCompressedBlock = kMaxBlock + 6144;
constexpr size_t kMaxName = 256;
// Compression types: none, MSZIP, LZX with a window of 2^15 to 2^21.
constexpr std::uint16_t kCompressionMask = 0x000F;
constexpr std::uint16_t kNone = 0, kMszip = 1, kLzx = 3;

struct Damaged {
  std::string what;
};

// Reads little-endian fields from the cabinet; past its end is damage.
class Reader {
 public:
  explicit Reader(std::string_view bytes) : bytes_(bytes) {}

  std::uint32_t le(size_t at, size_t width) const {
    need(at, width);
    std::uint32_t value = 0;
    for (size_t i = width; i-- > 0;) value = value << 8 | std::uint8_t(bytes_[at + i]);
    return value;
  }
  void need(size_t at, size_t length) const {
    if (at > bytes_.size() || length > bytes_.size() - at) throw Damaged{"a structure past the cabinet's end"};
  }
  // A null-terminated name of at most kMaxName bytes at `at`; its length.
  size_t name(size_t at) const {
    for (size_t i = 0; i < kMaxName; ++i) {
      need(at + i, 1);
      if (bytes_[at + i] == '\0') return i;
    }
    throw Damaged{"a name without its end"};
  }

 private:
  std::string_view bytes_;
};

struct Folder {
  std::uint64_t uncompressed = 0;
};

// The CFHEADER: where the folders start; the reserved sizes.
struct Header {
  size_t folders = 0;
  size_t folderCount = 0;
  size_t files = 0;
  size_t fileCount = 0;
  size_t folderReserve = 0;
  size_t dataReserve = 0;
};

Header readHeader(const Reader& in, size_t size) {
  if (size < kHeaderSize || in.le(0, 4) != 0x4643534D) throw Damaged{"no cabinet signature"};  // "MSCF"
  if (in.le(8, 4) > size) throw Damaged{"a cabinet size beyond the data"};
  const std::uint16_t flags = std::uint16_t(in.le(30, 2));
  if (flags & (kPreviousCabinet | kNextCabinet)) throw Damaged{"a cabinet that spans several cabinets"};
  Header header;
  header.files = in.le(16, 4);
  header.folderCount = in.le(26, 2);
  header.fileCount = in.le(28, 2);
  size_t at = kHeaderSize;
  if (flags & kReservePresent) {
    const size_t headerReserve = in.le(at, 2);
    header.folderReserve = in.le(at + 2, 1);
    header.dataReserve = in.le(at + 3, 1);
    at += 4 + headerReserve;
  }
  header.folders = at;
  if (header.folderCount == 0) throw Damaged{"no folder"};
  return header;
}

// Walks every CFDATA block of each folder; their uncompressed sizes.
std::vector<Folder> readFolders(const Reader& in, const Header& header) {
  std::vector<Folder> folders(header.folderCount);
  for (size_t i = 0; i < header.folderCount; ++i) {
    const size_t entry = header.folders + i * (kFolderSize + header.folderReserve);
    in.need(entry, kFolderSize + header.folderReserve);
    size_t block = in.le(entry, 4);
    const size_t blocks = in.le(entry + 4, 2);
    const std::uint16_t compression = std::uint16_t(in.le(entry + 6, 2));
    const std::uint16_t type = compression & kCompressionMask;
    const unsigned window = (compression >> 8) & 0x1F;
    if (type != kNone && type != kMszip && !(type == kLzx && window >= 15 && window <= 21))
      throw Damaged{"a compression libgcab cannot read"};
    for (size_t b = 0; b < blocks; ++b) {
      in.need(block, kDataSize + header.dataReserve);
      const std::uint32_t compressed = in.le(block + 4, 2);
      const std::uint32_t uncompressed = in.le(block + 6, 2);
      if (uncompressed == 0 || uncompressed > kMaxBlock || compressed == 0 || compressed > kMaxCompressedBlock)
        throw Damaged{"a data block of an impossible size"};
      if (type == kNone && compressed != uncompressed) throw Damaged{"a stored block whose sizes differ"};
      block += kDataSize + header.dataReserve;
      in.need(block, compressed);
      block += compressed;
      folders[i].uncompressed += uncompressed;
    }
  }
  return folders;
}

void readFiles(const Reader& in, const Header& header, const std::vector<Folder>& folders) {
  size_t at = header.files;
  for (size_t i = 0; i < header.fileCount; ++i) {
    in.need(at, kFileSize);
    const std::uint64_t size = in.le(at, 4);
    const std::uint64_t offset = in.le(at + 4, 4);
    const size_t folder = in.le(at + 8, 2);
    if (folder >= kFirstContinuedIndex) throw Damaged{"a file continued in another cabinet"};
    if (folder >= folders.size()) throw Damaged{"a file in no folder"};
    if (offset + size > folders[folder].uncompressed) throw Damaged{"a file past its folder's data"};
    const size_t length = in.name(at + kFileSize);
    if (length == 0) throw Damaged{"a file without a name"};
    at += kFileSize + length + 1;
  }
}

std::u16string folderOf(const std::u16string& windowsPath) {
  const size_t slash = windowsPath.rfind(u'\\');
  return slash == std::u16string::npos ? std::u16string() : windowsPath.substr(0, slash + 1);
}

UINT readEmbedded(const Session& session, const std::string& stream, std::string* bytes) {
  std::string problem;
  bool missing = false;
  auto file = CompoundFile::open(toHostPath(session.packagePath()), problem, missing);
  if (!file) return missing ? ERROR_FILE_NOT_FOUND : ERROR_INSTALL_PACKAGE_INVALID;
  const CompoundFile::Stream* found = file->find(packedStreamName(stream));
  if (found == nullptr) return ERROR_FILE_NOT_FOUND;
  return file->read(*found, *bytes) ? ERROR_SUCCESS : ERROR_READ_FAULT;
}

UINT readExternal(const Session& session, std::u16string_view name, std::string* bytes) {
  std::u16string source = session.property(u"SourceDir");
  if (source.empty()) source = folderOf(session.packagePath());
  if (!source.empty() && source.back() != u'\\') source += u'\\';
  std::ifstream in(toHostPath(source + std::u16string(name)), std::ios::binary);
  if (!in) return ERROR_FILE_NOT_FOUND;
  std::ostringstream out;
  out << in.rdbuf();
  *bytes = out.str();
  return in.bad() ? ERROR_READ_FAULT : ERROR_SUCCESS;
}

struct Extraction {
  std::map<std::string, CabinetMember>* wanted;
};

// libgcab asks per file whether to extract it; a wanted file is written
// under its staged name, so no name from the cabinet becomes a host path.
gboolean chooseFile(GCabFile* file, gpointer data) {
  auto& wanted = *static_cast<Extraction*>(data)->wanted;
  const auto member = wanted.find(gcab_file_get_name(file));
  if (member == wanted.end() || member->second.extracted) return FALSE;
  const std::string& staged = member->second.stagedPath;
  gcab_file_set_extract_name(file, staged.substr(staged.rfind('/') + 1).c_str());
  member->second.extracted = true;
  if (GDateTime* date = gcab_file_get_date_time(file)) {
    member->second.modified = static_cast<std::time_t>(g_date_time_to_unix(date));
    g_date_time_unref(date);
  }
  return TRUE;
}

template <class T>
struct GUnref {
  void operator()(T* object) const {
    if (object != nullptr) g_object_unref(object);
  }
};
template <class T>
using GOwned = std::unique_ptr<T, GUnref<T>>;

}  // namespace

bool checkCabinet(std::string_view bytes, std::string* problem) {
  try {
    const Reader in(bytes);
    const Header header = readHeader(in, bytes.size());
    readFiles(in, header, readFolders(in, header));
    return true;
  } catch (const Damaged& damage) {
    *problem = damage.what;
    return false;
  }
}

UINT readCabinet(const Session& session, std::u16string_view cabinet, std::string* bytes) {
  bytes->clear();
  if (!cabinet.empty() && cabinet.front() == u'#') return readEmbedded(session, utf16ToUtf8(cabinet.substr(1)), bytes);
  return readExternal(session, cabinet, bytes);
}

bool extractCabinet(const std::string& bytes, const std::string& folder, std::map<std::string, CabinetMember>& wanted,
                    std::string* problem) {
  if (!checkCabinet(bytes, problem)) return false;
  GOwned<GInputStream> stream(g_memory_input_stream_new_from_data(bytes.data(), gssize(bytes.size()), nullptr));
  GOwned<GCabCabinet> cabinet(gcab_cabinet_new());
  GOwned<GFile> target(g_file_new_for_path(folder.c_str()));
  GError* error = nullptr;
  Extraction extraction{&wanted};
  const bool done = gcab_cabinet_load(cabinet.get(), stream.get(), nullptr, &error) &&
                    gcab_cabinet_extract_simple(cabinet.get(), target.get(), chooseFile, &extraction, nullptr, &error);
  if (!done) {
    *problem = error != nullptr ? error->message : "the cabinet cannot be read";
    if (error != nullptr) g_error_free(error);
  }
  return done;
}

}  // namespace emulated::installer
