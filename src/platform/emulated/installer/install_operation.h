// One installation, removal or reconfiguration of a product: what
// MsiInstallProductW and MsiConfigureProductExW run.
//
//   1. the machine-wide installation lock, taken without waiting: another
//      installation of any process, or of another thread of this one,
//      gives ERROR_INSTALL_ALREADY_RUNNING (1618);
//   2. under it, the journals of killed processes are rolled back;
//   3. the session on the package, the command line's properties, and the
//      product check: another version installed gives
//      ERROR_PRODUCT_VERSION (1638); the same version is maintenance;
//   4. the InstallExecuteSequence in Sequence order, each row whose
//      condition holds run through doAction (ERROR_FUNCTION_NOT_CALLED
//      counts as a skipped row). InstallInitialize starts the script that
//      the execution actions write; InstallFinalize runs it through the
//      operation's journal (install_script.h);
//   5. the result: on success the journal is committed, and the result is
//      ERROR_SUCCESS or, with restartRequired=1, 3010; on a cancel (1602)
//      or a failure (1603) the journal is rolled back with the rollback's
//      progress, leaving the machine as it was.
//
// RemoveExistingProducts runs a nested removal of a related product from
// its cached package within the same operation: its changes go to this
// operation's journal (and, while this operation writes its script, into
// that script), so a later cancel brings the old product back too.
//
// Locking: the installation lock is an flock on <root>/installer/install.lock,
// held by a file description of its own per operation, so it excludes other
// processes and the other threads of this process alike. It is held from
// before the recovery to after the commit or rollback. Only its holder
// writes journals or the product store through an installation.
#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "platform/emulated/installer/command_line.h"
#include "platform/emulated/installer/install_script.h"
#include "platform/emulated/msi_products.h"

namespace emulated::installer {

class InstallJournal;
class Session;

// MsiInstallProductW and MsiConfigureProductExW, after their arguments
// were checked: the package's Windows path and the parsed command line.
UINT installPackage(std::u16string_view packagePath, const PropertySettings& properties);
UINT configureProduct(std::u16string_view productCode, int installLevel, INSTALLSTATE state,
                      const PropertySettings& properties);

// Rolls back the journals that killed processes left, when the
// installation lock can be taken without waiting (else an installation
// runs, and it recovers itself). For the engine's entry points and the
// scenario tool.
void recoverInterruptedOperations();

class InstallOperation {
 public:
  InstallOperation(InstallJournal& journal, ScriptRunSettings settings);
  InstallOperation(const InstallOperation&) = delete;
  InstallOperation& operator=(const InstallOperation&) = delete;

  // Walks the session's InstallExecuteSequence (step 4 above):
  // ERROR_SUCCESS, ERROR_INSTALL_USEREXIT or ERROR_INSTALL_FAILURE.
  UINT run(Session& session);

  // InstallInitialize: a script for this session, unless it already
  // writes into the script of the operation that nests it.
  UINT startScript(Session& session);
  // InstallFinalize: runs the script this session started, if any.
  UINT finishScript(Session& session);

  // RemoveExistingProducts: removes the installed product from its cached
  // package, nested in this operation.
  UINT removeRelatedProduct(Session& upgrading, std::u16string_view productCode);

  // Where the session's package is cached (a Windows path): chosen by
  // RegisterProduct, recorded in the store by PublishProduct.
  std::u16string& cachedPackage(const Session& session) { return cachedPackages_[&session]; }

  InstallJournal& journal() { return journal_; }
  const ScriptRunSettings& settings() const { return settings_; }

 private:
  // The rows of the generation phase (InstallInitialize to InstallFinalize)
  // of the walk that starts a script next.
  long long generationSteps_ = 0;
  InstallJournal& journal_;
  const ScriptRunSettings settings_;
  std::map<const Session*, std::unique_ptr<InstallScript>> scripts_;
  std::map<const Session*, std::u16string> cachedPackages_;
  std::set<std::u16string> removing_;  // products whose nested removal runs
};

}  // namespace emulated::installer
