#include "platform/emulated/machine/machine_paths.h"

#include <dirent.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <vector>

#include "platform/emulated/machine/unicode.h"

namespace emulated {

namespace {

void makeDirectories(const std::string& path) {
  for (size_t pos = 1; pos != std::string::npos;) {
    pos = path.find('/', pos + 1);
    std::string prefix = path.substr(0, pos);
    if (::mkdir(prefix.c_str(), 0755) != 0 && errno != EEXIST) return;
  }
}

// "" when the current directory is gone (deleted under the process).
std::string currentDirectory() {
  std::vector<char> buffer(4096);
  while (::getcwd(buffer.data(), buffer.size()) == nullptr) {
    if (errno != ERANGE) return {};
    buffer.resize(buffer.size() * 2);
  }
  return buffer.data();
}

bool exists(const std::string& path) {
  struct stat st;
  return ::lstat(path.c_str(), &st) == 0;
}

// The entry of `dir` that matches `name` without regard to ASCII case, or
// `name` itself when there is none.
std::string matchComponent(const std::string& dir, const std::string& name) {
  std::string candidate = dir == "/" ? "/" + name : dir + "/" + name;
  if (exists(candidate)) return name;
  DIR* d = ::opendir(dir.c_str());
  if (d == nullptr) return name;
  std::string found = name;
  while (dirent* entry = ::readdir(d)) {
    if (::strcasecmp(entry->d_name, name.c_str()) == 0) {
      found = entry->d_name;
      break;
    }
  }
  ::closedir(d);
  return found;
}

std::vector<std::string> splitWindows(std::u16string_view path) {
  std::vector<std::string> parts;
  std::u16string current;
  auto flush = [&] {
    if (current.empty() || current == u".") {
    } else if (current == u".." && !parts.empty() && parts.back() != "..") {
      parts.pop_back();
    } else {
      parts.push_back(utf16ToUtf8(current));
    }
    current.clear();
  };
  for (char16_t c : path) {
    if (c == u'\\' || c == u'/') {
      flush();
    } else {
      current += c;
    }
  }
  flush();
  return parts;
}

std::vector<std::string> splitHost(const std::string& path) {
  std::vector<std::string> parts;
  size_t start = 0;
  while (start <= path.size()) {
    size_t end = path.find('/', start);
    if (end == std::string::npos) end = path.size();
    if (end > start) parts.push_back(path.substr(start, end - start));
    start = end + 1;
  }
  return parts;
}

bool isDriveLetter(char16_t c) {
  return (c >= u'A' && c <= u'Z') || (c >= u'a' && c <= u'z');
}

std::string driveRoot(char16_t letter) {
  char lower = static_cast<char>(letter | 0x20);
  if (lower == 'z') return "/";
  std::string root = machineRoot() + "/drive_" + lower;
  return root;
}

}  // namespace

std::string machineRoot() {
  std::string root;
  if (const char* env = std::getenv("INSTALLER_ORNEL_MACHINE"); env && *env) {
    root = env;
  } else {
    const char* home = std::getenv("HOME");
    root = std::string(home && *home ? home : "/tmp") + "/.local/share/installer_ornel/machine";
  }
  if (root[0] != '/') root = currentDirectory() + "/" + root;
  while (root.size() > 1 && root.back() == '/') root.pop_back();
  if (!exists(root + "/drive_c")) makeDirectories(root + "/drive_c");
  return root;
}

std::string toHostPath(std::u16string_view path) {
  if (path.empty()) return {};
  // \\?\C:\... is the long-path form of C:\...; other \\ forms are UNC.
  if (path.substr(0, 4) == u"\\\\?\\") path.remove_prefix(4);
  if (path.size() >= 2 && (path[0] == u'\\' || path[0] == u'/') && (path[1] == u'\\' || path[1] == u'/'))
    return {};

  std::string base;
  bool relative = false;
  if (path.size() >= 2 && path[1] == u':' && isDriveLetter(path[0])) {
    base = driveRoot(path[0]);
    path.remove_prefix(2);
  } else if (path[0] == u'\\' || path[0] == u'/') {
    // Rooted without a drive: the drive of the current directory.
    std::string cwd = currentDirectory();
    base = cwd.empty() ? "/" : driveRoot(toWindowsPath(cwd)[0]);
  } else {
    base = currentDirectory();
    if (base.empty()) return {};
    relative = true;
  }

  std::vector<std::string> parts = splitHost(base);
  // ".." never climbs above a drive's root, as on Windows.
  const size_t floor = relative ? 0 : parts.size();
  for (std::string& part : splitWindows(path)) {
    if (part == "..") {
      if (parts.size() > floor) parts.pop_back();
      continue;
    }
    parts.push_back(std::move(part));
  }
  // Resolve case component by component against what exists.
  std::string host;
  for (const std::string& part : parts) {
    std::string dir = host.empty() ? "/" : host;
    host += "/" + matchComponent(dir, part);
  }
  return host.empty() ? "/" : host;
}

std::u16string toWindowsPath(std::string_view hostPath) {
  std::string driveC = machineRoot() + "/drive_c";
  std::string_view rest = hostPath;
  std::u16string out;
  if (rest.substr(0, driveC.size()) == driveC &&
      (rest.size() == driveC.size() || rest[driveC.size()] == '/')) {
    out = u"C:";
    rest.remove_prefix(driveC.size());
  } else {
    out = u"Z:";
  }
  std::u16string tail = utf8ToUtf16(rest);
  for (char16_t& c : tail) {
    if (c == u'/') c = u'\\';
  }
  out += tail.empty() ? u"\\" : tail;
  return out;
}

}  // namespace emulated
