// advapi32's registry functions over the registry store. A key handle is a
// handle of the process's kernel handle table naming the key's path and
// the access it was opened with; the predefined roots are handles of their
// own with every right. The path is resolved anew on every call, so a
// handle whose key was deleted (by this process or another) reads
// ERROR_KEY_DELETED, as on Windows.
#include <cstring>
#include <memory>

#include "platform/emulated/advapi32.h"
#include "platform/emulated/kernel/handle_table.h"
#include "platform/emulated/registry/registry_store.h"

namespace emulated::registry {

namespace {

constexpr DWORD kMaxValueName = 16383;

class OpenKey : public KernelObject {
 public:
  OpenKey(KeyPath path, REGSAM access) : path(std::move(path)), access(access) {}
  const KeyPath path;
  const REGSAM access;
};

// Generic rights name the specific ones, as the registry maps them.
REGSAM specificAccess(REGSAM sam) {
  REGSAM access = sam & ~(GENERIC_READ | GENERIC_WRITE | GENERIC_EXECUTE | GENERIC_ALL);
  if (sam & GENERIC_READ) access |= KEY_READ;
  if (sam & GENERIC_WRITE) access |= KEY_WRITE;
  if (sam & GENERIC_EXECUTE) access |= KEY_EXECUTE;
  if (sam & GENERIC_ALL) access |= KEY_ALL_ACCESS;
  return access;
}

// The key a handle names, with the access it grants; nullptr for a handle
// that is not an open key.
std::shared_ptr<const OpenKey> resolve(HKEY key) {
  struct Predefined {
    HKEY handle;
    const char16_t* path;
  };
  static const Predefined kPredefined[] = {
      {HKEY_LOCAL_MACHINE, u"HKEY_LOCAL_MACHINE"},
      {HKEY_CURRENT_USER, u"HKEY_CURRENT_USER"},
      {HKEY_CLASSES_ROOT, u"HKEY_CLASSES_ROOT"},
      {HKEY_USERS, u"HKEY_USERS"},
  };
  for (const Predefined& root : kPredefined) {
    if (key == root.handle) return std::make_shared<OpenKey>(*parseKeyPath(root.path), KEY_ALL_ACCESS);
  }
  return lookupHandleAs<OpenKey>(reinterpret_cast<HANDLE>(key));
}

// The key of `handle` when it grants `needed`, in *key; else the code.
LONG keyFor(HKEY handle, REGSAM needed, std::shared_ptr<const OpenKey>* key) {
  *key = resolve(handle);
  if (*key == nullptr) return ERROR_INVALID_HANDLE;
  return ((*key)->access & needed) == needed ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
}

HKEY newHandle(KeyPath path, REGSAM access) {
  return reinterpret_cast<HKEY>(insertHandle(std::make_shared<OpenKey>(std::move(path), specificAccess(access))));
}

std::u16string valueName(LPCWSTR name) { return name == nullptr ? std::u16string() : std::u16string(name); }

// Copies `data` out with the two-call sizing contract of RegQueryValueExW.
LONG copyData(const std::string& data, LPBYTE buffer, LPDWORD size) {
  if (size == nullptr) return buffer == nullptr ? ERROR_SUCCESS : ERROR_INVALID_PARAMETER;
  const DWORD available = *size;
  *size = static_cast<DWORD>(data.size());
  if (buffer == nullptr) return ERROR_SUCCESS;
  if (available < data.size()) return ERROR_MORE_DATA;
  std::memcpy(buffer, data.data(), data.size());
  return ERROR_SUCCESS;
}

// Copies a name with its terminator into a buffer of *count characters;
// *count becomes its length without the terminator.
LONG copyName(const std::u16string& name, LPWSTR buffer, LPDWORD count) {
  if (buffer == nullptr || count == nullptr) return ERROR_INVALID_PARAMETER;
  if (*count < name.size() + 1) return ERROR_MORE_DATA;
  std::memcpy(buffer, name.c_str(), (name.size() + 1) * sizeof(WCHAR));
  *count = static_cast<DWORD>(name.size());
  return ERROR_SUCCESS;
}

}  // namespace

}  // namespace emulated::registry

