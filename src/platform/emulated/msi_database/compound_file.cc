#include "platform/emulated/msi_database/compound_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace emulated {

namespace {

constexpr std::uint32_t kMaxRegularSector = 0xFFFFFFFA;
constexpr std::uint32_t kDifatSector = 0xFFFFFFFC;
constexpr std::uint32_t kEndOfChain = 0xFFFFFFFE;
constexpr std::uint32_t kNoStream = 0xFFFFFFFF;
constexpr std::size_t kHeaderSize = 512;
constexpr std::size_t kHeaderDifatEntries = 109;
constexpr std::size_t kEntrySize = 128;
constexpr std::uint32_t kMiniStreamCutoff = 4096;
constexpr std::uint32_t kMiniSectorSize = 64;
constexpr const char kSignature[] = "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1";

enum EntryType : std::uint8_t { kUnallocated = 0, kStorage = 1, kStream = 2, kRoot = 5 };

std::uint16_t le16(const char* p) { return std::uint16_t(std::uint8_t(p[0]) | std::uint8_t(p[1]) << 8); }
std::uint32_t le32(const char* p) { return std::uint32_t(le16(p)) | std::uint32_t(le16(p + 2)) << 16; }
std::uint64_t le64(const char* p) { return std::uint64_t(le32(p)) | std::uint64_t(le32(p + 4)) << 32; }

// What the checker throws; open() turns it into `problem`.
struct Damage {
  std::string what;
};

[[noreturn]] void damaged(std::string what) { throw Damage{std::move(what)}; }

std::uint64_t sectorsFor(std::uint64_t size, std::uint32_t unit) { return (size + unit - 1) / unit; }

// A directory entry's fields, as far as the check needs them.
struct Entry {
  std::u16string name;
  std::uint8_t type = kUnallocated;
  std::uint32_t left = kNoStream, right = kNoStream, child = kNoStream;
  std::uint32_t start = 0;
  std::uint64_t size = 0;
};

}  // namespace

// The check, step by step, in the order of the format's own dependencies:
// header, DIFAT, FAT, directory chain, mini FAT, mini stream, directory
// tree and the stream chains it names. `owned_` marks every sector claimed
// by some chain so far, which finds both loops and shared sectors.
class CompoundFile::Checker {
 public:
  Checker(CompoundFile& file, std::uint64_t fileSize) : file_(file), fileSize_(fileSize) {}

  void run() {
    readHeader();
    readFat(difat());
    const std::string directory = readChain(claimChain(file_.fat_, le32(&header_[48]), "the directory"));
    readMiniFat();
    parseEntries(directory);
    readMiniStream();
    walkTree();
  }

 private:
  void readHeader() {
    header_.resize(kHeaderSize);
    if (fileSize_ < kHeaderSize || pread(file_.fd_, &header_[0], kHeaderSize, 0) != ssize_t(kHeaderSize))
      damaged("shorter than a compound file header");
    if (std::memcmp(header_.data(), kSignature, 8) != 0) damaged("no compound file signature");
    if (le16(&header_[28]) != 0xFFFE) damaged("a wrong byte order mark");
    const std::uint16_t major = le16(&header_[26]), shift = le16(&header_[30]);
    if (!((major == 3 && shift == 9) || (major == 4 && shift == 12))) damaged("an unknown version or sector size");
    if (le16(&header_[32]) != 6) damaged("a wrong mini sector size");
    if (major == 3 && le32(&header_[40]) != 0) damaged("a directory sector count in a version 3 file");
    if (le32(&header_[56]) != kMiniStreamCutoff) damaged("a wrong mini stream cutoff");
    version_ = major;
    file_.sectorSize_ = 1u << shift;
    // Whole sectors after the header's own (a version 4 header fills 4 KiB).
    const std::uint64_t whole = fileSize_ / file_.sectorSize_;
    const std::uint64_t sectors = whole > 0 ? whole - 1 : 0;
    sectorCount_ = std::uint32_t(sectors < kMaxRegularSector ? sectors : kMaxRegularSector);
    owned_.assign(sectorCount_, false);
  }

