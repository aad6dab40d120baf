// The pre-installation run (preinstall.h).
#include "preinstall.h"

#include <map>

namespace preinstall {

namespace {

INT forward(LPVOID context, UINT type, LPCWSTR text) {
  const auto* handler = static_cast<const MessageHandler*>(context);
  if (text == nullptr || !*handler) return IDOK;
  return (*handler)(Message{type, text});
}

class Handle {
 public:
  Handle() = default;
  ~Handle() {
    if (handle_ != 0) MsiCloseHandle(handle_);
  }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  MSIHANDLE* out() { return &handle_; }
  operator MSIHANDLE() const { return handle_; }

 private:
  MSIHANDLE handle_ = 0;
};

std::u16string fieldText(MSIHANDLE record, UINT field) {
  WCHAR empty[1] = {0};
  DWORD size = 0;
  if (MsiRecordGetStringW(record, field, empty, &size) != ERROR_MORE_DATA) return {};
  std::u16string text(size + 1, u'\0');
  ++size;
  if (MsiRecordGetStringW(record, field, text.data(), &size) != ERROR_SUCCESS) return {};
  text.resize(size);
  return text;
}

struct Step {
  std::u16string action;
  std::u16string condition;
};

// The execute sequence by number; of two rows with one number, the first
// fetched. A failure of the query is the run's result.
UINT readSequence(const std::u16string& packagePath, std::map<int, Step>* steps) {
  Handle database, view;
  UINT code = MsiOpenDatabaseW(packagePath.c_str(), MSIDBOPEN_READONLY, database.out());
  if (code == ERROR_SUCCESS)
    code = MsiDatabaseOpenViewW(database, u"SELECT `Action`, `Condition`, `Sequence` FROM `InstallExecuteSequence`",
                                view.out());
  if (code == ERROR_SUCCESS) code = MsiViewExecute(view, 0);
  while (code == ERROR_SUCCESS) {
    Handle record;
    code = MsiViewFetch(view, record.out());
    if (code != ERROR_SUCCESS) break;
    const int number = MsiRecordGetInteger(record, 3);
    steps->emplace(number == static_cast<int>(MSI_NULL_INTEGER) ? 0 : number,
                   Step{fieldText(record, 1), fieldText(record, 2)});
  }
  return code == ERROR_NO_MORE_ITEMS ? ERROR_SUCCESS : code;
}

UINT runSequenceUntil(MSIHANDLE session, const std::u16string& packagePath, const std::u16string& stop) {
  std::map<int, Step> steps;
  if (UINT code = readSequence(packagePath, &steps)) return code;
  for (const auto& [number, step] : steps) {
    const bool runs =
        step.condition.empty() || MsiEvaluateConditionW(session, step.condition.c_str()) == MSICONDITION_TRUE;
    if (runs) {
      const UINT code = MsiDoActionW(session, step.action.c_str());
      if (code != ERROR_SUCCESS && code != ERROR_SUCCESS_REBOOT_REQUIRED && code != ERROR_FUNCTION_NOT_CALLED)
        return code;
    }
    if (step.action == stop) break;
  }
  return ERROR_SUCCESS;
}

}  // namespace

// The handler lives in the caller's object, which outlives the settings.
ExternalUi::ExternalUi(const MessageHandler& handler)
    : handler_(MsiSetExternalUIW(forward, kMessageFilter, const_cast<MessageHandler*>(&handler))),
      level_(MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr)) {}

ExternalUi::~ExternalUi() {
  MsiSetInternalUI(level_, nullptr);
  MsiSetExternalUIW(handler_, 0, nullptr);
}

UINT run(const std::u16string& packagePath, const Properties& properties, const MessageHandler& handler) {
  ExternalUi ui(handler);
  Handle session;
  if (UINT code = MsiOpenPackageW(packagePath.c_str(), session.out())) return code;
  for (const auto& [name, value] : properties) {
    if (UINT code = MsiSetPropertyW(session, name.c_str(), value.c_str())) return code;
  }
  if (UINT code = MsiSetPropertyW(session, u"INSTALLLEVEL", u"32767")) return code;
  if (UINT code = runSequenceUntil(session, packagePath, u"LaunchConditions")) return code;
  for (const char16_t* action : {u"CostInitialize", u"FileCost", u"CostFinalize", u"InstallValidate"}) {
    if (UINT code = MsiDoActionW(session, action)) return code;
  }
  return ERROR_SUCCESS;
}

}  // namespace preinstall
