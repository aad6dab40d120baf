// The journal of an installation (install_journal.h).
//
// Folder <root>/installer/journal/<id>: "entries", one line an entry, and
// the files the entries name: "backup-N" (what a change replaced or
// removed) and "stage-N" (new files before they are placed). An entry is
// "kind TAB field TAB field ...", each field escaped as the machine's own
// files escape text (text_lines.h). The kinds and how each is undone:
//   mkdir PATH           a folder made: removed when it is there and empty
//   rmdir PATH MODE      a folder removed: made again when it is missing
//   new PATH             a file placed where none was: removed
//   moved PATH BACKUP    a file moved aside to BACKUP (replaced or removed):
//                        when BACKUP exists it is moved back over PATH
//   key HIVE NAME...     a registry key made: deleted when it is there
//   values BACKUP|- HIVE NAME...   a key's values about to change: its
//                        values file put back (BACKUP, or none: "-")
//   delkey BACKUP|- HIVE NAME...   an empty key about to be deleted: made
//                        again when missing, with its values
//   product CODE BACKUP|-  a product record about to change: put back
// Every undo looks at the machine before acting, so it gives the same
// result whether its change was made, half made or not made at all, and
// undoing twice is undoing once. A backup is written in full before the
// entry that names it, and an entry before its change; a line without its
// line end (a process killed inside the write) had no change made yet and
// is ignored.
//
// Ordering: entries are undone newest first, so a file replaced twice
// gets its first bytes back, and a folder is removed only after the files
// placed in it.
#include "platform/emulated/installer/install_journal.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <vector>

#include "platform/emulated/kernel/win32_errors.h"
#include "platform/emulated/machine/file_lock.h"
#include "platform/emulated/machine/machine_paths.h"
#include "platform/emulated/machine/text_lines.h"
#include "platform/emulated/machine/unicode.h"

namespace emulated::installer {

namespace {

constexpr char kEntriesFile[] = "entries";
constexpr char kNoBackup[] = "-";

using Fields = std::vector<std::string>;

std::string journalsFolder() { return machineRoot() + "/installer/journal"; }

bool exists(const std::string& path) {
  struct stat st;
  return ::lstat(path.c_str(), &st) == 0;
}

bool isFolder(const std::string& path) {
  struct stat st;
  return ::lstat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

UINT lastError() { return win32ErrorFromErrno(errno); }

// Every file and folder under `path`, then `path` itself.
void removeTree(const std::string& path) {
  if (DIR* dir = ::opendir(path.c_str())) {
    while (dirent* entry = ::readdir(dir)) {
      const std::string name = entry->d_name;
      if (name == "." || name == "..") continue;
      const std::string child = path + "/" + name;
      if (isFolder(child)) {
        removeTree(child);
      } else {
        ::unlink(child.c_str());
      }
    }
    ::closedir(dir);
  }
  ::rmdir(path.c_str());
}

bool writeAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t n = ::write(fd, bytes.data(), bytes.size());
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      if (n == 0) errno = ENOSPC;
      return false;
    }
    bytes.remove_prefix(static_cast<size_t>(n));
  }
  return true;
}

// A new file holding `bytes`; a Win32 code, the file then gone.
UINT writeNewFile(const std::string& path, std::string_view bytes) {
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (fd < 0) return lastError();
  bool written = writeAll(fd, bytes);
  const int error = errno;
  written = ::close(fd) == 0 && written;
  if (written) return ERROR_SUCCESS;
  ::unlink(path.c_str());
  return win32ErrorFromErrno(error);
}

// Copies `from` to `to` (for a move between file systems): a temporary
// beside `to` renamed over it, so `to` is never half written.
UINT copyFile(const std::string& from, const std::string& to) {
  std::ifstream in(from, std::ios::binary);
  if (!in) return lastError();
  std::ostringstream bytes;
  bytes << in.rdbuf();
  struct stat st;
  const std::string temporary = to + ".journal-copy";
  if (UINT code = writeNewFile(temporary, bytes.str())) return code;
  if (::stat(from.c_str(), &st) == 0) ::chmod(temporary.c_str(), st.st_mode & 07777);
  if (std::rename(temporary.c_str(), to.c_str()) != 0) {
    const UINT code = lastError();
    ::unlink(temporary.c_str());
    return code;
  }
  return ERROR_SUCCESS;
}

// Moves a file, replacing `to`; between file systems by a copy.
UINT moveFile(const std::string& from, const std::string& to) {
  if (std::rename(from.c_str(), to.c_str()) == 0) return ERROR_SUCCESS;
  if (errno != EXDEV) return lastError();
  if (UINT code = copyFile(from, to)) return code;
  ::unlink(from.c_str());
  return ERROR_SUCCESS;
}

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

