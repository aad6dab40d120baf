#include "platform/emulated/msi_database/package_check.h"

#include <sys/stat.h>
#include <time.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <map>
#include <mutex>
#include <set>
#include <tuple>
#include <vector>

#include "platform/emulated/msi_database/compound_file.h"

namespace emulated {

namespace {

constexpr char16_t kTableMarker = 0x4840;
constexpr char16_t kPairBase = 0x3800;
constexpr char16_t kSingleBase = 0x4800;
constexpr std::uint32_t kLongStringIds = 0x80000000;
constexpr std::size_t kCacheLimit = 64;
constexpr std::uint32_t kMaxColumns = 32;
constexpr std::size_t kMaxNameLength = 64;
constexpr std::int64_t kSettledNanoseconds = 2000000000;

// Column types as _Columns stores them.
constexpr std::uint16_t kTypeString = 0x0800;
constexpr std::uint16_t kTypeWidth = 0x00FF;

int packedIndex(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'Z') return c - 'A' + 10;
  if (c >= 'a' && c <= 'z') return c - 'a' + 36;
  if (c == '.') return 62;
  if (c == '_') return 63;
  return -1;
}

std::uint32_t le(const std::string& bytes, std::size_t at, std::size_t width) {
  std::uint32_t value = 0;
  for (std::size_t i = width; i-- > 0;) value = value << 8 | std::uint8_t(bytes[at + i]);
  return value;
}

struct Damage {
  std::string what;
};

[[noreturn]] void damaged(std::string what) { throw Damage{std::move(what)}; }

// The Windows Installer layer of a sound compound file.
class PackageChecker {
 public:
  explicit PackageChecker(const CompoundFile& file) : file_(file) {}

  void run() {
    readStringPool();
    readTables();
    readColumns();
  }

 private:
  std::string stream(const std::string& table, bool required) {
    const CompoundFile::Stream* found = file_.find(packedTableStreamName(table));
    std::string bytes;
    if (found == nullptr) {
      if (required) damaged("no " + table + " stream");
      return bytes;
    }
    if (!file_.read(*found, bytes)) damaged("an unreadable " + table + " stream");
    return bytes;
  }

  // _StringPool: a header (codepage, and the flag for 3-byte string ids),
  // then a (length, reference count) pair per string id; _StringData holds
  // the strings back to back. A pair (0, n) with n > 0 starts a string of
  // 64 KiB or more: n is the high part of its length, and the next pair
  // gives the low part and the reference count. Ids count pairs, so the
  // second pair's id names no string of its own.
  void readStringPool() {
    const std::string pool = stream("_StringPool", true);
    data_ = stream("_StringData", true);
    if (pool.size() < 4 || pool.size() % 4 != 0) damaged("a string pool of a wrong size");
    idWidth_ = le(pool, 0, 4) & kLongStringIds ? 3 : 2;
    std::uint64_t total = 0;
    for (std::size_t at = 4; at < pool.size(); at += 4) {
      std::uint64_t length = le(pool, at, 2);
      const std::uint32_t references = le(pool, at + 2, 2);
      if (length == 0 && references != 0) {
        at += 4;
        if (at >= pool.size()) damaged("a string pool that ends inside an entry");
        length = std::uint64_t(references) << 16 | le(pool, at, 2);
        offsets_.push_back(total);
        lengths_.push_back(0);
      }
      offsets_.push_back(total);
      lengths_.push_back(length);
      total += length;
    }
    if (total != data_.size()) damaged("string lengths that do not add up to the string data");
    stringIds_ = std::uint32_t(lengths_.size());
  }

  // _Tables: one column, the string id of each table's name.
  void readTables() {
    const std::string tables = stream("_Tables", true);
    if (tables.size() % idWidth_ != 0) damaged("a _Tables stream of a wrong size");
    for (std::size_t at = 0; at < tables.size(); at += idWidth_) {
      const std::uint32_t id = le(tables, at, idWidth_);
      checkIdentifier(id, "a table name");
      if (!tables_.insert(id).second) damaged("a table listed twice");
    }
  }

