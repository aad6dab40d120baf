// An installer session: one package opened read-only, its properties, and
// what the costing actions work out from its tables (the target path of
// each directory, the state of each feature and component, the target path
// of each file). MsiOpenPackageW makes one for a session handle; an
// installation (MsiInstallProductW) makes one and runs its actions on it.
//
// A session owns the message path of its operation (messages()): every
// action it runs posts there, to the external UI and the log. The channel
// starts with the session, so the log takes the MsiEnableLogW settings in
// force at MsiOpenPackageW, as Windows does. A package session is one
// operation from open to close: its log ends (property dump, footer) when
// the handle closes. An installation ends it with its own result through
// endOperation() when its sequence is done, so the log carries that result;
// closing the session afterwards changes nothing.
//
// An installation attaches itself to its session (setOperation) and, from
// InstallInitialize on, the script that the execution actions write into
// (setScript); a package session of MsiOpenPackageW has neither, so the
// execution actions run there change nothing.
//
// Threads: the actions run one at a time: doAction (actions.h) holds the
// session's action lock, a recursive one: another thread waits, while the
// message handler of the running action, called on the same thread, may
// still run an action itself. The tables below change only inside an
// action. The properties have their own mutex, so a message handler or
// another thread may read and set them while an action runs. Lock order:
// the action lock, then the property mutex or the database's lock, never
// both of these; the property mutex is never held across a call out.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "platform/emulated/installer/package_tables.h"
#include "platform/emulated/installer/session_facts.h"
#include "platform/emulated/installer/system_properties.h"
#include "platform/emulated/installer/ui_messages.h"

namespace emulated::installer {

class InstallOperation;
class InstallScript;

struct DirectoryRow {
  std::u16string key;
  std::u16string parent;      // "" for the root
  std::u16string defaultDir;  // "target[:source]", each "name" or "short|long"
  std::u16string targetPath;  // resolved by CostFinalize, ends with '\'
  std::u16string sourcePath;  // resolved by CostFinalize, ends with '\'
};

struct FeatureRow {
  std::u16string key;
  std::u16string parent;
  std::u16string title;
  int display = 0;
  int level = 0;  // after the Condition table
  std::u16string directory;
  int attributes = 0;
  INSTALLSTATE installed = INSTALLSTATE_UNKNOWN;
  INSTALLSTATE action = INSTALLSTATE_UNKNOWN;  // INSTALLSTATE_UNKNOWN: no change
};

struct ComponentRow {
  std::u16string key;
  std::u16string componentId;
  std::u16string directory;
  int attributes = 0;
  std::u16string condition;
  std::u16string keyPath;
  std::vector<size_t> features;  // indexes into features(), from FeatureComponents
  INSTALLSTATE installed = INSTALLSTATE_UNKNOWN;
  INSTALLSTATE action = INSTALLSTATE_UNKNOWN;
};

struct FileRow {
  std::u16string key;
  std::u16string component;
  std::u16string shortName;
  std::u16string longName;
  long long size = 0;
  std::u16string version;
  std::u16string language;
  int attributes = 0;
  int sequence = 0;
  std::u16string targetPath;  // full path, resolved by CostFinalize
};

// The directory name a DefaultDir value gives on the target (or source)
// side: "target[:source]", each part "name" or "short|long"; "" for ".",
// which puts the directory in its parent.
std::u16string defaultDirName(std::u16string_view defaultDir, bool source, bool shortNames);

class Session final : public SessionFacts {
 public:
  // Opens the package at `windowsPath` read-only: ERROR_SUCCESS,
  // ERROR_INSTALL_PACKAGE_OPEN_FAILED (no such file) or
  // ERROR_INSTALL_PACKAGE_INVALID (not a package). With `sharedMessages`
  // the session posts on that channel, of an operation it is nested in (a
  // removal by RemoveExistingProducts), which must outlive it; it does not
  // end that channel.
  static std::shared_ptr<Session> open(std::u16string_view windowsPath, int uiLevel, UINT& code,
                                       MessageChannel* sharedMessages = nullptr);
  // A session over a database already open (MsiOpenPackageW's "#handle").
  static std::shared_ptr<Session> openDatabase(std::shared_ptr<DatabaseObject> database, std::u16string path,
                                               int uiLevel, UINT& code, MessageChannel* sharedMessages = nullptr);