using namespace emulated::registry;

extern "C" LSTATUS RegCreateKeyExW(HKEY hKey, LPCWSTR lpSubKey, DWORD, LPWSTR, DWORD, REGSAM samDesired,
                                   const LPSECURITY_ATTRIBUTES, PHKEY phkResult, LPDWORD lpdwDisposition) {
  if (lpSubKey == nullptr || phkResult == nullptr) return ERROR_INVALID_PARAMETER;
  std::shared_ptr<const OpenKey> parent;
  if (LONG code = keyFor(hKey, 0, &parent); code != ERROR_SUCCESS) return code;
  KeyPath path;
  if (LONG code = appendSubKey(parent->path, lpSubKey, &path); code != ERROR_SUCCESS) return code;
  if (!keyExists(parent->path)) return ERROR_KEY_DELETED;
  const bool exists = keyExists(path);
  if (!exists && (parent->access & KEY_CREATE_SUB_KEY) == 0) return ERROR_ACCESS_DENIED;
  std::vector<KeyPath> made;
  if (LONG code = createKey(path, &made); code != ERROR_SUCCESS) return code;
  if (lpdwDisposition != nullptr) *lpdwDisposition = made.empty() ? REG_OPENED_EXISTING_KEY : REG_CREATED_NEW_KEY;
  *phkResult = newHandle(std::move(path), samDesired);
  return ERROR_SUCCESS;
}

extern "C" LSTATUS RegOpenKeyExW(HKEY hKey, LPCWSTR lpSubKey, DWORD, REGSAM samDesired, PHKEY phkResult) {
  if (phkResult == nullptr) return ERROR_INVALID_PARAMETER;
  std::shared_ptr<const OpenKey> parent;
  if (LONG code = keyFor(hKey, 0, &parent); code != ERROR_SUCCESS) return code;
  KeyPath path;
  if (LONG code = appendSubKey(parent->path, lpSubKey == nullptr ? u"" : lpSubKey, &path); code != ERROR_SUCCESS) {
    return code;
  }
  if (!keyExists(path)) return ERROR_FILE_NOT_FOUND;
  *phkResult = newHandle(std::move(path), samDesired);
  return ERROR_SUCCESS;
}

extern "C" LSTATUS RegCloseKey(HKEY hKey) {
  if (hKey == HKEY_LOCAL_MACHINE || hKey == HKEY_CURRENT_USER || hKey == HKEY_CLASSES_ROOT || hKey == HKEY_USERS) {
    return ERROR_SUCCESS;
  }
  if (emulated::lookupHandleAs<OpenKey>(reinterpret_cast<HANDLE>(hKey)) == nullptr) return ERROR_INVALID_HANDLE;
  return emulated::removeHandle(reinterpret_cast<HANDLE>(hKey)) ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
}

extern "C" LSTATUS RegSetValueExW(HKEY hKey, LPCWSTR lpValueName, DWORD, DWORD dwType, const BYTE* lpData,
                                  DWORD cbData) {
  std::shared_ptr<const OpenKey> key;
  if (LONG code = keyFor(hKey, KEY_SET_VALUE, &key); code != ERROR_SUCCESS) return code;
  const std::u16string name = valueName(lpValueName);
  if (name.size() > kMaxValueName || (lpData == nullptr && cbData != 0)) return ERROR_INVALID_PARAMETER;
  RegistryValue value{name, dwType, std::string(reinterpret_cast<const char*>(lpData), lpData ? cbData : 0)};
  return setValue(key->path, value);
}

