#include "platform/emulated/products/installed_products.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "platform/emulated/machine/file_lock.h"
#include "platform/emulated/machine/machine_paths.h"
#include "platform/emulated/machine/text_lines.h"
#include "platform/emulated/machine/unicode.h"

namespace emulated {

namespace {

constexpr const char kSuffix[] = ".product";

std::string storeDirectory() {
  const std::string directory = machineRoot() + "/installer/products";
  ::mkdir((machineRoot() + "/installer").c_str(), 0755);
  ::mkdir(directory.c_str(), 0755);
  return directory;
}

std::u16string upper(std::u16string_view text) {
  std::u16string result(text);
  for (char16_t& c : result) {
    if (c >= u'a' && c <= u'z') c = static_cast<char16_t>(c - u'a' + u'A');
  }
  return result;
}

std::string productFile(std::u16string_view productCode) {
  return storeDirectory() + "/" + utf16ToUtf8(upper(productCode)) + kSuffix;
}

// Serialises writers of all processes of the machine.
std::string storeLockPath() { return storeDirectory() + "/.lock"; }

struct Field {
  const char* key;
  std::u16string InstalledProduct::*member;
};

constexpr Field kFields[] = {
    {"ProductCode", &InstalledProduct::productCode},
    {"ProductName", &InstalledProduct::productName},
    {"VersionString", &InstalledProduct::versionString},
    {"PackageCode", &InstalledProduct::packageCode},
    {"UpgradeCode", &InstalledProduct::upgradeCode},
    {"Language", &InstalledProduct::language},
    {"InstallLocation", &InstalledProduct::installLocation},
    {"LocalPackage", &InstalledProduct::localPackage},
};

std::string serialise(const InstalledProduct& product) {
  std::ostringstream out;
  for (const Field& field : kFields) out << field.key << '=' << escapeLineText(product.*(field.member)) << '\n';
  for (const InstalledFeature& feature : product.features) {
    out << "Feature=" << featureStateName(feature.state) << '|' << escapeLineText(feature.parent) << '|'
        << escapeLineText(feature.name) << '\n';
  }
  return out.str();
}

std::optional<InstalledProduct> parse(std::istream& in) {
  InstalledProduct product;
  for (std::string line; std::getline(in, line);) {
    const size_t equals = line.find('=');
    if (equals == std::string::npos) continue;
    const std::string key = line.substr(0, equals);
    const std::string value = line.substr(equals + 1);
    if (key == "Feature") {
      const size_t first = value.find('|');
      const size_t second = first == std::string::npos ? first : value.find('|', first + 1);
      if (second == std::string::npos) continue;
      auto state = featureStateFromName(value.substr(0, first));
      product.features.push_back({unescapeLineText(value.substr(second + 1)),
                                  unescapeLineText(value.substr(first + 1, second - first - 1)),
                                  state.value_or(INSTALLSTATE_UNKNOWN)});
      continue;
    }
    for (const Field& field : kFields) {
      if (key == field.key) product.*(field.member) = unescapeLineText(value);
    }
  }
  if (!isGuid(product.productCode)) return std::nullopt;
  return product;
}

bool endsWith(const std::string& text, const std::string& suffix) {
  return text.size() >= suffix.size() && text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

}  // namespace

bool isGuid(std::u16string_view text) {
  if (text.size() != 38 || text.front() != u'{' || text.back() != u'}') return false;
  for (size_t i = 1; i < 37; ++i) {
    const char16_t c = text[i];
    const bool dash = i == 9 || i == 14 || i == 19 || i == 24;
    const bool hex = (c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'f') || (c >= u'A' && c <= u'F');
    if (dash ? c != u'-' : !hex) return false;
  }
  return true;
}

bool sameGuid(std::u16string_view a, std::u16string_view b) { return upper(a) == upper(b); }

std::optional<InstalledProduct> findInstalledProduct(std::u16string_view productCode) {
  if (!isGuid(productCode)) return std::nullopt;
  std::ifstream in(productFile(productCode));
  if (!in) return std::nullopt;
  return parse(in);
}

std::vector<InstalledProduct> installedProducts() {
  std::vector<InstalledProduct> products;
  const std::string directory = storeDirectory();
  DIR* dir = ::opendir(directory.c_str());
  if (dir == nullptr) return products;
  while (dirent* entry = ::readdir(dir)) {
    const std::string name = entry->d_name;
    if (!endsWith(name, kSuffix)) continue;
    std::ifstream in(directory + "/" + name);
    if (auto product = parse(in)) products.push_back(std::move(*product));
  }
  ::closedir(dir);
  std::sort(products.begin(), products.end(), [](const auto& a, const auto& b) {
    return upper(a.productCode) < upper(b.productCode);
  });
  return products;
}

bool saveInstalledProduct(const InstalledProduct& product) {
  if (!isGuid(product.productCode)) return false;
  FileLock lock(storeLockPath(), FileLock::kExclusive);
  return replaceFile(productFile(product.productCode), serialise(product));
}

bool removeInstalledProduct(std::u16string_view productCode) {
  if (!isGuid(productCode)) return false;
  FileLock lock(storeLockPath(), FileLock::kExclusive);
  return std::remove(productFile(productCode).c_str()) == 0;
}

std::string productRecordText(const InstalledProduct& product) { return serialise(product); }

std::optional<InstalledProduct> parseProductRecord(const std::string& text) {
  std::istringstream in(text);
  return parse(in);
}

bool restoreInstalledProduct(std::u16string_view productCode, const std::optional<InstalledProduct>& previous) {
  if (!isGuid(productCode)) return false;
  FileLock lock(storeLockPath(), FileLock::kExclusive);
  const std::string path = productFile(productCode);
  removeReplaceLeftovers(path);
  if (previous) return replaceFile(path, serialise(*previous));
  return std::remove(path.c_str()) == 0 || errno == ENOENT;
}

const char* featureStateName(INSTALLSTATE state) {
  switch (state) {
    case INSTALLSTATE_LOCAL: return "local";
    case INSTALLSTATE_SOURCE: return "source";
    case INSTALLSTATE_ABSENT: return "absent";
    case INSTALLSTATE_ADVERTISED: return "advertised";
    default: return "unknown";
  }
}

std::optional<INSTALLSTATE> featureStateFromName(std::string_view name) {
  for (INSTALLSTATE state : {INSTALLSTATE_LOCAL, INSTALLSTATE_SOURCE, INSTALLSTATE_ABSENT, INSTALLSTATE_ADVERTISED}) {
    if (name == featureStateName(state)) return state;
  }
  return std::nullopt;
}

}  // namespace emulated
