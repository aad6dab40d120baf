// The emulated machine's store of installed products: what Windows
// Installer remembers of each product it installed. One file per product
// under <root>/installer/products, replaced in one rename, so a reader never
// sees half a product; writers of different processes take a lock file.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/emulated/msi_products.h"

namespace emulated {

struct InstalledFeature {
  std::u16string name;
  std::u16string parent;  // empty for a top-level feature
  INSTALLSTATE state = INSTALLSTATE_LOCAL;
};

struct InstalledProduct {
  std::u16string productCode;      // braced GUID
  std::u16string productName;
  std::u16string versionString;
  std::u16string packageCode;
  std::u16string upgradeCode;
  std::u16string installLocation;
  std::u16string localPackage;     // the cached package, a Windows path
  std::vector<InstalledFeature> features;
  std::u16string language;         // ProductLanguage, a decimal LANGID; "" unknown
};

// A braced GUID in text form: {XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}.
bool isGuid(std::u16string_view text);

// GUIDs compare without regard to case.
bool sameGuid(std::u16string_view a, std::u16string_view b);

std::optional<InstalledProduct> findInstalledProduct(std::u16string_view productCode);

// Every installed product, ordered by product code.
std::vector<InstalledProduct> installedProducts();

// Adds or replaces the product. False when it cannot be written; the store
// is then as it was.
bool saveInstalledProduct(const InstalledProduct& product);

// False when the product is not installed.
bool removeInstalledProduct(std::u16string_view productCode);

// A product's record as the store writes it, and back (nullopt for a text
// that names no product): what an installation's journal keeps of a record
// it replaces or removes.
std::string productRecordText(const InstalledProduct& product);
std::optional<InstalledProduct> parseProductRecord(const std::string& text);

// Puts the store's record of `productCode` back as it was: `previous`, or
// none. Also drops what a writer killed between its write and its rename
// left. False when the store cannot be written.
bool restoreInstalledProduct(std::u16string_view productCode, const std::optional<InstalledProduct>& previous);

// Text of a feature state as the store and the scenario tool write it
// ("local", "source", "absent", "advertised"), and back; nullopt for an
// unknown text.
const char* featureStateName(INSTALLSTATE state);
std::optional<INSTALLSTATE> featureStateFromName(std::string_view name);

}  // namespace emulated
