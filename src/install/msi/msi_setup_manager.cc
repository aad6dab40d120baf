// The setup manager (msi_setup_manager.h).
#include "install/msi/msi_setup_manager.h"

#include <atomic>
#include <map>
#include <stdexcept>

#include "install/msi/default_package.h"
#include "install/msi/msi_handle_holder.h"
#include "install/msi/msi_strings.h"
#include "install/msi/msi_table_reader.h"

namespace installer {
namespace msi_wrapper {

namespace {

// Errors, warnings, out of disk space, action starts, action data, progress.
constexpr DWORD kMessageFilter = INSTALLLOGMODE_ERROR | INSTALLLOGMODE_WARNING | INSTALLLOGMODE_OUTOFDISKSPACE |
                                 INSTALLLOGMODE_ACTIONSTART | INSTALLLOGMODE_ACTIONDATA | INSTALLLOGMODE_PROGRESS;
static_assert(kMessageFilter == 0x786, "the handler's filter");

constexpr WCHAR kBlank = WIDE_TEXT(' ');
constexpr WCHAR kQuote = WIDE_TEXT('"');

class MsiSetupManager;

// The one manager, or null. Set by the factory, cleared by the destructor,
// read by the handler on the operation's thread.
std::atomic<MsiSetupManager*> currentManager{nullptr};

// The handler that was installed before ours; put back under filter 0.
class PreviousInstallUIHandler {
 public:
  PreviousInstallUIHandler() : previous_(MsiSetExternalUIW(installUiHandler, kMessageFilter, nullptr)) {}
  virtual ~PreviousInstallUIHandler() { MsiSetExternalUIW(previous_, 0, nullptr); }
  PreviousInstallUIHandler(const PreviousInstallUIHandler&) = delete;
  PreviousInstallUIHandler& operator=(const PreviousInstallUIHandler&) = delete;

 private:
  INSTALLUI_HANDLERW previous_;
};

class PreviousInstallUILevel {
 public:
  PreviousInstallUILevel() : previous_(MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr)) {}
  virtual ~PreviousInstallUILevel() { MsiSetInternalUI(previous_, nullptr); }
  PreviousInstallUILevel(const PreviousInstallUILevel&) = delete;
  PreviousInstallUILevel& operator=(const PreviousInstallUILevel&) = delete;

 private:
  INSTALLUILEVEL previous_;
};

// Members are destroyed in reverse order: the level is restored first, the
// handler second.
struct UiGuard {
  PreviousInstallUIHandler handler;
  PreviousInstallUILevel level;
};

class MsiSetupManager final : public MsiSetupManagerInterface {
 public:
  MsiSetupManager(InstallMessageCallback callback, platform::wstring logPath, platform::wstring packagePath,
                  MessageTap tap)
      : messageCallback_(callback), packagePath_(std::move(packagePath)), logPath_(std::move(logPath)), tap_(tap) {}
  ~MsiSetupManager() override {
    MsiSetupManager* self = this;  // one that never became the manager leaves the pointer alone
    currentManager.compare_exchange_strong(self, nullptr);
  }
  MsiSetupManager(const MsiSetupManager&) = delete;
  MsiSetupManager& operator=(const MsiSetupManager&) = delete;

  std::uint32_t runPreinstall(const std::vector<SetupParameter>& parameters, std::int32_t logLevel) const override;
  std::uint32_t runSetup(const std::vector<SetupParameter>& parameters, std::int32_t logLevel) const override;
  std::uint32_t runUninstall(const platform::wstring& productCode, const platform::wstring& commandLine,
                             std::int32_t logLevel) const override;

  INT handle(UINT messageType, LPCWSTR text) const;
  INT report(UINT messageType, LPCWSTR text) const;

 private:
  void open(std::int32_t logLevel) const;
  std::uint32_t preinstallSteps(MSIHANDLE product, const std::vector<SetupParameter>& parameters) const;