// A key as entry fields (hive, then each name), and back.
void appendKey(Fields& fields, const registry::KeyPath& key) {
  fields.push_back(utf16ToUtf8(key.hive));
  for (const std::u16string& name : key.names) fields.push_back(escapeLineText(name));
}

registry::KeyPath keyFrom(const Fields& fields, size_t first) {
  registry::KeyPath key;
  if (first < fields.size()) key.hive = utf8ToUtf16(fields[first]);
  for (size_t i = first + 1; i < fields.size(); ++i) key.names.push_back(unescapeLineText(fields[i]));
  return key;
}

std::string entryLine(const Fields& fields) {
  std::string line;
  for (const std::string& field : fields) {
    if (!line.empty()) line += '\t';
    line += field;
  }
  return line + '\n';
}

Fields splitEntry(const std::string& line) {
  Fields fields;
  size_t start = 0;
  for (size_t tab; (tab = line.find('\t', start)) != std::string::npos; start = tab + 1) {
    fields.push_back(line.substr(start, tab - start));
  }
  fields.push_back(line.substr(start));
  return fields;
}

// The complete entries of a journal file, oldest first.
std::vector<Fields> readEntries(const std::string& path) {
  const std::string text = readFile(path);
  std::vector<Fields> entries;
  size_t start = 0;
  for (size_t end; (end = text.find('\n', start)) != std::string::npos; start = end + 1) {
    entries.push_back(splitEntry(text.substr(start, end - start)));
  }
  return entries;
}

std::string path(const std::string& field) { return utf16ToUtf8(unescapeLineText(field)); }

// The undo of each kind. Failures are passed over: a rollback takes back
// all it can.
void undoValues(const std::string& folder, const Fields& entry) {
  const registry::KeyPath key = keyFrom(entry, 2);
  std::optional<std::string> image;
  if (entry[1] != kNoBackup) {
    // A backup already dropped belongs to a journal already undone.
    if (!exists(folder + "/" + entry[1])) return;
    image = readFile(folder + "/" + entry[1]);
  }
  if (entry[0] == "delkey" && !registry::keyExists(key)) {
    std::vector<registry::KeyPath> made;
    registry::createKey(key, &made);
  }
  registry::restoreValuesImage(key, image);
}

void undoProduct(const std::string& folder, const Fields& entry) {
  std::optional<InstalledProduct> previous;
  if (entry[2] != kNoBackup) {
    if (!exists(folder + "/" + entry[2])) return;
    previous = parseProductRecord(readFile(folder + "/" + entry[2]));
  }
  restoreInstalledProduct(unescapeLineText(entry[1]), previous);
}

void undoEntry(const std::string& folder, const Fields& entry) {
  const std::string& kind = entry[0];
  if (kind == "mkdir" && entry.size() == 2) {
    ::rmdir(path(entry[1]).c_str());
  } else if (kind == "rmdir" && entry.size() == 3) {
    if (!exists(path(entry[1]))) ::mkdir(path(entry[1]).c_str(), std::strtoul(entry[2].c_str(), nullptr, 8) & 07777);
  } else if (kind == "new" && entry.size() == 2) {
    if (!isFolder(path(entry[1]))) ::unlink(path(entry[1]).c_str());
  } else if (kind == "moved" && entry.size() == 3) {
    const std::string backup = folder + "/" + entry[2];
    if (exists(backup)) moveFile(backup, path(entry[1]));
  } else if (kind == "key" && entry.size() >= 3) {
    registry::deleteKey(keyFrom(entry, 1));
  } else if ((kind == "values" || kind == "delkey") && entry.size() >= 4) {
    undoValues(folder, entry);
  } else if (kind == "product" && entry.size() == 3) {
    undoProduct(folder, entry);
  }
}

// The journals' folder and the installer folder above it, when nothing
// else is in them: an operation leaves no folder of its own behind on a
// fresh machine.
void dropEmptyParents() {
  if (::rmdir(journalsFolder().c_str()) == 0) ::rmdir((machineRoot() + "/installer").c_str());
}

// Drops a finished journal's folder.
void dropJournal(const std::string& folder) {
  // The entries first: a process killed here leaves backups that no entry
  // names, never entries whose backups are gone.
  ::unlink((folder + "/" + kEntriesFile).c_str());
  removeTree(folder);
  dropEmptyParents();
}

void undoJournal(const std::string& folder, const std::function<void()>& undone) {
  std::vector<Fields> entries = readEntries(folder + "/" + kEntriesFile);
  for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry) {
    if (!entry->empty()) undoEntry(folder, *entry);
    if (undone) undone();
  }
  dropJournal(folder);
}