  // _Columns: (Table, Number, Name, Type), stored column by column. Every
  // column belongs to a listed table, every listed table has columns
  // numbered 1 to n, and names are identifiers: libmsi's query parser
  // trusts all of that.
  void readColumns() {
    const std::string columns = stream("_Columns", true);
    const std::size_t rowWidth = 2 * idWidth_ + 4;
    if (columns.size() % rowWidth != 0) damaged("a _Columns stream of a wrong size");
    const std::size_t rows = columns.size() / rowWidth;
    const std::size_t numbers = rows * idWidth_, names = numbers + rows * 2, types = names + rows * idWidth_;
    std::map<std::uint32_t, std::set<std::uint32_t>> numbered;
    for (std::size_t row = 0; row < rows; ++row) {
      const std::uint32_t table = le(columns, row * idWidth_, idWidth_);
      const std::uint32_t number = le(columns, numbers + row * 2, 2) ^ 0x8000;
      const std::uint32_t type = le(columns, types + row * 2, 2) ^ 0x8000;
      checkIdentifier(le(columns, names + row * idWidth_, idWidth_), "a column name");
      if (tables_.count(table) == 0) damaged("a column of a table that _Tables does not list");
      if (number == 0 || number > kMaxColumns || !numbered[table].insert(number).second)
        damaged("a wrong column number");
      if ((type & kTypeString) == 0 && (type & kTypeWidth) != 2 && (type & kTypeWidth) != 4)
        damaged("an integer column of a wrong width");
    }
    for (std::uint32_t table : tables_) {
      const std::set<std::uint32_t>& used = numbered[table];
      if (used.empty() || *used.rbegin() != used.size()) damaged("a table whose columns are not numbered 1 to n");
    }
  }

  // A table or column name: a string of the pool that is an identifier.
  void checkIdentifier(std::uint32_t id, const char* what) {
    if (id == 0 || id > stringIds_) damaged(std::string(what) + " outside the string pool");
    const std::string name = data_.substr(offsets_[id - 1], lengths_[id - 1]);
    bool ok = !name.empty() && name.size() <= kMaxNameLength && !std::isdigit(std::uint8_t(name[0]));
    for (char c : name) ok = ok && (std::isalnum(std::uint8_t(c)) || c == '_' || c == '.');
    if (!ok) damaged(std::string(what) + " that is not an identifier");
  }

  const CompoundFile& file_;
  std::size_t idWidth_ = 2;
  std::uint32_t stringIds_ = 0;
  std::string data_;
  std::vector<std::uint64_t> offsets_, lengths_;
  std::set<std::uint32_t> tables_;
};

// What a cached verdict is about.
struct FileIdentity {
  std::string path;
  std::int64_t size;
  std::int64_t modified;
  std::uint64_t inode;
  bool operator<(const FileIdentity& other) const {
    return std::tie(path, size, modified, inode) < std::tie(other.path, other.size, other.modified, other.inode);
  }
};

std::int64_t nanoseconds(const timespec& time) { return std::int64_t(time.tv_sec) * 1000000000 + time.tv_nsec; }

// A file rewritten within one tick of the file system's clock keeps its
// time stamp; a verdict on a file that young is not kept, so a rewrite in
// place is always checked again.
bool oldEnoughToCache(const struct stat& info) {
  timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  return nanoseconds(now) - std::max(nanoseconds(info.st_mtim), nanoseconds(info.st_ctim)) > kSettledNanoseconds;
}

std::mutex cacheLock;
std::map<FileIdentity, PackageVerdict>& cache() {
  static auto* verdicts = new std::map<FileIdentity, PackageVerdict>();
  return *verdicts;
}

}  // namespace

std::u16string packedTableStreamName(const std::string& table) {
  std::u16string packed(1, kTableMarker);
  for (std::size_t i = 0; i < table.size(); ++i) {
    const int first = packedIndex(table[i]);
    const int second = i + 1 < table.size() ? packedIndex(table[i + 1]) : -1;
    if (first < 0) {
      packed.push_back(char16_t(std::uint8_t(table[i])));
    } else if (second < 0) {
      packed.push_back(char16_t(kSingleBase + first));
    } else {
      packed.push_back(char16_t(kPairBase + first + (second << 6)));
      ++i;
    }
  }
  return packed;
}

PackageVerdict checkPackageFile(const std::string& hostPath, std::string& problem) {
  bool missing = false;
  std::unique_ptr<CompoundFile> file = CompoundFile::open(hostPath, problem, missing);
  if (!file) return missing ? PackageVerdict::missing : PackageVerdict::damaged;
  try {
    PackageChecker(*file).run();
  } catch (const Damage& damage) {
    problem = damage.what;
    return PackageVerdict::damaged;
  }
  return PackageVerdict::sound;
}

PackageVerdict checkPackageFile(const std::string& hostPath) {
  struct stat info;
  if (::stat(hostPath.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return PackageVerdict::missing;
  const FileIdentity identity{hostPath, std::int64_t(info.st_size), nanoseconds(info.st_mtim),
                              std::uint64_t(info.st_ino)};
  {
    std::lock_guard<std::mutex> guard(cacheLock);
    const auto found = cache().find(identity);
    if (found != cache().end()) return found->second;
  }
  std::string problem;
  const PackageVerdict verdict = checkPackageFile(hostPath, problem);
  // A file that vanished meanwhile is not remembered.
  if (verdict == PackageVerdict::missing || !oldEnoughToCache(info)) return verdict;
  std::lock_guard<std::mutex> guard(cacheLock);
  if (cache().size() >= kCacheLimit) cache().clear();
  cache()[identity] = verdict;
  return verdict;
}

}  // namespace emulated