  // The FAT's sector numbers: the header's 109, then the DIFAT sectors'.
  std::vector<std::uint32_t> difat() {
    const std::uint32_t fatSectors = le32(&header_[44]);
    const std::uint32_t difatSectors = le32(&header_[72]);
    if (fatSectors == 0 || fatSectors > sectorCount_ || difatSectors > sectorCount_)
      damaged("sector counts beyond the file");
    std::vector<std::uint32_t> list;
    for (std::size_t i = 0; i < kHeaderDifatEntries; ++i) list.push_back(le32(&header_[76 + 4 * i]));
    const std::size_t perSector = file_.sectorSize_ / 4 - 1;
    std::string sector(file_.sectorSize_, '\0');
    std::uint32_t next = le32(&header_[68]);
    for (std::uint32_t k = 0; k < difatSectors; ++k) {
      claimOne(next, "the DIFAT");
      if (!file_.readSector(next, &sector[0])) damaged("an unreadable DIFAT sector");
      for (std::size_t i = 0; i < perSector; ++i) list.push_back(le32(&sector[4 * i]));
      next = le32(&sector[4 * perSector]);
    }
    if (list.size() < fatSectors) damaged("more FAT sectors than the DIFAT lists");
    list.resize(fatSectors);
    return list;
  }

  // FAT sectors usually follow each other; a run of them is one read.
  void readFat(const std::vector<std::uint32_t>& fatSectors) {
    for (std::uint32_t at : fatSectors) claimOne(at, "the FAT");
    const std::size_t size = file_.sectorSize_;
    std::string bytes(fatSectors.size() * size, '\0');
    for (std::size_t first = 0, last; first < fatSectors.size(); first = last) {
      for (last = first + 1; last < fatSectors.size() && fatSectors[last] == fatSectors[last - 1] + 1;) ++last;
      const std::size_t length = (last - first) * size;
      if (pread(file_.fd_, &bytes[first * size], length, off_t(fatSectors[first] + 1) * off_t(size)) != ssize_t(length))
        damaged("an unreadable FAT sector");
    }
    file_.fat_.resize(bytes.size() / 4);
    for (std::size_t i = 0; i < file_.fat_.size(); ++i) file_.fat_[i] = le32(&bytes[4 * i]);
    checkEntries(file_.fat_, sectorCount_, "the FAT");
  }

  // Every entry of a table, used or not, names a sector in range or is one
  // of the special values: libgsf reads them all.
  static void checkEntries(const std::vector<std::uint32_t>& table, std::uint64_t limit, const char* what) {
    for (std::uint32_t entry : table)
      if (entry >= limit && entry < kDifatSector) damaged(std::string(what) + " has an entry outside the file");
  }

  void readMiniFat() {
    const std::uint32_t count = le32(&header_[64]);
    if (count == 0) return;
    const std::vector<std::uint32_t> chain = claimChain(file_.fat_, le32(&header_[60]), "the mini FAT");
    if (chain.size() != count) damaged("a mini FAT chain of the wrong length");
    const std::string bytes = readChain(chain);
    for (std::size_t i = 0; i + 4 <= bytes.size(); i += 4) file_.miniFat_.push_back(le32(&bytes[i]));
  }

  void parseEntries(const std::string& directory) {
    for (std::size_t at = 0; at + kEntrySize <= directory.size(); at += kEntrySize) {
      const char* raw = &directory[at];
      Entry entry;
      entry.type = std::uint8_t(raw[66]);
      if (entry.type != kUnallocated) {
        entry.name = entryName(raw);
        if (entry.type != kStorage && entry.type != kStream && entry.type != kRoot) damaged("an unknown entry type");
        if (std::uint8_t(raw[67]) > 1) damaged("an entry colour other than red or black");
      }
      entry.left = le32(raw + 68);
      entry.right = le32(raw + 72);
      entry.child = le32(raw + 76);
      entry.start = le32(raw + 116);
      entry.size = le64(raw + 120);
      if (entry.type != kUnallocated && version_ == 3 && entry.size >> 32 != 0)
        damaged("a stream size beyond 4 GB in a version 3 file");
      entries_.push_back(std::move(entry));
    }
    if (entries_.empty() || entries_[0].type != kRoot) damaged("no root entry");
    // libgsf follows the root's own links too, which must lead nowhere.
    if (entries_[0].left != kNoStream || entries_[0].right != kNoStream) damaged("a root entry with siblings");
    file_.rootClass_.assign(&directory[80], 16);
  }