extern "C" LSTATUS RegQueryValueExW(HKEY hKey, LPCWSTR lpValueName, LPDWORD, LPDWORD lpType, LPBYTE lpData,
                                    LPDWORD lpcbData) {
  if (lpData != nullptr && lpcbData == nullptr) return ERROR_INVALID_PARAMETER;
  std::shared_ptr<const OpenKey> key;
  if (LONG code = keyFor(hKey, KEY_QUERY_VALUE, &key); code != ERROR_SUCCESS) return code;
  RegistryValue value;
  if (LONG code = queryValue(key->path, valueName(lpValueName), &value); code != ERROR_SUCCESS) return code;
  if (lpType != nullptr) *lpType = value.type;
  return copyData(value.data, lpData, lpcbData);
}

extern "C" LSTATUS RegDeleteValueW(HKEY hKey, LPCWSTR lpValueName) {
  std::shared_ptr<const OpenKey> key;
  if (LONG code = keyFor(hKey, KEY_SET_VALUE, &key); code != ERROR_SUCCESS) return code;
  return deleteValue(key->path, valueName(lpValueName));
}

extern "C" LSTATUS RegDeleteKeyW(HKEY hKey, LPCWSTR lpSubKey) {
  if (lpSubKey == nullptr) return ERROR_INVALID_PARAMETER;
  std::shared_ptr<const OpenKey> parent;
  if (LONG code = keyFor(hKey, 0, &parent); code != ERROR_SUCCESS) return code;
  KeyPath path;
  if (LONG code = appendSubKey(parent->path, lpSubKey, &path); code != ERROR_SUCCESS) return code;
  return deleteKey(path);
}

extern "C" LSTATUS RegEnumKeyExW(HKEY hKey, DWORD dwIndex, LPWSTR lpName, LPDWORD lpcchName, LPDWORD,
                                 LPWSTR lpClass, LPDWORD lpcchClass, PFILETIME lpftLastWriteTime) {
  std::shared_ptr<const OpenKey> key;
  if (LONG code = keyFor(hKey, KEY_ENUMERATE_SUB_KEYS, &key); code != ERROR_SUCCESS) return code;
  std::vector<std::u16string> names;
  if (LONG code = subkeyNames(key->path, &names); code != ERROR_SUCCESS) return code;
  if (dwIndex >= names.size()) return ERROR_NO_MORE_ITEMS;
  if (LONG code = copyName(names[dwIndex], lpName, lpcchName); code != ERROR_SUCCESS) return code;
  // Keys of the emulated registry have no class.
  if (lpClass != nullptr && lpcchClass != nullptr && *lpcchClass > 0) lpClass[0] = u'\0';
  if (lpcchClass != nullptr) *lpcchClass = 0;
  if (lpftLastWriteTime != nullptr) {
    KeyPath child = key->path;
    child.names.push_back(names[dwIndex]);
    *lpftLastWriteTime = keyWriteTime(child);
  }
  return ERROR_SUCCESS;
}

extern "C" LSTATUS RegEnumValueW(HKEY hKey, DWORD dwIndex, LPWSTR lpValueName, LPDWORD lpcchValueName, LPDWORD,
                                 LPDWORD lpType, LPBYTE lpData, LPDWORD lpcbData) {
  if (lpData != nullptr && lpcbData == nullptr) return ERROR_INVALID_PARAMETER;
  std::shared_ptr<const OpenKey> key;
  if (LONG code = keyFor(hKey, KEY_QUERY_VALUE, &key); code != ERROR_SUCCESS) return code;
  std::vector<RegistryValue> values;
  if (LONG code = keyValues(key->path, &values); code != ERROR_SUCCESS) return code;
  if (dwIndex >= values.size()) return ERROR_NO_MORE_ITEMS;
  const RegistryValue& value = values[dwIndex];
  if (LONG code = copyName(value.name, lpValueName, lpcchValueName); code != ERROR_SUCCESS) return code;
  if (lpType != nullptr) *lpType = value.type;
  return copyData(value.data, lpData, lpcbData);
}
