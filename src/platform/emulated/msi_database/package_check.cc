#include "platform/emulated/msi_database/package_check.h"

#include <glib.h>
#include <gsf/gsf-msole-utils.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <map>
#include <mutex>
#include <set>
#include <tuple>
#include <vector>

#include "platform/emulated/machine/file_identity.h"
#include "platform/emulated/msi_database/compound_file.h"

namespace emulated {

namespace {

constexpr char16_t kTableMarker = 0x4840;
constexpr char16_t kPairBase = 0x3800;
constexpr char16_t kSingleBase = 0x4800;
constexpr std::uint32_t kLongStringIds = 0x80000000;
constexpr std::uint32_t kCodepageBits = 0xFFFF;
constexpr int kUtf8Codepage = 65001;
constexpr std::size_t kCacheLimit = 64;
constexpr std::uint32_t kMaxColumns = 32;
constexpr std::size_t kMaxNameLength = 64;

// The summary information property set: its format id, and the variant
// type of each property id (0: not a summary property of a package).
constexpr std::size_t kSummaryHeader = 48;
constexpr char kSummaryFormat[] = "\xE0\x85\x9F\xF2\xF9\x4F\x68\x10\xAB\x91\x08\x00\x2B\x27\xB3\xD9";
constexpr std::uint16_t kInt16 = 2, kInt32 = 3, kText = 30, kFileTime = 64;
constexpr std::uint16_t kSummaryTypes[] = {0,     kInt16, kText,     kText,     kText,     kText,  kText,
                                           kText, kText,  kText,     0,         kFileTime, kFileTime, kFileTime,
                                           kInt32, kInt32, kInt32,   0,         kText,     kInt32};

// The root storage's class of an installer database and of a patch.
constexpr char kDatabaseClass[] = "\x84\x10\x0C\x00\x00\x00\x00\x00\xC0\x00\x00\x00\x00\x00\x00\x46";
constexpr char kPatchClass[] = "\x86\x10\x0C\x00\x00\x00\x00\x00\xC0\x00\x00\x00\x00\x00\x00\x46";

// Column types as _Columns stores them.
constexpr std::uint16_t kTypeString = 0x0800;
constexpr std::uint16_t kTypeWidth = 0x00FF;
constexpr std::uint16_t kTypeNullable = 0x1000;
constexpr std::uint16_t kTypeValid = 0x0100;
constexpr std::uint16_t kTypeNotStored = 0xC000;  // a temporary column, or no type
constexpr std::uint16_t kTypeBinary = 0x0900;

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

// libgsf warns on a codepage that the system's converters do not know;
// such a codepage is asked about quietly first.
bool knownCodepage(int codepage) {
  if (codepage == kUtf8Codepage) return true;
  const std::string name = "CP" + std::to_string(codepage);
  GIConv convert = g_iconv_open("UTF-8", name.c_str());
  if (convert == reinterpret_cast<GIConv>(-1)) return false;
  g_iconv_close(convert);
  return true;
}

[[noreturn]] void damaged(std::string what) { throw Damage{std::move(what)}; }

// The Windows Installer layer of a sound compound file.
class PackageChecker {
 public:
  explicit PackageChecker(const CompoundFile& file) : file_(file) {}

  void run() {
    if (file_.rootClass() != std::string(kDatabaseClass, 16) && file_.rootClass() != std::string(kPatchClass, 16))
      damaged("a root storage class that is not an installer database's");
    readSummary();
    readStringPool();
    readTables();
    readColumns();
  }

 private:
  std::string stream(const std::string& table) {
    const CompoundFile::Stream* found = file_.find(packedTableStreamName(table));
    std::string bytes;
    if (found == nullptr) damaged("no " + table + " stream");
    if (!file_.read(*found, bytes)) damaged("an unreadable " + table + " stream");
    return bytes;
  }

