// CreateFolders, RemoveFolders, InstallFiles and RemoveFiles, as their
// documented standard actions do, written into the installation script
// (change_actions.h).
//
// InstallFiles copies the File table's files of the components installed
// locally, in Sequence order. A file comes from the Media row whose
// LastSequence is the first at or above its Sequence: compressed in that
// row's cabinet, or uncompressed under the source tree (the File table's
// Attributes say which, else the word count summary property). Each
// cabinet is read and extracted once, by the first of its files to run,
// into the journal's staging folder; each file is then moved into place.
// Whether a file replaces one already there is decided when it runs, by
// the File Versioning Rules (file_versioning.h).
//
// RemoveFiles removes the files of the components being removed, and what
// the RemoveFile table names. RemoveFolders removes the CreateFolder
// table's folders of the components being removed, then every folder that
// the removal left empty, from the folders of those components up to, not
// including, the system folders (Program Files, the Start menu, ...).
#include <fcntl.h>
#include <fnmatch.h>
#include <sys/stat.h>
#include <dirent.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <memory>
#include <set>

#include "platform/emulated/installer/cabinet.h"
#include "platform/emulated/installer/change_actions.h"
#include "platform/emulated/installer/file_versioning.h"
#include "platform/emulated/installer/install_journal.h"
#include "platform/emulated/installer/standard_actions.h"
#include "platform/emulated/machine/machine_paths.h"
#include "platform/emulated/machine/unicode.h"

namespace emulated::installer {

namespace {

constexpr int kNoncompressed = 0x2000;
constexpr int kCompressed = 0x4000;
constexpr int kWordShortNames = 1;
constexpr int kWordCompressed = 2;
constexpr int kWordAdminImage = 4;

// The system folders, above which an emptied folder is never removed.
constexpr const char16_t* kSystemFolders[] = {
    u"TARGETDIR", u"ROOTDRIVE", u"WindowsVolume", u"WindowsFolder", u"SystemFolder", u"System16Folder",
    u"System64Folder", u"ProgramFilesFolder", u"ProgramFiles64Folder", u"CommonFilesFolder",
    u"CommonFiles64Folder", u"CommonAppDataFolder", u"AppDataFolder", u"LocalAppDataFolder", u"TempFolder",
    u"PersonalFolder", u"DesktopFolder", u"StartMenuFolder", u"ProgramMenuFolder", u"StartupFolder",
    u"FavoritesFolder", u"FontsFolder", u"SendToFolder", u"TemplateFolder", u"AdminToolsFolder",
    u"MyPicturesFolder", u"NetHoodFolder", u"PrintHoodFolder", u"RecentFolder"};

std::string hostPath(std::u16string_view windowsPath) { return toHostPath(windowsPath); }

std::string asciiLower(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = char(c - 'A' + 'a');
  }
  return text;
}

// Host paths of many files, each folder listed once. toHostPath matches a
// name that does not exist yet against every entry of its folder, which
// for a thousand new files in one folder would read it a thousand times.
class HostPaths {
 public:
  std::string of(std::u16string_view windowsPath) {
    const size_t slash = windowsPath.rfind(u'\\');
    if (slash == std::u16string_view::npos) return hostPath(windowsPath);
    auto [folder, fresh] = folders_.try_emplace(std::u16string(windowsPath.substr(0, slash + 1)));
    if (fresh) folder->second = list(hostPath(folder->first));
    const std::string name = utf16ToUtf8(windowsPath.substr(slash + 1));
    const auto match = folder->second.names.find(asciiLower(name));
    return folder->second.host + "/" + (match == folder->second.names.end() ? name : match->second);
  }

 private:
  struct Folder {
    std::string host;
    std::map<std::string, std::string> names;  // by their lower case
  };

  static Folder list(std::string host) {
    while (host.size() > 1 && host.back() == '/') host.pop_back();
    Folder folder{host, {}};
    if (DIR* dir = ::opendir(host.c_str())) {
      while (dirent* entry = ::readdir(dir)) folder.names.emplace(asciiLower(entry->d_name), entry->d_name);
      ::closedir(dir);
    }
    return folder;
  }

