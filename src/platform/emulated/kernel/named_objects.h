// Where the named kernel objects of the machine live: one host file per
// name under <root>/kernel/<kind>, so that every process of the machine
// finds the same object. The "Global\" and "Local\" namespaces are one; a
// name may not hold another backslash.
#pragma once

#include <string>

#include "platform/emulated/win_types.h"

namespace emulated {

// The host file of `name` in the folder of `kind` ("events", "mappings"),
// or "" when the name is not valid. The folder is created.
std::string namedObjectFile(LPCWSTR name, const char* kind);

}  // namespace emulated
