// A compound file (the structured storage that holds a Windows Installer
// package), read defensively. Microsoft's Compound File Binary format
// describes a small file system inside one file: a header, a file
// allocation table (FAT) whose own sectors the DIFAT lists, a mini FAT for
// streams under the mini stream cutoff, and a directory of storages and
// streams kept as binary trees.
//
// Invariants once open() succeeded:
//   - every sector and mini sector that a chain names lies wholly inside
//     the file or the mini stream; no chain has a cycle; no sector belongs
//     to two chains; every chain is exactly as long as its stream's size
//     asks;
//   - the directory tree is acyclic and shares no entry; every reachable
//     entry has a terminated name, a known type and colour;
//   - reading a listed stream therefore touches only sectors of that stream.
// Nothing but the header, the DIFAT, the FAT, the mini FAT and the
// directory is read to get there: large streams are walked, not read.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace emulated {

class CompoundFile {
 public:
  // A stream directly inside the root storage.
  struct Stream {
    std::u16string name;  // as stored in the directory
    std::uint64_t size = 0;
    std::uint32_t start = 0;
  };

  // The file at `hostPath`, or null with `problem` saying what is wrong.
  // `missing` is set when the file could not be opened at all.
  static std::unique_ptr<CompoundFile> open(const std::string& hostPath, std::string& problem, bool& missing);

  ~CompoundFile();
  CompoundFile(const CompoundFile&) = delete;
  CompoundFile& operator=(const CompoundFile&) = delete;

  const std::vector<Stream>& streams() const { return streams_; }
  // The root storage's class id, as its 16 bytes are stored.
  const std::string& rootClass() const { return rootClass_; }
  const Stream* find(const std::u16string& name) const;
  // The stream's bytes; false on a read error.
  bool read(const Stream& stream, std::string& bytes) const;

 private:
  class Checker;
  explicit CompoundFile(int fd) : fd_(fd) {}
  bool readSector(std::uint32_t sector, char* into) const;

  int fd_;
  std::uint32_t sectorSize_ = 512;
  std::vector<std::uint32_t> fat_;
  std::vector<std::uint32_t> miniFat_;
  std::vector<std::uint32_t> miniStreamSectors_;
  std::vector<Stream> streams_;
  std::string rootClass_;
};

}  // namespace emulated