  // \005SummaryInformation, where there is one (a database made by
  // MsiOpenDatabase has none until it is given some): a property set stream
  // (one set, of the summary information format) holding only the
  // properties that Windows Installer documents, each of its documented
  // type and within the set.
  void readSummary() {
    const CompoundFile::Stream* found = file_.find(u"\x05SummaryInformation");
    if (found == nullptr) return;
    std::string bytes;
    if (!file_.read(*found, bytes)) damaged("unreadable summary information");
    if (bytes.size() < kSummaryHeader || le(bytes, 0, 2) != 0xFFFE || le(bytes, 24, 4) != 1 ||
        bytes.compare(28, 16, kSummaryFormat, 16) != 0)
      damaged("a summary information header of a wrong form");
    const std::size_t set = le(bytes, 44, 4);
    if (set > bytes.size() || bytes.size() - set < 8) damaged("a summary property set outside its stream");
    const std::size_t size = le(bytes, set, 4), count = le(bytes, set + 4, 4);
    if (size < 8 || size > bytes.size() - set || count > (size - 8) / 8)
      damaged("a summary property set of a wrong size");
    for (std::size_t i = 0; i < count; ++i) {
      const std::uint32_t id = le(bytes, set + 8 + 8 * i, 4);
      const std::size_t at = le(bytes, set + 12 + 8 * i, 4);
      if (at > size - 8) damaged("a summary property outside its set");
      const std::uint32_t type = le(bytes, set + at, 4);
      if (id >= sizeof kSummaryTypes / sizeof kSummaryTypes[0] || type == 0 || type != kSummaryTypes[id])
        damaged("a summary property of an unknown id or a wrong type");
      const std::uint64_t length = type == kFileTime ? 8 : type == kText ? 4 + std::uint64_t(le(bytes, set + at + 4, 4)) : 4;
      if (length > size - at - 4) damaged("a summary property value beyond its set");
    }
  }

  // _StringPool: a header (codepage, and the flag for 3-byte string ids),
  // then a (length, reference count) pair per string id; _StringData holds
  // the strings back to back. A pair (0, n) with n > 0 starts a string of
  // 64 KiB or more: n is the high part of its length, and the next pair
  // gives the low part and the reference count. Ids count pairs, so the
  // second pair's id names no string of its own.
  void readStringPool() {
    const std::string pool = stream("_StringPool");
    data_ = stream("_StringData");
    if (pool.size() < 4 || pool.size() % 4 != 0) damaged("a string pool of a wrong size");
    idWidth_ = le(pool, 0, 4) & kLongStringIds ? 3 : 2;
    std::uint64_t total = 0;
    for (std::size_t at = 4; at < pool.size(); at += 4) {
      std::uint64_t length = le(pool, at, 2);
      std::uint32_t references = le(pool, at + 2, 2);
      if (length == 0 && references != 0) {
        at += 4;
        if (at >= pool.size()) damaged("a string pool that ends inside an entry");
        length = std::uint64_t(references) << 16 | le(pool, at, 2);
        addString(total, 0, 0);
        references = le(pool, at + 2, 2);
      }
      addString(total, length, references);
      total += length;
    }
    if (total != data_.size()) damaged("string lengths that do not add up to the string data");
    stringIds_ = std::uint32_t(lengths_.size());
    checkEncoding(le(pool, 0, 4) & kCodepageBits);
  }

  void addString(std::uint64_t offset, std::uint64_t length, std::uint32_t references) {
    offsets_.push_back(offset);
    lengths_.push_back(length);
    references_.push_back(references);
  }

  // libmsi converts every string from the database's codepage (the
  // host's Windows codepage for a neutral one) to UTF-8 as it loads the
  // pool, through libgsf; a string that does not convert, or a codepage
  // that libgsf does not know, must not reach it.
  void checkEncoding(int codepage) {
    if (codepage == 0) codepage = gsf_msole_iconv_win_codepage();
    if (!knownCodepage(codepage)) damaged("a string pool in an unknown codepage");
    GIConv convert = gsf_msole_iconv_open_for_import(codepage);
    if (convert == reinterpret_cast<GIConv>(-1)) damaged("a string pool in an unknown codepage");
    bool ok = true;
    for (std::size_t id = 0; ok && id < lengths_.size(); ++id) {
      const char* text = data_.data() + offsets_[id];
      const std::size_t length = std::size_t(lengths_[id]);
      if (std::all_of(text, text + length, [](char c) { return std::uint8_t(c) < 0x80; })) continue;
      GError* error = nullptr;
      gchar* converted = g_convert_with_iconv(text, gssize(length), convert, nullptr, nullptr, &error);
      ok = converted != nullptr && error == nullptr;
      g_free(converted);
      if (error != nullptr) g_error_free(error);
    }
    g_iconv_close(convert);
    if (!ok) damaged("a string that its codepage cannot hold");
  }

  // _Tables: one column, the string id of each table's name.
  void readTables() {
    const std::string tables = stream("_Tables");
    if (tables.size() % idWidth_ != 0) damaged("a _Tables stream of a wrong size");
    std::set<std::string> names;
    for (std::size_t at = 0; at < tables.size(); at += idWidth_) {
      const std::uint32_t id = le(tables, at, idWidth_);
      const std::string name = identifier(id, "a table name");
      if (tables_.count(id) != 0 || !names.insert(name).second) damaged("a table listed twice");
      tables_[id] = {name, 0};
    }
  }