  std::map<std::u16string, Folder> folders_;
};

std::u16string fileName(std::u16string_view path) {
  const size_t slash = path.rfind(u'\\');
  return std::u16string(slash == std::u16string_view::npos ? path : path.substr(slash + 1));
}

int wordCount(const Session& session) {
  DatabaseObject& database = *session.tables().database();
  std::lock_guard<std::mutex> lock(database.lock());
  GError* error = nullptr;
  GObjectPtr<LibmsiSummaryInfo> info(libmsi_summary_info_new(database.get(), 0, &error));
  GErrorPtr owned(error);
  if (!info) return 0;
  GError* readError = nullptr;
  const int value = libmsi_summary_info_get_int(info.get(), LIBMSI_PROPERTY_SOURCE, &readError);
  GErrorPtr ownedRead(readError);
  return readError != nullptr ? 0 : value;
}

struct Media {
  int lastSequence = 0;
  std::u16string cabinet;
};

std::vector<Media> mediaRows(const Session& session) {
  std::vector<Media> media;
  const auto rows = session.tables().select("SELECT `LastSequence`, `Cabinet` FROM `Media`");
  for (const TableRow& row : rows ? *rows : std::vector<TableRow>{}) {
    media.push_back({fieldNumber(row, 0, 0), fieldText(row, 1)});
  }
  std::sort(media.begin(), media.end(), [](const Media& a, const Media& b) { return a.lastSequence < b.lastSequence; });
  return media;
}

// One cabinet, extracted once for every file of the script that it holds.
struct CabinetStage {
  std::u16string cabinet;
  std::map<std::string, CabinetMember> wanted;  // by File key
  bool tried = false;
  UINT result = ERROR_SUCCESS;

  UINT ensure(Session& session, InstallJournal& journal) {
    if (tried) return result;
    tried = true;
    std::string bytes;
    if (readCabinet(session, cabinet, &bytes) != ERROR_SUCCESS) {
      return result = operationError(session, 1311, u"Could not locate source file cabinet: " + cabinet + u".");
    }
    const std::string folder = journal.stagingPath();
    size_t index = 0;
    for (auto& entry : wanted) entry.second.stagedPath = folder + "/" + std::to_string(index++);
    std::string problem;
    if (::mkdir(folder.c_str(), 0700) != 0 || !extractCabinet(bytes, folder, wanted, &problem)) {
      session.messages().verbose(u"Cabinet " + cabinet + u": " + utf8ToUtf16(problem));
      return result = operationError(session, 1335, u"The cabinet file '" + cabinet +
                                                        u"' required for this installation is corrupt and cannot be "
                                                        u"used. This could indicate a network error, an error reading "
                                                        u"from the CD-ROM, or a problem with this package.");
    }
    return result;
  }
};

// What one file's operation needs, copied out of the session.
struct FileCopy {
  std::u16string key;
  std::u16string target;         // Windows path
  FileVersionFacts facts;        // the file's, or its companion parent's
  std::u16string versionTarget;  // the file the versions are compared with
  std::shared_ptr<CabinetStage> cabinet;
  std::u16string source;         // an uncompressed file's Windows path
  std::string hostTarget, hostVersionTarget, hostSource;

