// The File Versioning Rules (file_versioning.h).
#include "platform/emulated/installer/file_versioning.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <set>
#include <vector>

#include "platform/emulated/machine/unicode.h"

namespace emulated::installer {

namespace {

constexpr std::uint32_t kFixedInfoSignature = 0xFEEF04BD;
constexpr size_t kMaxVersionScan = 64 * 1024 * 1024;

std::uint32_t le32(const std::string& bytes, size_t at) {
  std::uint32_t value = 0;
  for (size_t i = 4; i-- > 0;) value = value << 8 | std::uint8_t(bytes[at + i]);
  return value;
}

std::string utf16Key(const char* key) {
  std::string out;
  for (; *key; ++key) out += std::string{*key, '\0'};
  return out + std::string(2, '\0');
}

size_t alignedAfter(size_t at) { return (at + 3) & ~size_t(3); }

// The version of VS_FIXEDFILEINFO following VS_VERSION_INFO, "" for none.
std::u16string fixedVersion(const std::string& bytes) {
  const size_t key = bytes.find(utf16Key("VS_VERSION_INFO"));
  if (key == std::string::npos) return {};
  const size_t info = alignedAfter(key + utf16Key("VS_VERSION_INFO").size());
  if (info + 16 > bytes.size() || le32(bytes, info) != kFixedInfoSignature) return {};
  const std::uint32_t high = le32(bytes, info + 8), low = le32(bytes, info + 12);
  const std::string text = std::to_string(high >> 16) + "." + std::to_string(high & 0xFFFF) + "." +
                           std::to_string(low >> 16) + "." + std::to_string(low & 0xFFFF);
  return utf8ToUtf16(text);
}

// The languages of the Translation entry: "1033,1031".
std::u16string translationLanguages(const std::string& bytes) {
  const std::string key = utf16Key("Translation");
  const size_t at = bytes.find(key);
  if (at == std::string::npos || at < 6) return {};
  const size_t valueLength = std::uint8_t(bytes[at - 4]) | std::uint8_t(bytes[at - 3]) << 8;
  const size_t value = alignedAfter(at + key.size());
  std::string languages;
  for (size_t i = 0; i + 4 <= valueLength && value + i + 4 <= bytes.size(); i += 4) {
    if (!languages.empty()) languages += ",";
    languages += std::to_string(le32(bytes, value + i) & 0xFFFF);
  }
  return utf8ToUtf16(languages);
}

// Modified after creation, by the birth time where the file system keeps one.
bool modifiedAfterCreation(const std::string& hostPath) {
#ifdef STATX_BTIME
  struct statx st {};
  if (::statx(AT_FDCWD, hostPath.c_str(), 0, STATX_BTIME | STATX_MTIME, &st) != 0) return false;
  if (!(st.stx_mask & STATX_BTIME)) return false;
  const auto nanoseconds = [](const statx_timestamp& t) { return std::int64_t(t.tv_sec) * 1000000000 + t.tv_nsec; };
  return nanoseconds(st.stx_mtime) > nanoseconds(st.stx_btime);
#else
  (void)hostPath;
  return false;
#endif
}

std::vector<std::u16string> versionFields(std::u16string_view version) {
  std::vector<std::u16string> fields(1);
  for (char16_t c : version) {
    if (c == u'.') {
      fields.emplace_back();
    } else {
      fields.back() += c;
    }
  }
  return fields;
}

std::set<std::u16string> languageSet(std::u16string_view list) {
  std::set<std::u16string> languages;
  std::u16string current;
  for (char16_t c : list) {
    if (c == u',') {
      if (!current.empty()) languages.insert(current);
      current.clear();
    } else if (c != u' ') {
      current += c;
    }
  }
  if (!current.empty()) languages.insert(current);
  return languages;
}

bool includes(const std::set<std::u16string>& a, const std::set<std::u16string>& b) {
  return std::includes(a.begin(), a.end(), b.begin(), b.end());
}

// Equal versions: the documented language rules.
bool languageWins(std::u16string_view incoming, std::u16string_view existing, std::u16string_view product) {
  const auto in = languageSet(incoming), on = languageSet(existing);
  if (in.empty()) return false;
  if (on.empty()) return true;
  if (includes(on, in)) return false;  // the same languages, or a superset on the machine
  if (includes(in, on)) return true;   // a superset being installed
  const std::u16string wanted(product);
  return in.count(wanted) != 0 && on.count(wanted) == 0;
}

bool hasMode(std::u16string_view mode, char16_t letter) {
  return std::any_of(mode.begin(), mode.end(), [&](char16_t c) { return (c | 0x20) == letter; });
}

}  // namespace

int compareVersions(std::u16string_view a, std::u16string_view b) {
  const auto left = versionFields(a), right = versionFields(b);
  for (size_t i = 0; i < std::max(left.size(), right.size()); ++i) {
    const unsigned long x = i < left.size() ? std::strtoul(utf16ToUtf8(left[i]).c_str(), nullptr, 10) : 0;
    const unsigned long y = i < right.size() ? std::strtoul(utf16ToUtf8(right[i]).c_str(), nullptr, 10) : 0;
    if (x != y) return x < y ? -1 : 1;
  }
  return 0;
}

ExistingFile inspectExistingFile(const std::string& hostPath) {
  ExistingFile file;
  struct stat st;
  if (::stat(hostPath.c_str(), &st) != 0 || S_ISDIR(st.st_mode)) return file;
  file.exists = true;
  file.modified = modifiedAfterCreation(hostPath);
  // Only an executable image carries a version resource.
  std::ifstream in(hostPath, std::ios::binary);
  char magic[2] = {};
  if (!in.read(magic, 2) || magic[0] != 'M' || magic[1] != 'Z' || size_t(st.st_size) > kMaxVersionScan) return file;
  in.seekg(0);
  const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  file.facts.version = fixedVersion(bytes);
  if (!file.facts.version.empty()) file.facts.language = translationLanguages(bytes);
  return file;
}

bool replacesExistingFile(const FileVersionFacts& incoming, const ExistingFile& existing,
                          std::u16string_view reinstallMode, std::u16string_view productLanguage) {
  if (!existing.exists || hasMode(reinstallMode, u'a')) return true;
  if (hasMode(reinstallMode, u'p')) return false;
  const bool inVersioned = !incoming.version.empty(), onVersioned = !existing.facts.version.empty();
  if (inVersioned && onVersioned) {
    const int order = compareVersions(incoming.version, existing.facts.version);
    if (hasMode(reinstallMode, u'd') && order != 0) return true;
    if (order != 0) return order > 0;
    return hasMode(reinstallMode, u'e') || languageWins(incoming.language, existing.facts.language, productLanguage);
  }
  if (inVersioned != onVersioned) return inVersioned || hasMode(reinstallMode, u'd');
  return !existing.modified;
}

}  // namespace emulated::installer