  ~Session() override;
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // The operation's message path; endOperation() ends it with the
  // operation's result (later calls change nothing).
  MessageChannel& messages() { return *channel_; }
  void endOperation(UINT result);
  std::recursive_mutex& actionLock() { return actionLock_; }

  // SessionFacts.
  std::u16string property(std::u16string_view name) const override;
  std::u16string environment(std::u16string_view name) const override;
  bool featureStates(std::u16string_view feature, INSTALLSTATE* installed, INSTALLSTATE* action) const override;
  bool componentStates(std::u16string_view component, INSTALLSTATE* installed, INSTALLSTATE* action) const override;
  std::u16string filePath(std::u16string_view fileKey, bool shortForm) const override;
  std::u16string componentDirectory(std::u16string_view component) const override;

  // An empty value removes the property, as MsiSetPropertyW documents.
  void setProperty(std::u16string_view name, std::u16string_view value);
  // Every property set, in name order (the log's property dump).
  PropertyMap properties() const;

  // The costing actions, each as its documented standard action does.
  // CostFinalize runs the two before it when they have not run.
  UINT costInitialize();
  UINT fileCost();
  UINT costFinalize();
  bool costed() const { return costed_; }

  // A directory's target path, as a type 35 custom action and
  // MsiSetTargetPath set it: the directory's property, and once costed the
  // paths of the directories and files below it. ERROR_DIRECTORY for a
  // directory the Directory table lacks, once CostInitialize has read it.
  UINT setTargetPath(std::u16string_view directory, std::u16string_view path);

  // MigrateFeatureStates: the action state of each named feature the
  // package has, then the component states chosen again from them.
  void migrateFeatureActions(const std::map<std::u16string, INSTALLSTATE, std::less<>>& actions);

  const std::vector<DirectoryRow>& directories() const { return directories_; }
  const std::vector<FeatureRow>& features() const { return features_; }
  const std::vector<ComponentRow>& components() const { return components_; }
  const std::vector<FileRow>& files() const { return files_; }
  const DirectoryRow* findDirectory(std::u16string_view key) const;
  const FeatureRow* findFeature(std::u16string_view key) const;
  const ComponentRow* findComponent(std::u16string_view key) const;

  // The installation running this session; nullptr in a package session.
  InstallOperation* operation() const { return operation_; }
  void setOperation(InstallOperation* operation) { operation_ = operation; }
  // The script an installation's execution actions write their changes
  // into (install_script.h): set by InstallInitialize, cleared when
  // InstallFinalize has run it. Outside that span, and in a package
  // session, it is nullptr: those actions then change nothing and succeed.
  InstallScript* script() const { return script_; }
  void setScript(InstallScript* script) { script_ = script; }

  const PackageTables& tables() const { return tables_; }
  const std::u16string& packagePath() const { return packagePath_; }

 private:
  Session(std::shared_ptr<DatabaseObject> database, std::u16string path);
  UINT load(int uiLevel);
  void linkFeatureComponents();
  UINT resolveDirectories();
  UINT chooseFeatureStates();
  void applyConditionTable();
  void chooseComponentStates();
  void resolveFiles();

  PackageTables tables_;
  const std::u16string packagePath_;
  std::unique_ptr<MessageChannel> messages_;  // null with a shared channel
  MessageChannel* channel_ = nullptr;
  std::recursive_mutex actionLock_;
  mutable std::mutex propertiesLock_;
  PropertyMap properties_;
  // Directory properties that costing itself set, with their values: a
  // later costing tells them from a path someone else set.
  PropertyMap costedDirectoryProperties_;

  InstallOperation* operation_ = nullptr;
  InstallScript* script_ = nullptr;
  bool initialized_ = false;
  bool filesCosted_ = false;
  bool costed_ = false;
  std::vector<DirectoryRow> directories_;
  std::vector<FeatureRow> features_;
  std::vector<ComponentRow> components_;
  std::vector<FileRow> files_;
  // Each table's rows by key, rebuilt with the rows.
  using KeyIndex = std::map<std::u16string, size_t, std::less<>>;
  KeyIndex directoryIndex_, featureIndex_, componentIndex_, fileIndex_;
};

}  // namespace emulated::installer