  static std::u16string entryName(const char* raw) {
    const std::uint16_t bytes = le16(raw + 64);
    if (bytes < 2 || bytes > 64 || bytes % 2 != 0) damaged("an entry name of a wrong length");
    std::u16string name;
    for (std::size_t i = 0; i + 1 < bytes / 2u; ++i) {
      const char16_t c = le16(raw + 2 * i);
      if (c == 0 || c == u'/' || c == u'\\' || c == u':' || c == u'!') damaged("an entry name with a forbidden character");
      name.push_back(c);
    }
    if (le16(raw + bytes - 2) != 0) damaged("an entry name without its terminator");
    return name;
  }

  // The root entry's chain holds the mini stream.
  void readMiniStream() {
    const Entry& root = entries_[0];
    miniSectorCount_ = root.size / kMiniSectorSize;
    checkEntries(file_.miniFat_, miniSectorCount_, "the mini FAT");
    if (root.size == 0) return;
    file_.miniStreamSectors_ = claimChain(file_.fat_, root.start, "the mini stream");
    if (file_.miniStreamSectors_.size() != sectorsFor(root.size, file_.sectorSize_))
      damaged("a mini stream chain that does not match its size");
    miniOwned_.assign(std::size_t(miniSectorCount_ < file_.miniFat_.size() ? miniSectorCount_ : file_.miniFat_.size()),
                      false);
  }

  void walkTree() {
    std::vector<char> seen(entries_.size(), 0);
    // (entry, whether it sits directly in the root storage)
    std::vector<std::pair<std::uint32_t, bool>> pending{{entries_[0].child, true}};
    seen[0] = 1;
    while (!pending.empty()) {
      const auto [id, inRoot] = pending.back();
      pending.pop_back();
      if (id == kNoStream) continue;
      if (id >= entries_.size()) damaged("a directory link outside the directory");
      if (seen[id]) damaged("a directory tree with a loop or a shared entry");
      seen[id] = 1;
      const Entry& entry = entries_[id];
      if (entry.type != kStorage && entry.type != kStream) damaged("a link to an entry that is not a storage or stream");
      if (entry.type == kStream && entry.child != kNoStream) damaged("a stream with children");
      pending.push_back({entry.left, inRoot});
      pending.push_back({entry.right, inRoot});
      if (entry.type == kStorage) pending.push_back({entry.child, false});
      if (entry.type == kStream) checkStream(entry, inRoot);
    }
  }

  void checkStream(const Entry& entry, bool inRoot) {
    if (entry.size > 0) {
      const bool mini = entry.size < kMiniStreamCutoff;
      const std::uint32_t unit = mini ? kMiniSectorSize : file_.sectorSize_;
      const std::size_t length = mini ? claim(file_.miniFat_, entry.start, miniOwned_, "a mini stream chain")
                                      : claim(file_.fat_, entry.start, owned_, "a stream chain");
      if (length != sectorsFor(entry.size, unit)) damaged("a stream chain that does not match its size");
    }
    if (inRoot) file_.streams_.push_back({entry.name, entry.size, entry.start});
  }

  void claimOne(std::uint32_t sector, const char* what) {
    if (sector >= sectorCount_) damaged(std::string(what) + " names a sector outside the file");
    if (owned_[sector]) damaged(std::string(what) + " shares a sector");
    owned_[sector] = true;
  }

