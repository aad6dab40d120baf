// The table of emulated standard actions (standard_actions.h).
#include "platform/emulated/installer/standard_actions.h"

namespace emulated::installer {

namespace {

constexpr StandardAction kActions[] = {
    {u"CostInitialize", [](Session& session) { return session.costInitialize(); }},
    {u"FileCost", [](Session& session) { return session.fileCost(); }},
    {u"CostFinalize", [](Session& session) { return session.costFinalize(); }},
};

}  // namespace

const StandardAction* findStandardAction(std::u16string_view name) {
  for (const StandardAction& action : kActions) {
    if (name == action.name) return &action;
  }
  return nullptr;
}

UINT runStandardAction(Session& session, std::u16string_view name) {
  const StandardAction* action = findStandardAction(name);
  return action == nullptr ? ERROR_FUNCTION_NOT_CALLED : action->run(session);
}

}  // namespace emulated::installer
