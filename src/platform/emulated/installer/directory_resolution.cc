// Resolving the Directory table during CostFinalize (session.h), as the
// documentation of the Directory table describes it:
// - a directory whose name is a property that is set resolves to that
//   property's value (TARGETDIR, the system folders, INSTALLDIR set on the
//   command line or by a custom action);
// - otherwise the root (no parent, or itself as parent) resolves to
//   ROOTDRIVE, and every other directory to its parent's path and its
//   DefaultDir name, "." adding nothing;
// - each directory's property is then set to its path, ending with '\'.
// A parent that is missing or a loop in the table fails the action, as
// Windows fails a package whose tree cannot be resolved.
#include <unordered_map>

#include "platform/emulated/installer/session.h"

namespace emulated::installer {

namespace {

std::u16string withBackslash(std::u16string path) {
  if (!path.empty() && path.back() != u'\\') path += u'\\';
  return path;
}

std::u16string sourceRoot(const std::u16string& packagePath) {
  const size_t slash = packagePath.rfind(u'\\');
  return slash == std::u16string::npos ? std::u16string() : packagePath.substr(0, slash + 1);
}

// One pass over the tree, depth first from each directory to its root.
class Resolver {
 public:
  Resolver(std::vector<DirectoryRow>& rows, const Session& session, const PropertyMap& costed)
      : rows_(rows), session_(session), costed_(costed), state_(rows.size(), Unvisited),
        overridden_(rows.size(), false) {
    for (size_t i = 0; i < rows_.size(); ++i) index_.emplace(rows_[i].key, i);
    shortNames_ = !session.property(u"SHORTFILENAMES").empty();
    sourceDir_ = withBackslash(session.property(u"SourceDir"));
    if (sourceDir_.empty()) sourceDir_ = sourceRoot(session.packagePath());
  }

  bool resolve(size_t i) {
    if (state_[i] == Done) return true;
    if (state_[i] == InProgress) return false;  // a loop
    state_[i] = InProgress;
    DirectoryRow& row = rows_[i];
    const bool root = row.parent.empty() || row.parent == row.key;
    if (root) {
      row.sourcePath = sourceDir_;
      row.targetPath = withBackslash(session_.property(u"ROOTDRIVE"));
    } else {
      const auto parent = index_.find(row.parent);
      if (parent == index_.end() || !resolve(parent->second)) return false;
      const DirectoryRow& up = rows_[parent->second];
      row.targetPath = withBackslash(up.targetPath + defaultDirName(row.defaultDir, false, shortNames_));
      row.sourcePath = withBackslash(up.sourcePath + defaultDirName(row.defaultDir, true, false));
    }
    applyOverride(i);
    state_[i] = Done;
    return true;
  }

  bool overridden(size_t i) const { return overridden_[i]; }

 private:
  enum State { Unvisited, InProgress, Done };

  // A property of the directory's name, set by anyone but an earlier
  // costing, is the directory's path.
  void applyOverride(size_t i) {
    DirectoryRow& row = rows_[i];
    const std::u16string value = session_.property(row.key);
    if (value.empty()) return;
    const auto costed = costed_.find(row.key);
    if (costed != costed_.end() && costed->second == value) return;
    row.targetPath = withBackslash(value);
    overridden_[i] = true;
  }

  std::vector<DirectoryRow>& rows_;
  const Session& session_;
  const PropertyMap& costed_;
  std::vector<State> state_;
  std::vector<bool> overridden_;
  std::unordered_map<std::u16string, size_t> index_;
  bool shortNames_ = false;
  std::u16string sourceDir_;
};

}  // namespace

UINT Session::resolveDirectories() {
  Resolver resolver(directories_, *this, costedDirectoryProperties_);
  for (size_t i = 0; i < directories_.size(); ++i) {
    if (!resolver.resolve(i)) return ERROR_INSTALL_FAILURE;
  }
  for (size_t i = 0; i < directories_.size(); ++i) {
    const DirectoryRow& row = directories_[i];
    setProperty(row.key, row.targetPath);
    if (resolver.overridden(i)) {
      costedDirectoryProperties_.erase(row.key);
    } else {
      costedDirectoryProperties_[row.key] = row.targetPath;
    }
  }
  if (property(u"SourceDir").empty() && !directories_.empty()) {
    const std::u16string source = sourceRoot(packagePath_);
    setProperty(u"SourceDir", source);
    setProperty(u"SOURCEDIR", source);
  }
  return ERROR_SUCCESS;
}

}  // namespace emulated::installer
