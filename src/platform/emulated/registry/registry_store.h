// The emulated machine's registry, kept in files under <root>/registry:
// one directory per key (HKEY_LOCAL_MACHINE/Software/Maker/...), and in it a
// file ".values" with the key's values, one line each:
//   <type in decimal> TAB <name, \-escaped> TAB <data in hex>
// Key names keep their case and match without regard to (ASCII) case; in
// a directory name '%', '/' and a leading '.' are written as %XX, so that
// no key can clash with the store's own dot files.
//
// HKEY_CLASSES_ROOT is HKEY_LOCAL_MACHINE\Software\Classes, where Windows
// writes the keys that it creates under that root.
//
// Locking: every call takes <root>/registry/.lock, shared to read and
// exclusive to change, so each call is atomic against the calls of every
// other process and thread. A values file is replaced in one rename.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/emulated/advapi32.h"

namespace emulated::registry {

// A key: its hive (HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER, HKEY_USERS) and
// its subkey names from the hive down.
struct KeyPath {
  std::u16string hive;
  std::vector<std::u16string> names;
};

struct RegistryValue {
  std::u16string name;  // "" for the key's default value
  DWORD type = 0;
  std::string data;     // the bytes as given to RegSetValueExW
};

// "HKLM\Software\Maker" or "HKEY_LOCAL_MACHINE\Software\Maker" (HKCU, HKCR,
// HKU too) to a key path; nullopt for an unknown root or a malformed path.
std::optional<KeyPath> parseKeyPath(std::u16string_view text);

// `subKey` ("a\b\c") below `parent`. A trailing backslash is allowed; a
// leading one or an empty name in the middle gives ERROR_BAD_PATHNAME, a
// name longer than 255 characters ERROR_INVALID_PARAMETER.
LONG appendSubKey(const KeyPath& parent, std::u16string_view subKey, KeyPath* result);

// The calls below give ERROR_SUCCESS or a Win32 code. A key that does not
// exist gives ERROR_FILE_NOT_FOUND from keyExists, createKey's parent
// walk never fails for it, and the others give ERROR_KEY_DELETED (they
// serve handles, whose key existed when it was opened).
bool keyExists(const KeyPath& key);
// Makes the key and any missing key above it; `made` gets each key it
// made, from the outermost down (empty: the key was there), so that an
// installation can take back exactly what it added.
LONG createKey(const KeyPath& key, std::vector<KeyPath>* made);
LONG deleteKey(const KeyPath& key);  // ERROR_ACCESS_DENIED when it has subkeys
LONG setValue(const KeyPath& key, const RegistryValue& value);
LONG queryValue(const KeyPath& key, std::u16string_view name, RegistryValue* value);  // ERROR_FILE_NOT_FOUND
LONG deleteValue(const KeyPath& key, std::u16string_view name);                       // ERROR_FILE_NOT_FOUND
LONG subkeyNames(const KeyPath& key, std::vector<std::u16string>* names);             // alphabetical
LONG keyValues(const KeyPath& key, std::vector<RegistryValue>* values);               // in order first set

// The key's values as the store keeps them, byte for byte (nullopt: the
// key has no values file), and back: an installation's journal takes a key
// back to exactly these bytes, order of values included. Restoring also
// drops what a writer killed between its write and its rename left beside
// the values file. ERROR_KEY_DELETED for a key that does not exist.
LONG valuesImage(const KeyPath& key, std::optional<std::string>* image);
LONG restoreValuesImage(const KeyPath& key, const std::optional<std::string>& image);

// When the key's subkeys or values last changed, as a FILETIME.
FILETIME keyWriteTime(const KeyPath& key);

}  // namespace emulated::registry