  InstallMessageCallback messageCallback_;
  platform::wstring packagePath_;
  platform::wstring logPath_;
  MessageTap tap_;
  // The operation's thread only (the handler runs there).
  mutable InstallProgressState progressState_;
  mutable InstallMessage message_;  // reused: its action is copied only when it changed
  mutable std::uint32_t messageGeneration_ = 0;
};

/*
 * The common opening. An empty log path turns the log off: the log is a
 * process-wide setting, and an earlier operation's log must not go on.
 */
void MsiSetupManager::open(std::int32_t logLevel) const {
  progressState_ = InstallProgressState();
  message_.action.clear();
  messageGeneration_ = progressState_.actionGeneration();
  if (logPath_.empty()) {
    (void)MsiEnableLogW(0, nullptr, 0);
  } else {
    (void)MsiEnableLogW(logModeForLevel(logLevel), logPath_.c_str(), INSTALLLOGATTRIBUTES_APPEND);
  }
}

std::uint32_t MsiSetupManager::runPreinstall(const std::vector<SetupParameter>& parameters,
                                             std::int32_t logLevel) const {
  open(logLevel);
  UiGuard ui;
  MsiHandleHolder product;  // closed before the guard restores anything
  std::uint32_t code = MsiOpenPackageW(packagePath_.c_str(), product.receive());
  if (code != ERROR_SUCCESS) return code;
  return preinstallSteps(product.get(), parameters);
}

std::uint32_t MsiSetupManager::preinstallSteps(MSIHANDLE product, const std::vector<SetupParameter>& parameters) const {
  for (const SetupParameter& parameter : parameters) {
    if (std::uint32_t code = MsiSetPropertyW(product, parameter.name.c_str(), parameter.value.c_str())) return code;
  }
  if (std::uint32_t code = MsiSetPropertyW(product, WIDE_TEXT("INSTALLLEVEL"), WIDE_TEXT("32767"))) return code;
  if (std::uint32_t code = runExecuteSequenceUntil(product, packagePath_, WIDE_TEXT("LaunchConditions"))) return code;
  for (const WCHAR* action : {WIDE_TEXT("CostInitialize"), WIDE_TEXT("FileCost"), WIDE_TEXT("CostFinalize"),
                              WIDE_TEXT("InstallValidate")}) {
    if (std::uint32_t code = MsiDoActionW(product, action)) return code;
  }
  return ERROR_SUCCESS;
}

std::uint32_t MsiSetupManager::runSetup(const std::vector<SetupParameter>& parameters, std::int32_t logLevel) const {
  open(logLevel);
  platform::wstring commandLine;
  for (const SetupParameter& parameter : parameters) {
    commandLine += kBlank;
    commandLine += parameter.toString();
  }
  UiGuard ui;
  return MsiInstallProductW(packagePath_.c_str(), commandLine.c_str());
}

std::uint32_t MsiSetupManager::runUninstall(const platform::wstring& productCode, const platform::wstring& commandLine,
                                            std::int32_t logLevel) const {
  open(logLevel);
  UiGuard ui;
  return MsiConfigureProductExW(productCode.c_str(), INSTALLLEVEL_DEFAULT, INSTALLSTATE_ABSENT, commandLine.c_str());
}

INT MsiSetupManager::handle(UINT messageType, LPCWSTR text) const {
  const INT tapped = tap_.see != nullptr ? tap_.see(tap_.context, messageType, text) : 0;
  const INT reported = report(messageType, text);
  return tapped != 0 ? tapped : reported;
}

INT MsiSetupManager::report(UINT messageType, LPCWSTR text) const {
  if (messageCallback_ == nullptr || text == nullptr) return 0;
  if (progressState_.accept(messageType, text) != InstallProgressState::kHandled) return 0;
  InstallMessage& message = message_;
  message.progress.reset();
  message.forward = true;
  switch (messageType & 0xFF000000u) {
    case INSTALLMESSAGE_ERROR:
    case INSTALLMESSAGE_OUTOFDISKSPACE:
      message.kind = InstallMessageKind::error;
      break;
    case INSTALLMESSAGE_WARNING:
      message.kind = InstallMessageKind::warning;
      break;
    case INSTALLMESSAGE_ACTIONDATA:
    case INSTALLMESSAGE_PROGRESS:
      message.kind = InstallMessageKind::progress;
      message.progress = progressState_.percentage();
      message.forward = progressState_.forward();
      break;
    default:
      return 0;
  }
  if (messageGeneration_ != progressState_.actionGeneration()) {
    message.action = progressState_.actionText();
    messageGeneration_ = progressState_.actionGeneration();
  }
  message.actionGeneration = messageGeneration_;
  return messageCallback_(message);
}

// The table's rows by sequence number, each number's first row.
struct SequenceRow {
  platform::wstring action;
  platform::wstring condition;
};

std::uint32_t readExecuteSequence(const platform::wstring& packagePath, std::map<std::int32_t, SequenceRow>& rows) {
  MsiHandleHolder database;
  std::uint32_t code = MsiOpenDatabaseW(packagePath.c_str(), MSIDBOPEN_READONLY, database.receive());
  if (code != ERROR_SUCCESS) return code;
  return readTableRows(database.get(),
                       WIDE_TEXT("SELECT InstallExecuteSequence.Action,InstallExecuteSequence.Condition,"
                                 "InstallExecuteSequence.Sequence FROM InstallExecuteSequence"),
                       [&rows](MSIHANDLE record) {
                         SequenceRow row;
                         platform::wstring sequence;
                         std::uint32_t failure = readRecordString(record, 1, row.action);
                         if (failure == ERROR_SUCCESS) failure = readRecordString(record, 2, row.condition);
                         if (failure == ERROR_SUCCESS) failure = readRecordString(record, 3, sequence);
                         if (failure == ERROR_SUCCESS) rows.emplace(runtimeDecimal(sequence), std::move(row));
                         return failure;
                       });
}

bool countsAsSuccess(std::uint32_t code) {
  return code == ERROR_SUCCESS || code == ERROR_SUCCESS_REBOOT_REQUIRED || code == ERROR_FUNCTION_NOT_CALLED;
}

// A readable package in the current directory.
bool currentDirectoryHolds(const platform::wstring& name) {
  HANDLE file = CreateFileW(name.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                            nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return false;
  (void)CloseHandle(file);
  return true;
}

}  // namespace

platform::wstring SetupParameter::toString() const { return name + WIDE_TEXT("=") + kQuote + value + kQuote; }

std::vector<SetupParameter> parseSetupParameters(const platform::wstring& text) {
  std::vector<SetupParameter> parameters;
  for (size_t equals = text.find(WIDE_TEXT('=')); equals != platform::wstring::npos;
       equals = text.find(WIDE_TEXT('='), equals + 1)) {
    const size_t blank = equals == 0 ? platform::wstring::npos : text.rfind(kBlank, equals - 1);
    const size_t nameStart = blank == platform::wstring::npos ? 0 : blank + 1;
    platform::wstring name = text.substr(nameStart, equals - nameStart);
    if (name.empty()) continue;
    const size_t valueStart = equals + 1;
    if (valueStart >= text.size()) throw std::out_of_range("invalid string position");
    platform::wstring value;
    if (text[valueStart] == kQuote) {
      const size_t close = text.find(kQuote, valueStart + 1);
      if (close != platform::wstring::npos) value = text.substr(valueStart + 1, close - valueStart - 1);
    } else {
      const size_t end = text.find(kBlank, valueStart);
      value = text.substr(valueStart, end == platform::wstring::npos ? platform::wstring::npos : end - valueStart);
    }
    parameters.emplace_back(std::move(name), std::move(value));
  }
  return parameters;
}

std::uint32_t logModeForLevel(std::int32_t level) {
  switch (level) {
    case 1:
      return INSTALLLOGMODE_LOGONLYONERROR | INSTALLLOGMODE_ERROR;
    case 3:
      return INSTALLLOGMODE_FATALEXIT | INSTALLLOGMODE_ERROR | INSTALLLOGMODE_WARNING | INSTALLLOGMODE_USER |
             INSTALLLOGMODE_INFO | INSTALLLOGMODE_RESOLVESOURCE | INSTALLLOGMODE_OUTOFDISKSPACE |
             INSTALLLOGMODE_ACTIONSTART | INSTALLLOGMODE_ACTIONDATA | INSTALLLOGMODE_PROPERTYDUMP |
             INSTALLLOGMODE_COMMONDATA | INSTALLLOGMODE_VERBOSE;
    default:
      return INSTALLLOGMODE_PROPERTYDUMP | INSTALLLOGMODE_VERBOSE;
  }
}

platform::wstring setupPackagePath() {
  const platform::wstring& name = defaultPackageFileName();
  if (currentDirectoryHolds(name)) return name;
  return defaultPackagePath();
}

std::unique_ptr<MsiSetupManagerInterface> createMsiSetupManager(InstallMessageCallback callback,
                                                                const platform::wstring& logPath,
                                                                const platform::wstring& packagePath, MessageTap tap) {
  auto manager = std::make_unique<MsiSetupManager>(callback, logPath, packagePath, tap);
  MsiSetupManager* none = nullptr;
  if (!currentManager.compare_exchange_strong(none, manager.get())) return nullptr;
  return manager;
}

std::unique_ptr<MsiSetupManagerInterface> createMsiSetupManager(InstallMessageCallback callback,
                                                                const platform::wstring& logPath) {
  if (currentManager.load() != nullptr) return nullptr;
  return createMsiSetupManager(callback, logPath, setupPackagePath(), MessageTap());
}

INT INSTALLER_UI_HANDLER_CALL installUiHandler(LPVOID, UINT messageType, LPCWSTR message) {
  const MsiSetupManager* manager = currentManager.load();
  return manager == nullptr ? 0 : manager->handle(messageType, message);
}

std::uint32_t runExecuteSequenceUntil(MSIHANDLE product, const platform::wstring& packagePath,
                                      const platform::wstring& stopAction) {
  std::map<std::int32_t, SequenceRow> rows;
  if (std::uint32_t code = readExecuteSequence(packagePath, rows)) return code;
  for (const auto& [sequence, row] : rows) {
    const bool runs =
        row.condition.empty() || MsiEvaluateConditionW(product, row.condition.c_str()) == MSICONDITION_TRUE;
    if (runs) {
      const std::uint32_t code = MsiDoActionW(product, row.action.c_str());
      if (!countsAsSuccess(code)) return code;
    }
    if (row.action == stopAction) break;
  }
  return ERROR_SUCCESS;
}

}  // namespace msi_wrapper
}  // namespace installer
