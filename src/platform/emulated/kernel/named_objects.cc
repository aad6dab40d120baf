// Names of kernel objects to host files: see named_objects.h. "/" and "%"
// are escaped as %XX so that any name is one file name.
#include "platform/emulated/kernel/named_objects.h"

#include <sys/stat.h>

#include <cstdio>

#include "platform/emulated/machine/machine_paths.h"
#include "platform/emulated/machine/unicode.h"

namespace emulated {

std::string namedObjectFile(LPCWSTR name, const char* kind) {
  std::u16string text(name);
  for (std::u16string prefix : {u"Global\\", u"Local\\"}) {
    if (text.compare(0, prefix.size(), prefix) == 0) text.erase(0, prefix.size());
  }
  if (text.empty() || text.find(u'\\') != std::u16string::npos) return {};
  std::string file;
  for (char c : utf16ToUtf8(text)) {
    if (c == '/' || c == '%') {
      char escaped[4];
      std::snprintf(escaped, sizeof escaped, "%%%02X", static_cast<unsigned char>(c));
      file += escaped;
    } else {
      file += c;
    }
  }
  const std::string folder = machineRoot() + "/kernel/" + kind;
  ::mkdir((machineRoot() + "/kernel").c_str(), 0755);
  ::mkdir(folder.c_str(), 0755);
  return folder + "/" + file;
}

}  // namespace emulated
