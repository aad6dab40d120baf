// One installation, removal or reconfiguration (install_operation.h).
#include "platform/emulated/installer/install_operation.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <vector>

#include "platform/emulated/installer/actions.h"
#include "platform/emulated/installer/change_actions.h"
#include "platform/emulated/installer/condition_evaluator.h"
#include "platform/emulated/installer/install_journal.h"
#include "platform/emulated/installer/session.h"
#include "platform/emulated/installer/ui_settings.h"
#include "platform/emulated/installer/ui_texts.h"
#include "platform/emulated/machine/machine_config.h"
#include "platform/emulated/machine/machine_paths.h"
#include "platform/emulated/machine/unicode.h"
#include "platform/emulated/msi.h"
#include "platform/emulated/products/installed_products.h"

namespace emulated::installer {

namespace {

// The machine-wide installation lock, taken without waiting. A file
// description of its own, so that two operations of one process exclude
// each other as two processes do.
class InstallationLock {
 public:
  InstallationLock() {
    const std::string folder = machineRoot() + "/installer";
    ::mkdir(folder.c_str(), 0755);
    fd_ = ::open((folder + "/install.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (fd_ < 0) return;
    int result;
    while ((result = ::flock(fd_, LOCK_EX | LOCK_NB)) != 0 && errno == EINTR) {
    }
    if (result != 0) {
      ::close(fd_);
      fd_ = -1;
    }
  }
  ~InstallationLock() {
    if (fd_ >= 0) ::close(fd_);
  }
  InstallationLock(const InstallationLock&) = delete;
  InstallationLock& operator=(const InstallationLock&) = delete;

  bool held() const { return fd_ >= 0; }

 private:
  int fd_ = -1;
};

struct SequenceRow {
  std::u16string action;
  std::u16string condition;
  int sequence = 0;
};

// The rows that run: a positive Sequence, in ascending order (the
// negative ones are the terminal actions, 0 never runs).
std::vector<SequenceRow> executeSequence(const Session& session) {
  std::vector<SequenceRow> rows;
  const auto table = session.tables().select("SELECT `Action`, `Condition`, `Sequence` FROM `InstallExecuteSequence`");
  if (!table) return rows;
  for (const TableRow& row : *table) {
    const int sequence = fieldNumber(row, 2, 0);
    if (sequence > 0) rows.push_back({fieldText(row, 0), fieldText(row, 1), sequence});
  }
  std::stable_sort(rows.begin(), rows.end(),
                   [](const SequenceRow& a, const SequenceRow& b) { return a.sequence < b.sequence; });
  return rows;
}

long long rowsBetween(const std::vector<SequenceRow>& rows, std::u16string_view first, std::u16string_view last) {
  const auto begin = std::find_if(rows.begin(), rows.end(), [&](const SequenceRow& r) { return r.action == first; });
  if (begin == rows.end()) return 0;
  const auto end = std::find_if(begin, rows.end(), [&](const SequenceRow& r) { return r.action == last; });
  return static_cast<long long>(end - begin) - 1;
}

ScriptRunSettings scenarioSettings() {
  ScriptRunSettings settings;
  settings.tickDelayMs = std::max(0, std::atoi(machineConfigValue("installTickDelayMs", "0").c_str()));
  settings.failAction = utf8ToUtf16(machineConfigValue("failAction", ""));
  return settings;
}

// A walk's result as the operation reports it.
UINT operationResult(UINT code) {
  if (code == ERROR_SUCCESS || code == ERROR_FUNCTION_NOT_CALLED) return ERROR_SUCCESS;
  return code == ERROR_INSTALL_USEREXIT ? code : ERROR_INSTALL_FAILURE;
}

// Whether the action just run wrote operations into the session's script:
// a failing scenario action then fails when the script runs them.
bool wroteOperations(const Session& session, size_t actionsBefore, std::u16string_view action) {
  const InstallScript* script = session.script();
  if (script == nullptr || script->actions().size() <= actionsBefore) return false;
  for (size_t i = actionsBefore; i < script->actions().size(); ++i) {
    const ScriptAction& written = script->actions()[i];
    if (written.name == action && !written.operations.empty()) return true;
  }
  return false;
}

// The rollback, as Windows Installer shows it: its ACTIONSTART, a reset
// moving backwards (field 3 = 1) over the entries to undo, one report per
// entry undone. The user's answers are ignored: a rollback is not cancelled.
void rollBackWithProgress(InstallJournal& journal, MessageChannel& channel, int delayMs) {
  const size_t entries = journal.entries();
  if (entries > 0) {
    (void)channel.post(INSTALLMESSAGE_ACTIONSTART, actionStartText(u"Rollback", u"Rolling back action:", localNow()));
    (void)channel.postProgress({0, static_cast<long long>(entries), 1, 0});
  }
  journal.rollBack([&] { (void)reportProgress(channel, 1, delayMs); });
}

void applyProperties(Session& session, const PropertySettings& properties) {
  for (const auto& [name, value] : properties) session.setProperty(name, value);
}

// 1638: another version of this product is installed. The message is the
// documented text of the error.
bool otherVersionInstalled(Session& session) {
  const auto installed = findInstalledProduct(session.property(u"ProductCode"));
  if (!installed || installed->versionString == session.property(u"ProductVersion")) return false;
  (void)session.messages().post(
      INSTALLMESSAGE_ERROR | MB_OK,
      u"Another version of this product is already installed. Installation of this version cannot continue. To "
      u"configure or remove the existing version of this product, use Add/Remove Programs on the Control Panel.");
  return true;
}

UINT runJournaled(Session& session) {
  UINT code = ERROR_SUCCESS;
  std::unique_ptr<InstallJournal> journal = InstallJournal::begin(&code);
  if (!journal) {
    session.messages().verbose(u"The installation's journal cannot be written.");
    return ERROR_INSTALL_FAILURE;
  }
  InstallOperation operation(*journal, scenarioSettings());
  const UINT result = operation.run(session);
  if (result != ERROR_SUCCESS) {
    rollBackWithProgress(*journal, session.messages(), operation.settings().tickDelayMs);
    return result;
  }
  journal->commit();
  return machineConfigValue("restartRequired", "0") == "1" ? ERROR_SUCCESS_REBOOT_REQUIRED : ERROR_SUCCESS;
}

// Steps 3 to 5, the lock held and the machine recovered.
UINT runLocked(std::u16string_view packagePath, const PropertySettings& properties, UINT packageMissing) {
  UINT code = ERROR_SUCCESS;
  std::shared_ptr<Session> session = Session::open(packagePath, sessionUiLevel(), code);
  if (!session) return packageMissing != ERROR_SUCCESS ? packageMissing : code;
  session->setProperty(u"ACTION", u"INSTALL");  // the top-level action, unless the command line names another
  applyProperties(*session, properties);
  const UINT result = otherVersionInstalled(*session) ? ERROR_PRODUCT_VERSION : runJournaled(*session);
  session->endOperation(result);
  return result;
}

UINT runOperation(std::u16string_view packagePath, const PropertySettings& properties, UINT packageMissing) {
  InstallationLock lock;
  if (!lock.held()) return ERROR_INSTALL_ALREADY_RUNNING;
  rollBackInterruptedOperations();
  return runLocked(packagePath, properties, packageMissing);
}

}  // namespace

InstallOperation::InstallOperation(InstallJournal& journal, ScriptRunSettings settings)
    : journal_(journal), settings_(std::move(settings)) {}

UINT InstallOperation::run(Session& session) {
  session.setOperation(this);
  const std::vector<SequenceRow> rows = executeSequence(session);
  // A nested walk (RemoveExistingProducts) keeps the count of the walk it
  // runs in.
  const long long outerSteps = generationSteps_;
  generationSteps_ = rowsBetween(rows, u"InstallInitialize", u"InstallFinalize");
  UINT result = ERROR_SUCCESS;
  for (const SequenceRow& row : rows) {
    const MSICONDITION holds = row.condition.empty() ? MSICONDITION_TRUE : evaluateCondition(row.condition, session);
    const bool generating = scripts_.count(&session) > 0;
    if (holds == MSICONDITION_ERROR) {
      session.messages().verbose(u"Action " + row.action + u": its condition is malformed; the installation fails.");
      result = ERROR_INSTALL_FAILURE;
    } else if (holds == MSICONDITION_TRUE) {
      const size_t before = session.script() ? session.script()->actions().size() : 0;
      result = operationResult(doAction(session, row.action));
      if (result == ERROR_SUCCESS && row.action == settings_.failAction &&
          !wroteOperations(session, before, row.action))
        result = failScenarioAction(session, row.action);
    }
    // The generation phase's bar: one tick per row written into the script.
    // It is not slowed: installTickDelayMs slows the execution, where the
    // machine changes and where a cancel has something to take back.
    if (result == ERROR_SUCCESS && generating && scripts_.count(&session) > 0)
      result = reportProgress(session.messages(), 1, 0).resultCode();
    if (result != ERROR_SUCCESS) break;
  }
  // A sequence without InstallFinalize still runs what it wrote.
  if (result == ERROR_SUCCESS) result = finishScript(session);
  scripts_.erase(&session);
  cachedPackages_.erase(&session);
  session.setScript(nullptr);
  session.setOperation(nullptr);
  generationSteps_ = outerSteps;
  return result;
}

UINT InstallOperation::startScript(Session& session) {
  if (session.script() != nullptr) return ERROR_SUCCESS;  // nested in another operation's script
  auto& script = scripts_[&session];
  script = std::make_unique<InstallScript>();
  session.setScript(script.get());
  return session.messages().postProgress({0, generationSteps_, 0, 1}).resultCode();
}

UINT InstallOperation::finishScript(Session& session) {
  const auto found = scripts_.find(&session);
  if (found == scripts_.end()) return ERROR_SUCCESS;
  const std::unique_ptr<InstallScript> script = std::move(found->second);
  scripts_.erase(found);
  session.setScript(nullptr);
  return operationResult(runScript(*script, session, journal_, settings_));
}

UINT InstallOperation::removeRelatedProduct(Session& upgrading, std::u16string_view productCode) {
  const auto product = findInstalledProduct(productCode);
  // A product met again while its own removal runs (a cached package that
  // names another product, which finds this one related) is already being
  // removed: removing it again would nest without end.
  if (!product || removing_.count(product->productCode) > 0) return ERROR_SUCCESS;
  UINT code = ERROR_SUCCESS;
  std::shared_ptr<Session> session =
      Session::open(product->localPackage, sessionUiLevel(), code, &upgrading.messages());
  if (!session) {
    return operationError(upgrading, 1612,
                          u"The installation source for this product is not available: its cached package " +
                              product->localPackage + u" cannot be opened.");
  }
  session->setProperty(u"REMOVE", u"ALL");
  session->setProperty(u"UPGRADINGPRODUCTCODE", upgrading.property(u"ProductCode"));
  session->setScript(upgrading.script());
  removing_.insert(product->productCode);
  const UINT result = run(*session);
  removing_.erase(product->productCode);
  return result;
}

UINT installPackage(std::u16string_view packagePath, const PropertySettings& properties) {
  return runOperation(packagePath, properties, ERROR_SUCCESS);
}

UINT configureProduct(std::u16string_view productCode, int installLevel, INSTALLSTATE state,
                      const PropertySettings& properties) {
  PropertySettings settings = properties;
  switch (state) {
    case INSTALLSTATE_ABSENT: settings.emplace_back(u"REMOVE", u"ALL"); break;
    case INSTALLSTATE_LOCAL: settings.emplace_back(u"ADDLOCAL", u"ALL"); break;
    case INSTALLSTATE_SOURCE: settings.emplace_back(u"ADDSOURCE", u"ALL"); break;
    case INSTALLSTATE_DEFAULT:
      if (installLevel != INSTALLLEVEL_DEFAULT)
        settings.emplace_back(u"INSTALLLEVEL", utf8ToUtf16(std::to_string(installLevel)));
      break;
    case INSTALLSTATE_ADVERTISED: return ERROR_CALL_NOT_IMPLEMENTED;  // the machine has no advertising
    default: return ERROR_INVALID_PARAMETER;
  }
  InstallationLock lock;
  if (!lock.held()) return ERROR_INSTALL_ALREADY_RUNNING;
  rollBackInterruptedOperations();
  const auto product = findInstalledProduct(productCode);
  if (!product) return ERROR_UNKNOWN_PRODUCT;
  // The cached package gone: its source is absent.
  return runLocked(product->localPackage, settings, ERROR_INSTALL_SOURCE_ABSENT);
}

void recoverInterruptedOperations() {
  // Most calls find no journal at all: they neither lock nor create the
  // lock file then.
  std::error_code error;
  if (std::filesystem::is_empty(machineRoot() + "/installer/journal", error) || error) return;
  InstallationLock lock;
  if (lock.held()) rollBackInterruptedOperations();
}

}  // namespace emulated::installer
