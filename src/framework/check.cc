#include "framework/check.h"

namespace qor {

void raiseCheckFailed(const char* sourceFile, std::int32_t sourceLine) {
  throw CheckFailedException(sourceFile, sourceLine);
}

}  // namespace qor
