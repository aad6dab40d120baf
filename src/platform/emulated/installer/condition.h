// Conditional statements, as Windows Installer's "Conditional Statement
// Syntax" defines them: MsiEvaluateConditionW and the Condition columns of
// a package's tables, evaluated over the facts of a session.
#pragma once

#include <string_view>

#include "platform/emulated/installer/session_facts.h"
#include "platform/emulated/msi.h"

namespace emulated::installer {

// MSICONDITION_NONE for an empty (or all-blank) text, MSICONDITION_ERROR
// for a malformed one.
MSICONDITION evaluateCondition(std::u16string_view text, const SessionFacts& facts);

}  // namespace emulated::installer
