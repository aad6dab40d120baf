// The installation script's record of operations (install_script.h).
#include "platform/emulated/installer/install_script.h"

#include <utility>

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

}  // namespace emulated::installer