  // The length of the chain from `start` through `table`, whose sectors
  // must be in range (`owned` is as long as the range) and claimed by no
  // other chain; the sectors go to `chain` when one is given.
  static std::size_t claim(const std::vector<std::uint32_t>& table, std::uint32_t start, std::vector<bool>& owned,
                           const char* what, std::vector<std::uint32_t>* chain = nullptr) {
    std::size_t length = 0;
    for (std::uint32_t at = start; at != kEndOfChain; at = table[at], ++length) {
      if (at >= owned.size() || at >= table.size()) damaged(std::string(what) + " leaves its table");
      if (owned[at]) damaged(std::string(what) + " loops or shares a sector");
      owned[at] = true;
      if (chain != nullptr) chain->push_back(at);
    }
    return length;
  }

  std::vector<std::uint32_t> claimChain(const std::vector<std::uint32_t>& table, std::uint32_t start, const char* what) {
    std::vector<std::uint32_t> chain;
    claim(table, start, owned_, what, &chain);
    return chain;
  }

  std::string readChain(const std::vector<std::uint32_t>& chain) {
    std::string bytes(chain.size() * file_.sectorSize_, '\0');
    for (std::size_t i = 0; i < chain.size(); ++i)
      if (!file_.readSector(chain[i], &bytes[i * file_.sectorSize_])) damaged("an unreadable sector");
    return bytes;
  }

  CompoundFile& file_;
  const std::uint64_t fileSize_;
  std::string header_;
  std::uint16_t version_ = 3;
  std::uint32_t sectorCount_ = 0;
  std::uint64_t miniSectorCount_ = 0;
  std::vector<bool> owned_, miniOwned_;
  std::vector<Entry> entries_;
};

std::unique_ptr<CompoundFile> CompoundFile::open(const std::string& hostPath, std::string& problem, bool& missing) {
  missing = false;
  const int fd = ::open(hostPath.c_str(), O_RDONLY | O_CLOEXEC);
  struct stat info;
  if (fd < 0 || fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
    if (fd >= 0) ::close(fd);
    missing = true;
    problem = "cannot be opened";
    return nullptr;
  }
  std::unique_ptr<CompoundFile> file(new CompoundFile(fd));
  try {
    Checker(*file, std::uint64_t(info.st_size)).run();
  } catch (const Damage& damage) {
    problem = damage.what;
    return nullptr;
  }
  return file;
}

CompoundFile::~CompoundFile() { ::close(fd_); }

const CompoundFile::Stream* CompoundFile::find(const std::u16string& name) const {
  for (const Stream& stream : streams_)
    if (stream.name == name) return &stream;
  return nullptr;
}

bool CompoundFile::readSector(std::uint32_t sector, char* into) const {
  const off_t at = off_t(sector + 1) * sectorSize_;
  return pread(fd_, into, sectorSize_, at) == ssize_t(sectorSize_);
}

bool CompoundFile::read(const Stream& stream, std::string& bytes) const {
  bytes.clear();
  if (stream.size == 0) return true;
  if (stream.size >= kMiniStreamCutoff) {
    // Runs of consecutive sectors are read in one call: a large stream (an
    // embedded cabinet) is then read in a few calls, not one per sector.
    bytes.resize(std::size_t(stream.size));
    std::size_t done = 0;
    for (std::uint32_t at = stream.start; at != kEndOfChain && done < bytes.size();) {
      std::uint32_t run = 1;
      while (fat_[at + run - 1] == at + run) ++run;
      const std::size_t length = std::min<std::size_t>(std::size_t(run) * sectorSize_, bytes.size() - done);
      if (pread(fd_, &bytes[done], length, off_t(at + 1) * sectorSize_) != ssize_t(length)) return false;
      done += length;
      at = fat_[at + run - 1];
    }
    return done == bytes.size();
  }
  std::string sector(sectorSize_, '\0');
  for (std::uint32_t at = stream.start; at != kEndOfChain; at = miniFat_[at]) {
    const std::uint64_t offset = std::uint64_t(at) * kMiniSectorSize;
    const off_t where = off_t(miniStreamSectors_[offset / sectorSize_] + 1) * sectorSize_ + off_t(offset % sectorSize_);
    if (pread(fd_, &sector[0], kMiniSectorSize, where) != ssize_t(kMiniSectorSize)) return false;
    bytes.append(sector, 0, kMiniSectorSize);
  }
  bytes.resize(std::size_t(stream.size));
  return true;
}

}  // namespace emulated