  UINT run(Session& session, InstallJournal& journal) const;
  UINT stage(Session& session, InstallJournal& journal, std::string* staged) const;
};

UINT FileCopy::stage(Session& session, InstallJournal& journal, std::string* staged) const {
  if (cabinet) {
    if (UINT code = cabinet->ensure(session, journal)) return code;
    const CabinetMember& member = cabinet->wanted.at(utf16ToUtf8(key));
    if (!member.extracted) {
      return operationError(session, 1334,
                            u"The file '" + key + u"' cannot be installed because the file cannot be found in cabinet "
                            u"file '" + cabinet->cabinet + u"'. This could indicate a network error, an error reading "
                            u"from the CD-ROM, or a problem with this package.");
    }
    *staged = member.stagedPath;
    struct timespec times[2] = {{member.modified, 0}, {member.modified, 0}};
    ::utimensat(AT_FDCWD, staged->c_str(), times, 0);
    return ERROR_SUCCESS;
  }
  std::ifstream in(hostSource, std::ios::binary);
  if (!in) return operationError(session, 1308, u"Source file not found: " + source + u".  Verify that the file "
                                                 u"exists and that you can access it.");
  *staged = journal.stagingPath();
  std::ofstream out(*staged, std::ios::binary);
  out << in.rdbuf();
  out.close();
  struct stat st;
  if (!out || ::stat(hostSource.c_str(), &st) != 0) {
    return operationError(session, 1310, u"Error writing to file: " + target + u".  Verify that you have access "
                                         u"to that directory.");
  }
  struct timespec times[2] = {st.st_atim, st.st_mtim};
  ::utimensat(AT_FDCWD, staged->c_str(), times, 0);
  return ERROR_SUCCESS;
}

UINT FileCopy::run(Session& session, InstallJournal& journal) const {
  std::u16string mode = session.property(u"REINSTALLMODE");
  if (mode.empty()) mode = u"omus";
  const ExistingFile existing = inspectExistingFile(hostVersionTarget);
  const ExistingFile& compared = versionTarget == target ? existing : inspectExistingFile(hostTarget);
  if (compared.exists && !replacesExistingFile(facts, existing, mode, session.property(u"ProductLanguage"))) {
    session.messages().verbose(u"File: " + target + u";\tWon't Overwrite;\tExisting file is kept by the file "
                                                    u"versioning rules");
    return ERROR_SUCCESS;
  }
  std::string staged;
  if (UINT code = stage(session, journal, &staged)) return code;
  UINT code = journal.createFolder(hostTarget.substr(0, hostTarget.rfind('/')));
  if (code == ERROR_SUCCESS) code = journal.placeFile(hostTarget, staged);
  if (code == ERROR_SUCCESS) return code;
  return operationError(session, 1310, u"Error writing to file: " + target + u".  Verify that you have access to "
                                       u"that directory.");
}

// The version facts of a file row, or of its companion parent.
FileCopy describeFile(const Session& session, const FileRow& file, const std::map<std::u16string, size_t>& byKey,
                      HostPaths& paths) {
  FileCopy copy;
  copy.key = file.key;
  copy.target = file.targetPath;
  copy.versionTarget = file.targetPath;
  copy.facts = {file.version, file.language};
  const auto parent = byKey.find(file.version);
  if (parent != byKey.end()) {
    const FileRow& companion = session.files()[parent->second];
    copy.facts = {companion.version, companion.language};
    copy.versionTarget = companion.targetPath;
  }
  copy.hostTarget = paths.of(copy.target);
  copy.hostVersionTarget = paths.of(copy.versionTarget);
  return copy;
}

// A directory's folder in the source tree; with short names (the word
// count's bit 1) each folder below the root goes by its short source name.
std::u16string sourceFolder(const Session& session, std::u16string_view key, bool shortNames, int depth = 0) {
  const DirectoryRow* row = session.findDirectory(key);
  if (row == nullptr) return windowsFolderOf(session.packagePath());
  const bool root = row->parent.empty() || row->parent == row->key;
  if (!shortNames || root || depth > 256) return row->sourcePath;
  const std::u16string name = defaultDirName(row->defaultDir, true, true);
  const std::u16string parent = sourceFolder(session, row->parent, true, depth + 1);
  return name.empty() ? parent : parent + name + u"\\";
}

std::u16string uncompressedSource(const Session& session, const FileRow& file, int words) {
  const ComponentRow* component = session.findComponent(file.component);
  const std::u16string folder = component ? sourceFolder(session, component->directory, words & kWordShortNames)
                                          : windowsFolderOf(session.packagePath());
  const std::u16string name = (words & kWordShortNames) ? file.shortName : file.longName;
  return folder + (name.empty() ? file.longName : name);
}

bool compressed(const FileRow& file, int words) {
  if (words & kWordAdminImage) return false;  // an administrative image holds every file uncompressed
  if (file.attributes & kCompressed) return true;
  if (file.attributes & kNoncompressed) return false;
  return (words & kWordCompressed) != 0;
}

// The folders that the components being removed put things in.
std::set<std::u16string> foldersOfRemovedComponents(const Session& session) {
  std::set<std::u16string> folders;
  for (const ComponentRow& component : session.components()) {
    if (component.action != INSTALLSTATE_ABSENT) continue;
    folders.insert(directoryPath(session, component.directory));
  }
  for (const FileRow& file : session.files()) {
    if (removesComponent(session, file.component)) folders.insert(windowsFolderOf(file.targetPath));
  }
  for (const char* sql : {"SELECT `Directory_`, `Component_` FROM `CreateFolder`",
                          "SELECT `Directory_`, `Component_` FROM `Shortcut`"}) {
    const auto rows = session.tables().select(sql);
    for (const TableRow& row : rows ? *rows : std::vector<TableRow>{}) {
      if (removesComponent(session, fieldText(row, 1))) folders.insert(directoryPath(session, fieldText(row, 0)));
    }
  }
  folders.erase(u"");
  return folders;
}

std::set<std::string> systemFolderPaths(const Session& session) {
  std::set<std::string> stops;
  for (const char16_t* name : kSystemFolders) {
    const std::u16string value = session.property(name);
    if (value.empty()) continue;
    std::string path = hostPath(value);
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    stops.insert(path);
  }
  return stops;
}

// Every folder from each removed component's folders up to a system
// folder, deepest first: those the removal may leave empty.
std::vector<std::string> foldersToTidy(const Session& session) {
  const std::set<std::string> stops = systemFolderPaths(session);
  std::set<std::string> folders;
  for (const std::u16string& folder : foldersOfRemovedComponents(session)) {
    std::string path = hostPath(folder);
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    while (path.size() > 1 && stops.count(path) == 0 && path.find('/', 1) != std::string::npos &&
           path != machineRoot() + "/drive_c") {
      folders.insert(path);
      path = path.substr(0, path.rfind('/'));
    }
  }
  std::vector<std::string> ordered(folders.begin(), folders.end());
  std::sort(ordered.begin(), ordered.end(), [](const std::string& a, const std::string& b) {
    return a.size() != b.size() ? a.size() > b.size() : a < b;
  });
  return ordered;
}

bool isFolder(const std::string& path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// Removes a folder when it is there and empty; anything else is no error.
UINT removeEmptyFolder(InstallJournal& journal, const std::string& path) {
  if (!isFolder(path)) return ERROR_SUCCESS;
  const UINT code = journal.removeFolder(path);
  return code == ERROR_DIR_NOT_EMPTY ? ERROR_SUCCESS : code;
}

UINT folderError(Session& session, const std::u16string& folder) {
  return operationError(session, 1303, u"The installer has insufficient privileges to access this directory: " +
                                           folder + u".  The installation cannot continue.  Log on as "
                                                    u"administrator or contact your system administrator.");
}

// The files of `folder` whose names match `pattern` (* and ?, any case).
std::vector<std::string> matchingFiles(const std::string& folder, const std::string& pattern) {
  std::vector<std::string> files;
  DIR* dir = ::opendir(folder.c_str());
  if (dir == nullptr) return files;
  while (dirent* entry = ::readdir(dir)) {
    const std::string path = folder + "/" + entry->d_name;
    if (::fnmatch(pattern.c_str(), entry->d_name, FNM_CASEFOLD) == 0 && !isFolder(path)) files.push_back(path);
  }
  ::closedir(dir);
  std::sort(files.begin(), files.end());
  return files;
}

// The RemoveFile table's rows that apply now: InstallMode 1 when the
// component is installed, 2 when it is removed, 3 both.
void addRemoveFileRows(Session& session, const ChangeAction& action) {
  const auto rows = session.tables().select(
      "SELECT `FileKey`, `Component_`, `FileName`, `DirProperty`, `InstallMode` FROM `RemoveFile`");
  for (const TableRow& row : rows ? *rows : std::vector<TableRow>{}) {
    const int mode = fieldNumber(row, 4, 0);
    const bool applies = (installsComponent(session, fieldText(row, 1)) && (mode & 1)) ||
                         (removesComponent(session, fieldText(row, 1)) && (mode & 2));
    const std::u16string folder = directoryPath(session, fieldText(row, 3));
    if (!applies || folder.empty()) continue;
    const std::string host = hostPath(folder);
    if (!row[2]) {
      action.add(action.actionData({std::nullopt, folder, std::nullopt}), kOperationTicks,
                 [host](Session&, InstallJournal& journal) { return removeEmptyFolder(journal, host); });
      continue;
    }
    const std::string pattern = utf16ToUtf8(longFileName(fieldText(row, 2)));
    RecordFields fields(10);
    fields[1] = longFileName(fieldText(row, 2));
    fields[9] = folder;
    action.add(action.actionData(fields), kOperationTicks, [host, pattern](Session&, InstallJournal& journal) {
      for (const std::string& file : matchingFiles(host, pattern)) {
        if (UINT code = journal.removeFile(file)) return code;
      }
      return UINT(ERROR_SUCCESS);
    });
  }
}

}  // namespace

UINT installFiles(Session& session) {
  const ChangeAction action(session, u"InstallFiles");
  if (action.script() == nullptr) return ERROR_SUCCESS;
  const int words = wordCount(session);
  const std::vector<Media> media = mediaRows(session);
  std::map<std::u16string, size_t> byKey;
  for (size_t i = 0; i < session.files().size(); ++i) byKey.emplace(session.files()[i].key, i);
  std::vector<const FileRow*> files;
  for (const FileRow& file : session.files()) {
    if (installsComponent(session, file.component) && !file.targetPath.empty()) files.push_back(&file);
  }
  std::stable_sort(files.begin(), files.end(),
                   [](const FileRow* a, const FileRow* b) { return a->sequence < b->sequence; });
  std::map<std::u16string, std::shared_ptr<CabinetStage>> cabinets;
  HostPaths paths;
  for (const FileRow* file : files) {
    auto copy = std::make_shared<FileCopy>(describeFile(session, *file, byKey, paths));
    const auto disk =
        std::find_if(media.begin(), media.end(), [&](const Media& m) { return m.lastSequence >= file->sequence; });
    if (compressed(*file, words) && disk != media.end() && !disk->cabinet.empty()) {
      auto& stage = cabinets[disk->cabinet];
      if (!stage) stage = std::make_shared<CabinetStage>(CabinetStage{disk->cabinet, {}, false, ERROR_SUCCESS});
      stage->wanted[utf16ToUtf8(file->key)];
      copy->cabinet = stage;
    } else {
      copy->source = uncompressedSource(session, *file, words);
      copy->hostSource = paths.of(copy->source);
    }
    RecordFields fields(10);
    fields[1] = fileName(file->targetPath);
    fields[6] = utf8ToUtf16(std::to_string(file->size));
    fields[9] = windowsFolderOf(file->targetPath);
    action.add(action.actionData(fields), std::max(0LL, file->size),
               [copy](Session& s, InstallJournal& journal) { return copy->run(s, journal); });
  }
  return ERROR_SUCCESS;
}

UINT removeFiles(Session& session) {
  const ChangeAction action(session, u"RemoveFiles");
  if (action.script() == nullptr) return ERROR_SUCCESS;
  HostPaths paths;
  for (const FileRow& file : session.files()) {
    if (!removesComponent(session, file.component) || file.targetPath.empty()) continue;
    RecordFields fields(10);
    fields[1] = fileName(file.targetPath);
    fields[9] = windowsFolderOf(file.targetPath);
    const std::string host = paths.of(file.targetPath);
    action.add(action.actionData(fields), kOperationTicks, [host](Session&, InstallJournal& journal) {
      struct stat st;
      return ::lstat(host.c_str(), &st) == 0 && !S_ISDIR(st.st_mode) ? journal.removeFile(host) : UINT(ERROR_SUCCESS);
    });
  }
  addRemoveFileRows(session, action);
  return ERROR_SUCCESS;
}

namespace {

// The CreateFolder rows whose component `wanted` picks, each with its
// folder's Windows path.
template <typename Visit>
void createFolderRows(const Session& session, bool (*wanted)(const Session&, std::u16string_view), Visit visit) {
  const auto rows = session.tables().select("SELECT `Directory_`, `Component_` FROM `CreateFolder`");
  for (const TableRow& row : rows ? *rows : std::vector<TableRow>{}) {
    const std::u16string folder = directoryPath(session, fieldText(row, 0));
    if (wanted(session, fieldText(row, 1)) && !folder.empty()) visit(folder);
  }
}

// Removes the folder when it is empty. One that cannot go stays, as on
// Windows: no error.
auto removeIfEmpty(std::string host) {
  return [host = std::move(host)](Session&, InstallJournal& journal) {
    removeEmptyFolder(journal, host);
    return UINT(ERROR_SUCCESS);
  };
}

}  // namespace

UINT createFolders(Session& session) {
  const ChangeAction action(session, u"CreateFolders");
  if (action.script() == nullptr) return ERROR_SUCCESS;
  createFolderRows(session, installsComponent, [&](const std::u16string& folder) {
    action.add(action.actionData({std::nullopt, folder}), kOperationTicks,
               [host = hostPath(folder), folder](Session& s, InstallJournal& journal) {
                 const UINT code = journal.createFolder(host);
                 return code == ERROR_SUCCESS ? code : folderError(s, folder);
               });
  });
  return ERROR_SUCCESS;
}

UINT removeFolders(Session& session) {
  const ChangeAction action(session, u"RemoveFolders");
  if (action.script() == nullptr) return ERROR_SUCCESS;
  createFolderRows(session, removesComponent, [&](const std::u16string& folder) {
    action.add(action.actionData({std::nullopt, folder}), kOperationTicks, removeIfEmpty(hostPath(folder)));
  });
  for (const std::string& host : foldersToTidy(session)) {
    action.add(u"", 0, removeIfEmpty(host));
  }
  return ERROR_SUCCESS;
}

}  // namespace emulated::installer
