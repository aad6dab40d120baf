// The installation script's record of operations (install_script.h).
#include "platform/emulated/installer/install_script.h"

#include <chrono>
#include <climits>
#include <thread>
#include <utility>

#include "platform/emulated/installer/session.h"
#include "platform/emulated/installer/ui_texts.h"

namespace emulated::installer {

void InstallScript::beginAction(std::u16string_view action, std::u16string description) {
  actions_.push_back(ScriptAction{std::u16string(action), std::move(description), {}});
}

void InstallScript::add(ScriptOperation operation) {
  // An operation written outside any action still runs under a name.
  if (actions_.empty()) beginAction(u"InstallFinalize", u"");
  actions_.back().operations.push_back(std::move(operation));
}

long long InstallScript::totalTicks() const {
  long long total = 0;
  for (const ScriptAction& action : actions_) {
    for (const ScriptOperation& operation : action.operations) total += operation.ticks;
  }
  return total;
}

namespace {

// Ticks as the 32-bit fields of a progress record carry them: divided by
// the smallest factor that brings the total under INT_MAX, each report the
// growth of the rounded running sum, so the reports add up to the total.
class TickScale {
 public:
  explicit TickScale(long long total) : divisor_(total / INT_MAX + 1), total_(total / divisor_) {}
  long long total() const { return total_; }
  bool exact() const { return divisor_ == 1; }
  long long next(long long ticks) {
    const long long before = done_ / divisor_;
    done_ += ticks;
    return done_ / divisor_ - before;
  }

 private:
  const long long divisor_;
  const long long total_;
  long long done_ = 0;
};

// N when every operation of the action weighs N ticks, else 0.
long long uniformTicks(const ScriptAction& action) {
  const long long first = action.operations.front().ticks;
  for (const ScriptOperation& operation : action.operations) {
    if (operation.ticks != first) return 0;
  }
  return first;
}

bool sendsActionData(const ScriptAction& action) {
  for (const ScriptOperation& operation : action.operations) {
    if (!operation.actionData.empty()) return true;
  }
  return false;
}

UINT runOperation(const ScriptOperation& operation, Session& session, InstallJournal& journal, TickScale& scale,
                  const ScriptRunSettings& settings) {
  MessageChannel& channel = session.messages();
  if (!operation.actionData.empty()) {
    if (UINT code = channel.post(INSTALLMESSAGE_ACTIONDATA, operation.actionData).resultCode()) return code;
  }
  if (operation.run) {
    const UINT code = operation.run(session, journal);
    if (code != ERROR_SUCCESS) return code == ERROR_INSTALL_USEREXIT ? code : ERROR_INSTALL_FAILURE;
  }
  const long long ticks = scale.next(operation.ticks);
  return ticks > 0 ? reportProgress(channel, ticks, settings.tickDelayMs).resultCode() : ERROR_SUCCESS;
}

UINT runAction(const ScriptAction& action, Session& session, InstallJournal& journal, TickScale& scale,
               const ScriptRunSettings& settings) {
  MessageChannel& channel = session.messages();
  const std::u16string start = actionStartText(action.name, action.description, localNow());
  if (UINT code = channel.post(INSTALLMESSAGE_ACTIONSTART, start).resultCode()) return code;
  if (sendsActionData(action)) {
    const long long step = scale.exact() ? uniformTicks(action) : 0;
    if (UINT code = channel.postProgress({1, step, step > 0 ? 1 : 0}).resultCode()) return code;
  }
  for (const ScriptOperation& operation : action.operations) {
    if (UINT code = runOperation(operation, session, journal, scale, settings)) return code;
  }
  return action.name == settings.failAction ? failScenarioAction(session, action.name) : ERROR_SUCCESS;
}

}  // namespace

UiAnswer reportProgress(MessageChannel& channel, long long ticks, int delayMs) {
  const UiAnswer answer = channel.postProgress({2, ticks});
  if (delayMs > 0) std::this_thread::sleep_for(std::chrono::milliseconds(delayMs));
  return answer;
}

UINT failScenarioAction(Session& session, std::u16string_view action) {
  std::u16string text = u"Error 1603. The action ";
  text.append(action).append(u" failed, as the machine's configuration (failAction) asks.");
  const UINT code = session.messages().post(INSTALLMESSAGE_ERROR | MB_OK, text).resultCode();
  return code != ERROR_SUCCESS ? code : ERROR_INSTALL_FAILURE;
}

UINT runScript(const InstallScript& script, Session& session, InstallJournal& journal,
               const ScriptRunSettings& settings) {
  TickScale scale(script.totalTicks());
  if (UINT code = session.messages().postProgress({0, scale.total(), 0, 0}).resultCode()) return code;
  for (const ScriptAction& action : script.actions()) {
    if (action.operations.empty()) continue;
    if (UINT code = runAction(action, session, journal, scale, settings)) return code;
  }
  return ERROR_SUCCESS;
}

}  // namespace emulated::installer
