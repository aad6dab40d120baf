// Which version of a host file a remembered result is about. The package
// check keeps its verdicts, and read-only databases are shared, for as long
// as a file keeps its identity; a file replaced or rewritten gets another.
//
// A rewrite in place within one tick of the file system's clock keeps size,
// inode and time stamp, so an identity is trusted only once the file has
// been left alone for longer than that (`settled`).
#pragma once

#include <cstdint>
#include <string>
#include <tuple>

namespace emulated {

struct FileIdentity {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::int64_t size = 0;
  std::int64_t modified = 0;  // nanoseconds
  bool settled = false;

  auto key() const { return std::tie(device, inode, size, modified); }
  bool operator==(const FileIdentity& other) const { return key() == other.key(); }
  bool operator<(const FileIdentity& other) const { return key() < other.key(); }
};

// False when `hostPath` is not a regular file.
bool identifyFile(const std::string& hostPath, FileIdentity& identity);

}  // namespace emulated
