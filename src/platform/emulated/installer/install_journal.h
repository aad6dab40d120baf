// The journal of one installation or removal: a write-ahead record of
// every change it makes to the machine, so that a cancel, a failure or a
// killed process can take every change back, leaving the machine byte for
// byte as it was.
//
// On disk: a folder under <root>/installer/journal per operation, holding
// the journal file (one line an entry) and the backups of what the
// operation replaced or removed. Each entry is appended, with one write,
// before its change is made, so a process killed at any moment leaves a
// journal that names every change it made, and maybe one it had not made
// yet: undoing an entry works whether or not its change was made.
//
// Locking: only the holder of the machine's installation lock (the
// installation engine) writes or rolls back a journal. A journal on disk
// while nobody holds that lock belongs to a process that died:
// rollBackInterruptedOperations() undoes it.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/emulated/products/installed_products.h"
#include "platform/emulated/registry/registry_store.h"

namespace emulated::installer {

class InstallJournal {
 public:
  // Starts the journal of a new operation; nullptr, with the Win32 code in
  // *code, when it cannot be written.
  static std::unique_ptr<InstallJournal> begin(UINT* code);
  // Leaves the journal on disk when neither commit() nor rollBack() ran,
  // as a killed process does.
  ~InstallJournal();
  InstallJournal(const InstallJournal&) = delete;
  InstallJournal& operator=(const InstallJournal&) = delete;

  // Files and folders, by host path. Each gives ERROR_SUCCESS or a Win32
  // code (ERROR_DISK_FULL, ERROR_ACCESS_DENIED, ...), the machine then
  // unchanged by the call.
  UINT createFolder(const std::string& path);  // and any missing folder above
  UINT removeFolder(const std::string& path);  // ERROR_DIR_NOT_EMPTY when not empty
  // A fresh host path in the journal's own folder (same file system as the
  // machine root), where a new file is written before placeFile moves it.
  std::string stagingPath();
  // Moves the staged file to `path`, replacing a file there.
  UINT placeFile(const std::string& path, const std::string& staged);
  UINT writeFile(const std::string& path, std::string_view bytes);
  UINT removeFile(const std::string& path);

  // The registry.
  UINT createKey(const registry::KeyPath& key);
  UINT deleteKey(const registry::KeyPath& key);  // an empty key
  UINT setValue(const registry::KeyPath& key, const registry::RegistryValue& value);  // creates the key
  UINT deleteValue(const registry::KeyPath& key, std::u16string_view name);

  // The store of installed products.
  UINT saveProduct(const InstalledProduct& product);
  UINT removeProduct(std::u16string_view productCode);

  // How many entries a rollback would undo.
  size_t entries() const;

  // The operation succeeded: the journal and its backups go.
  void commit();
  // Undoes every entry, newest first, then drops the journal. `undone` is
  // called after each entry (the rollback's progress).
  void rollBack(const std::function<void()>& undone);

 private:
  InstallJournal();
  struct State;
  std::unique_ptr<State> state_;
};

// Rolls back every journal a killed process left. The caller holds the
// machine's installation lock.
void rollBackInterruptedOperations();

}  // namespace emulated::installer