  // _Columns: (Table, Number, Name, Type), stored column by column. Every
  // column belongs to a listed table, every listed table has columns
  // numbered 1 to n, and names are identifiers: libmsi's query parser
  // trusts all of that.
  void readColumns() {
    const std::string columns = stream("_Columns");
    const std::size_t rowWidth = 2 * idWidth_ + 4;
    if (columns.size() % rowWidth != 0) damaged("a _Columns stream of a wrong size");
    const std::size_t rows = columns.size() / rowWidth;
    const std::size_t numbers = rows * idWidth_, names = numbers + rows * 2, types = names + rows * idWidth_;
    std::map<std::uint32_t, std::set<std::uint32_t>> numbered;
    for (std::size_t row = 0; row < rows; ++row) {
      const std::uint32_t table = le(columns, row * idWidth_, idWidth_);
      const std::uint32_t number = le(columns, numbers + row * 2, 2) ^ 0x8000;
      const std::uint32_t type = le(columns, types + row * 2, 2) ^ 0x8000;
      identifier(le(columns, names + row * idWidth_, idWidth_), "a column name");
      if (tables_.count(table) == 0) damaged("a column of a table that _Tables does not list");
      tables_[table].rowWidth += cellWidth(type);
      if (number == 0 || number > kMaxColumns || !numbered[table].insert(number).second)
        damaged("a wrong column number");
      if ((type & kTypeValid) == 0 || (type & kTypeNotStored) != 0) damaged("a column of an invalid type");
      if ((type & kTypeString) == 0 && (type & kTypeWidth) != 2 && (type & kTypeWidth) != 4)
        damaged("an integer column of a wrong width");
    }
    for (const auto& [id, table] : tables_) {
      const std::set<std::uint32_t>& used = numbered[id];
      if (used.empty() || *used.rbegin() != used.size()) damaged("a table whose columns are not numbered 1 to n");
      const CompoundFile::Stream* rows = file_.find(packedTableStreamName(table.name));
      if (rows != nullptr && rows->size % table.rowWidth != 0) damaged("a table stream of a wrong size");
    }
  }

  // The bytes of one cell in a table stream: a string id, or a 16-bit or
  // 32-bit integer. Binary columns hold a 16-bit reference.
  std::size_t cellWidth(std::uint32_t type) const {
    if ((type & ~kTypeNullable) == kTypeBinary) return 2;
    if (type & kTypeString) return idWidth_;
    return (type & kTypeWidth) == 4 ? 4 : 2;
  }

  // A table or column name: a string of the pool, in use, that is an
  // identifier.
  std::string identifier(std::uint32_t id, const char* what) {
    if (id == 0 || id > stringIds_ || references_[id - 1] == 0)
      damaged(std::string(what) + " outside the strings in use");
    const std::string name = data_.substr(std::size_t(offsets_[id - 1]), std::size_t(lengths_[id - 1]));
    bool ok = !name.empty() && name.size() <= kMaxNameLength && !std::isdigit(std::uint8_t(name[0]));
    for (char c : name) ok = ok && (std::isalnum(std::uint8_t(c)) || c == '_' || c == '.');
    if (!ok) damaged(std::string(what) + " that is not an identifier");
    return name;
  }

  const CompoundFile& file_;
  std::size_t idWidth_ = 2;
  std::uint32_t stringIds_ = 0;
  std::string data_;
  std::vector<std::uint64_t> offsets_, lengths_;
  std::vector<std::uint32_t> references_;
  struct Table {
    std::string name;
    std::size_t rowWidth;
  };
  std::map<std::uint32_t, Table> tables_;
};

std::mutex cacheLock;
std::map<std::pair<std::string, FileIdentity>, PackageVerdict>& cache() {
  static auto* verdicts = new std::map<std::pair<std::string, FileIdentity>, PackageVerdict>();
  return *verdicts;
}

}  // namespace

std::u16string packedTableStreamName(const std::string& table) {
  return std::u16string(1, kTableMarker) + packedStreamName(table);
}

std::u16string packedStreamName(const std::string& table) {
  std::u16string packed;
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
  FileIdentity file;
  if (!identifyFile(hostPath, file)) return PackageVerdict::missing;
  const std::pair<std::string, FileIdentity> identity{hostPath, file};
  {
    std::lock_guard<std::mutex> guard(cacheLock);
    const auto found = cache().find(identity);
    if (found != cache().end()) return found->second;
  }
  std::string problem;
  const PackageVerdict verdict = checkPackageFile(hostPath, problem);
  // A file that vanished meanwhile is not remembered.
  if (verdict == PackageVerdict::missing || !file.settled) return verdict;
  std::lock_guard<std::mutex> guard(cacheLock);
  if (cache().size() >= kCacheLimit) cache().clear();
  cache()[identity] = verdict;
  return verdict;
}

}  // namespace emulated
