// The scenario tool's kernel-object and record commands: see
// machine_objects.h ("hostpath" prints the host path of a Windows path).
// Objects are created and read through the machine's own
// Win32 calls, so the tool sees them as the installer UI does; "remove"
// deletes the host file of a named object, which Windows does when its last
// handle closes and the emulated machine leaves to the object's creator.
#include "machine_objects.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/emulated/kernel/named_objects.h"
#include "platform/emulated/machine/machine_paths.h"
#include "platform/emulated/machine/machine_records.h"
#include "platform/emulated/machine/unicode.h"
#include "platform/windows.h"

namespace {

using emulated::utf16ToUtf8;
using emulated::utf8ToUtf16;

// The view the installer UI reads the command line through.
constexpr DWORD kCommandLineView = 2048;

[[noreturn]] void fail(const std::string& message) {
  std::fprintf(stderr, "machine: %s\n", message.c_str());
  std::exit(1);
}

[[noreturn]] void failCall(const std::string& what, const std::string& name) {
  fail(what + " " + name + ": error " + std::to_string(GetLastError()));
}

int removeObject(const std::string& name, const char* kind) {
  const std::string file = emulated::namedObjectFile(utf8ToUtf16(name).c_str(), kind);
  if (file.empty() || ::unlink(file.c_str()) != 0) fail("no such object: " + name);
  return 0;
}

// event create NAME [--auto-reset] | set NAME | wait NAME [MS] | remove NAME.
// wait exits with 0 when the event is signalled, 2 when MS pass first.
int event(const std::vector<std::string>& args) {
  if (args.size() < 2) fail("usage: event create|set|wait|remove NAME");
  const std::string& verb = args[0];
  const std::u16string name = utf8ToUtf16(args[1]);
  if (verb == "remove") return removeObject(args[1], "events");
  HANDLE handle = nullptr;
  if (verb == "create") {
    const bool autoReset = args.size() > 2 && args[2] == "--auto-reset";
    handle = CreateEventW(nullptr, autoReset ? FALSE : TRUE, FALSE, name.c_str());
  } else if (verb == "set" || verb == "wait") {
    handle = OpenEventW(verb == "set" ? EVENT_MODIFY_STATE : SYNCHRONIZE, FALSE, name.c_str());
  } else {
    fail("usage: event create|set|wait|remove NAME");
  }
  if (handle == nullptr) failCall("event", args[1]);
  int code = 0;
  if (verb == "set" && !SetEvent(handle)) failCall("cannot set event", args[1]);
  if (verb == "wait") {
    const DWORD ms = args.size() > 2 ? static_cast<DWORD>(std::strtoul(args[2].c_str(), nullptr, 10)) : INFINITE;
    const DWORD result = WaitForSingleObject(handle, ms);
    if (result == WAIT_FAILED) failCall("cannot wait for event", args[1]);
    code = result == WAIT_OBJECT_0 ? 0 : 2;
  }
  CloseHandle(handle);
  return code;
}

// Creates the mapping with `text` as UTF-16LE and a zero unit after it; at
// least the reader's 2048 bytes long.
int createMapping(const std::string& name, const std::string& text) {
  const std::u16string units = utf8ToUtf16(text);
  const DWORD size = std::max<DWORD>(kCommandLineView, static_cast<DWORD>((units.size() + 1) * 2));
  HANDLE mapping = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, size, name.c_str());
  if (mapping == nullptr) failCall("cannot create mapping", name);
  auto* view = static_cast<char16_t*>(MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 0, size));
  if (view == nullptr) failCall("cannot map", name);
  std::memcpy(view, units.c_str(), (units.size() + 1) * 2);  // little-endian host: UTF-16LE
  UnmapViewOfFile(view);
  CloseHandle(mapping);
  return 0;
}

// Prints the text of the mapping's first 2048 bytes, up to the first zero.
int readMapping(const std::string& name) {
  HANDLE mapping = OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, name.c_str());
  if (mapping == nullptr) failCall("mapping", name);
  const auto* view = static_cast<const char16_t*>(MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, kCommandLineView));
  if (view == nullptr) failCall("cannot map", name);
  const size_t units = std::find(view, view + kCommandLineView / 2, u'\0') - view;
  std::printf("%s\n", utf16ToUtf8(std::u16string_view(view, units)).c_str());
  UnmapViewOfFile(view);
  CloseHandle(mapping);
  return 0;
}

// mapping create NAME TEXT | read NAME | remove NAME.
int mapping(const std::vector<std::string>& args) {
  if (args.size() == 3 && args[0] == "create") return createMapping(args[1], args[2]);
  if (args.size() == 2 && args[0] == "read") return readMapping(args[1]);
  if (args.size() == 2 && args[0] == "remove") return removeObject(args[1], "mappings");
  fail("usage: mapping create NAME TEXT | mapping read NAME | mapping remove NAME");
}

int listRecords(const std::string& kind) {
  for (const std::string& line : emulated::readMachineRecords(kind)) std::printf("%s\n", line.c_str());
  return 0;
}

}  // namespace

int runMachineObjectCommand(const std::string& command, const std::vector<std::string>& args) {
  if (command == "event") return event(args);
  if (command == "hostpath") {
    if (args.size() != 1) fail("usage: hostpath WINDOWSPATH");
    const std::string host = emulated::toHostPath(utf8ToUtf16(args[0]));
    if (host.empty()) fail("not a path of the machine: " + args[0]);
    std::printf("%s\n", host.c_str());
    return 0;
  }
  if (command == "mapping") return mapping(args);
  return listRecords(command);
}
