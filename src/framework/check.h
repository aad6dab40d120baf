// Checks on result codes: a negative result raises CheckFailedException
// recording where the check was made.
#pragma once

#include <cstdint>

#include "framework/exception.h"
#include "framework/result.h"

namespace qor {

// Throws CheckFailedException with empty description and no cause.
[[noreturn]] void raiseCheckFailed(const char* sourceFile, std::int32_t sourceLine);

// Returns `result` when it is a success code.
inline result_t checkResult(result_t result, const char* sourceFile,
                            std::int32_t sourceLine) {
  if (failed(result)) raiseCheckFailed(sourceFile, sourceLine);
  return result;
}

}  // namespace qor

#define QOR_CHECK(expr) ::qor::checkResult((expr), __FILE__, __LINE__)