// A name that sorts in the order journals were begun.
std::string newJournalName() {
  static std::atomic<unsigned> counter{0};
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  char name[64];
  const unsigned long long nanoseconds =
      static_cast<unsigned long long>(now.tv_sec) * 1000000000ULL + static_cast<unsigned long long>(now.tv_nsec);
  std::snprintf(name, sizeof name, "%016llx-%d-%u", nanoseconds, static_cast<int>(::getpid()), counter++);
  return name;
}

}  // namespace

struct InstallJournal::State {
  std::string folder;
  int fd = -1;
  size_t entries = 0;
  unsigned nextFile = 0;
  bool finished = false;

  std::string newFileName(const char* kind) { return std::string(kind) + "-" + std::to_string(nextFile++); }

  // Appends the entry with one write, before its change.
  UINT append(const Fields& fields) {
    if (!writeAll(fd, entryLine(fields))) return lastError();
    ++entries;
    return ERROR_SUCCESS;
  }

  // `bytes` as a backup of the journal; its name, "-" for none.
  UINT backup(const std::optional<std::string>& bytes, std::string* name) {
    *name = kNoBackup;
    if (!bytes) return ERROR_SUCCESS;
    *name = newFileName("backup");
    return writeNewFile(folder + "/" + *name, *bytes);
  }

  UINT recordValues(const char* kind, const registry::KeyPath& key) {
    std::optional<std::string> image;
    if (LONG code = registry::valuesImage(key, &image)) return static_cast<UINT>(code);
    std::string name;
    if (UINT code = backup(image, &name)) return code;
    Fields fields{kind, name};
    appendKey(fields, key);
    return append(fields);
  }
};

