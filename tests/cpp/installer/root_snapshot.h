// A snapshot of a folder tree: every folder (as "name/") and every file with its bytes, dot files included.
#pragma once

#include <dirent.h>

#include <fstream>
#include <iterator>
#include <map>
#include <string>

namespace test_support {

using Tree = std::map<std::string, std::string>;

inline void snapshot(const std::string& path, const std::string& name, Tree& out) {
  DIR* dir = ::opendir(path.c_str());
  if (dir == nullptr) {
    std::ifstream in(path, std::ios::binary);
    if (in) out[name] = std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return;
  }
  out[name + "/"] = "";
  while (dirent* entry = ::readdir(dir)) {
    const std::string child = entry->d_name;
    if (child != "." && child != "..") snapshot(path + "/" + child, name + "/" + child, out);
  }
  ::closedir(dir);
}

}  // namespace test_support