std::unique_ptr<InstallJournal> InstallJournal::begin(UINT* code) {
  std::unique_ptr<InstallJournal> journal(new InstallJournal());
  State& state = *journal->state_;
  const std::string parent = journalsFolder();
  ::mkdir((machineRoot() + "/installer").c_str(), 0755);
  ::mkdir(parent.c_str(), 0755);
  state.folder = parent + "/" + newJournalName();
  if (::mkdir(state.folder.c_str(), 0700) != 0) {
    *code = lastError();
    ::rmdir(parent.c_str());
    return nullptr;
  }
  const std::string entries = state.folder + "/" + kEntriesFile;
  state.fd = ::open(entries.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  if (state.fd < 0) {
    *code = lastError();
    dropJournal(state.folder);
    return nullptr;
  }
  *code = ERROR_SUCCESS;
  return journal;
}

InstallJournal::InstallJournal() : state_(std::make_unique<State>()) {}

InstallJournal::~InstallJournal() {
  if (state_->fd >= 0) ::close(state_->fd);
}

size_t InstallJournal::entries() const { return state_->entries; }

UINT InstallJournal::createFolder(const std::string& folder) {
  if (isFolder(folder)) return ERROR_SUCCESS;
  if (exists(folder)) return ERROR_ALREADY_EXISTS;
  const size_t slash = folder.rfind('/');
  if (slash != std::string::npos && slash > 0) {
    if (UINT code = createFolder(folder.substr(0, slash))) return code;
  }
  if (UINT code = state_->append({"mkdir", escapeLineText(utf8ToUtf16(folder))})) return code;
  return ::mkdir(folder.c_str(), 0755) == 0 ? ERROR_SUCCESS : lastError();
}

UINT InstallJournal::removeFolder(const std::string& folder) {
  struct stat st;
  if (::lstat(folder.c_str(), &st) != 0) return lastError();
  if (!S_ISDIR(st.st_mode)) return ERROR_DIRECTORY;
  char mode[16];
  std::snprintf(mode, sizeof mode, "%o", static_cast<unsigned>(st.st_mode & 07777));
  if (UINT code = state_->append({"rmdir", escapeLineText(utf8ToUtf16(folder)), mode})) return code;
  if (::rmdir(folder.c_str()) == 0) return ERROR_SUCCESS;
  return errno == ENOTEMPTY || errno == EEXIST ? ERROR_DIR_NOT_EMPTY : lastError();
}

std::string InstallJournal::stagingPath() { return state_->folder + "/" + state_->newFileName("stage"); }

UINT InstallJournal::placeFile(const std::string& target, const std::string& staged) {
  const std::string field = escapeLineText(utf8ToUtf16(target));
  if (isFolder(target)) return ERROR_ACCESS_DENIED;
  if (!exists(target)) {
    if (UINT code = state_->append({"new", field})) return code;
    return moveFile(staged, target);
  }
  // Aside first, then the new file: undone, the backup goes back; a new
  // file that cannot be placed puts it back at once.
  const std::string backup = state_->folder + "/" + state_->newFileName("backup");
  if (UINT code = state_->append({"moved", field, backup.substr(state_->folder.size() + 1)})) return code;
  if (UINT code = moveFile(target, backup)) return code;
  const UINT code = moveFile(staged, target);
  if (code != ERROR_SUCCESS) moveFile(backup, target);
  return code;
}

UINT InstallJournal::writeFile(const std::string& target, std::string_view bytes) {
  const std::string staged = stagingPath();
  if (UINT code = writeNewFile(staged, bytes)) return code;
  const UINT code = placeFile(target, staged);
  if (code != ERROR_SUCCESS) ::unlink(staged.c_str());
  return code;
}

UINT InstallJournal::removeFile(const std::string& target) {
  if (!exists(target)) return ERROR_FILE_NOT_FOUND;
  if (isFolder(target)) return ERROR_ACCESS_DENIED;
  const std::string backup = state_->newFileName("backup");
  if (UINT code = state_->append({"moved", escapeLineText(utf8ToUtf16(target)), backup})) return code;
  return moveFile(target, state_->folder + "/" + backup);
}

UINT InstallJournal::createKey(const registry::KeyPath& key) {
  // The keys that will be made, outermost first, recorded before they are.
  registry::KeyPath walked{key.hive, {}};
  for (const std::u16string& name : key.names) {
    walked.names.push_back(name);
    if (registry::keyExists(walked)) continue;
    Fields fields{"key"};
    appendKey(fields, walked);
    if (UINT code = state_->append(fields)) return code;
  }
  std::vector<registry::KeyPath> made;
  return static_cast<UINT>(registry::createKey(key, &made));
}

UINT InstallJournal::deleteKey(const registry::KeyPath& key) {
  if (!registry::keyExists(key)) return ERROR_FILE_NOT_FOUND;
  if (UINT code = state_->recordValues("delkey", key)) return code;
  return static_cast<UINT>(registry::deleteKey(key));
}

UINT InstallJournal::setValue(const registry::KeyPath& key, const registry::RegistryValue& value) {
  if (UINT code = createKey(key)) return code;
  if (UINT code = state_->recordValues("values", key)) return code;
  return static_cast<UINT>(registry::setValue(key, value));
}

UINT InstallJournal::deleteValue(const registry::KeyPath& key, std::u16string_view name) {
  if (!registry::keyExists(key)) return ERROR_FILE_NOT_FOUND;
  if (UINT code = state_->recordValues("values", key)) return code;
  return static_cast<UINT>(registry::deleteValue(key, name));
}

namespace {
std::optional<std::string> productImage(std::u16string_view productCode) {
  std::optional<InstalledProduct> previous = findInstalledProduct(productCode);
  if (!previous) return std::nullopt;
  return productRecordText(*previous);
}
}  // namespace

UINT InstallJournal::saveProduct(const InstalledProduct& product) {
  if (!isGuid(product.productCode)) return ERROR_INVALID_PARAMETER;
  std::string name;
  if (UINT code = state_->backup(productImage(product.productCode), &name)) return code;
  if (UINT code = state_->append({"product", escapeLineText(product.productCode), name})) return code;
  return saveInstalledProduct(product) ? ERROR_SUCCESS : ERROR_WRITE_FAULT;
}

UINT InstallJournal::removeProduct(std::u16string_view productCode) {
  std::optional<std::string> previous = productImage(productCode);
  if (!previous) return ERROR_UNKNOWN_PRODUCT;
  std::string name;
  if (UINT code = state_->backup(previous, &name)) return code;
  if (UINT code = state_->append({"product", escapeLineText(productCode), name})) return code;
  return removeInstalledProduct(productCode) ? ERROR_SUCCESS : ERROR_WRITE_FAULT;
}

void InstallJournal::commit() {
  if (state_->finished) return;
  state_->finished = true;
  ::close(state_->fd);
  state_->fd = -1;
  dropJournal(state_->folder);
}

void InstallJournal::rollBack(const std::function<void()>& undone) {
  if (state_->finished) return;
  state_->finished = true;
  ::close(state_->fd);
  state_->fd = -1;
  undoJournal(state_->folder, undone);
}

void rollBackInterruptedOperations() {
  const std::string parent = journalsFolder();
  std::vector<std::string> names;
  if (DIR* dir = ::opendir(parent.c_str())) {
    while (dirent* entry = ::readdir(dir)) {
      if (entry->d_name[0] != '.') names.push_back(entry->d_name);
    }
    ::closedir(dir);
  }
  // The newest first, as each journal undoes its own entries.
  std::sort(names.rbegin(), names.rend());
  for (const std::string& name : names) undoJournal(parent + "/" + name, nullptr);
  // A process killed between making the journals' folder and its own.
  dropEmptyParents();
}

}  // namespace emulated::installer
