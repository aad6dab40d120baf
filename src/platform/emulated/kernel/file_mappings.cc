// Named file mappings of the emulated machine, backed by the paging file.
//
// A named mapping is a host file under <root>/kernel/mappings: a header page
// ("PROT <protection> SIZE <bytes>\n", zero-padded) followed by the mapping's
// bytes. A view is a MAP_SHARED mmap of those bytes, so what one process
// writes into its view is what every other view of the mapping shows at
// once, as on Windows. The header is written before the data's size is set
// and the file is created under O_EXCL, so a process that opens the name
// finds either no file or a whole header. Unnamed mappings are private to
// the process (the file is unlinked once open). The file of a named
// mapping outlives its handles; whoever created it removes it
// (the bootstrapper, the tests).
//
// Views are kept in a process-wide table (base address to length) under a
// mutex, for UnmapViewOfFile.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>
#include <mutex>
#include <string>

#include "platform/emulated/kernel/handle_table.h"
#include "platform/emulated/kernel/named_objects.h"
#include "platform/emulated/kernel32.h"
#include "platform/emulated/machine/machine_paths.h"
#include "platform/emulated/machine/unicode.h"

#define ERROR_INVALID_ADDRESS 487L

namespace emulated {

namespace {

size_t headerSize() { return static_cast<size_t>(::sysconf(_SC_PAGESIZE)); }

class MappingObject : public KernelObject {
 public:
  MappingObject(int fd, DWORD protection, size_t size, DWORD access)
      : fd_(fd), protection_(protection), size_(size), access_(access) {}
  ~MappingObject() override { ::close(fd_); }

  int fd() const { return fd_; }
  size_t size() const { return size_; }

  // Whether a view with `access` is allowed by the handle and the protection.
  bool allows(DWORD access) const {
    const DWORD handleRights = access_ & (FILE_MAP_ALL_ACCESS | FILE_MAP_COPY);
    if ((access & ~handleRights & (FILE_MAP_READ | FILE_MAP_WRITE)) != 0) return false;
    if ((access & FILE_MAP_WRITE) != 0 && protection_ != PAGE_READWRITE) return false;
    return true;
  }

 private:
  int fd_;
  DWORD protection_;
  size_t size_;
  DWORD access_;
};

std::mutex viewsMutex;
std::map<const void*, size_t>& views() {
  static auto* table = new std::map<const void*, size_t>;  // outlives exit-time callers
  return *table;
}

bool readHeader(int fd, DWORD* protection, size_t* size) {
  char header[64] = {};
  if (::pread(fd, header, sizeof header - 1, 0) <= 0) return false;
  unsigned long prot = 0;
  unsigned long long bytes = 0;
  if (std::sscanf(header, "PROT %lu SIZE %llu", &prot, &bytes) != 2) return false;
  *protection = static_cast<DWORD>(prot);
  *size = static_cast<size_t>(bytes);
  return true;
}

bool writeHeader(int fd, DWORD protection, size_t size) {
  std::string header = "PROT " + std::to_string(protection) + " SIZE " + std::to_string(size) + "\n";
  return ::pwrite(fd, header.data(), header.size(), 0) == static_cast<ssize_t>(header.size()) &&
         ::ftruncate(fd, static_cast<off_t>(headerSize() + size)) == 0;
}

HANDLE failWith(DWORD error) {
  SetLastError(error);
  return nullptr;
}

HANDLE openExisting(const std::string& path, DWORD access) {
  int fd = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
  if (fd < 0) return failWith(ERROR_FILE_NOT_FOUND);
  DWORD protection = 0;
  size_t size = 0;
  if (!readHeader(fd, &protection, &size)) {
    ::close(fd);
    return failWith(ERROR_FILE_NOT_FOUND);
  }
  return insertHandle(std::make_shared<MappingObject>(fd, protection, size, access));
}

std::string privateMappingFile() {
  const std::string folder = machineRoot() + "/kernel";
  ::mkdir(folder.c_str(), 0755);
  ::mkdir((folder + "/mappings").c_str(), 0755);
  return folder + "/mappings/.unnamed-XXXXXX";
}

HANDLE createMapping(HANDLE hFile, DWORD flProtect, DWORD sizeHigh, DWORD sizeLow, const std::u16string* name) {
  if (hFile != INVALID_HANDLE_VALUE) return failWith(ERROR_CALL_NOT_IMPLEMENTED);  // only the paging file
  const DWORD protection = flProtect & 0xFF;
  const unsigned long long size = (static_cast<unsigned long long>(sizeHigh) << 32) | sizeLow;
  if ((protection != PAGE_READONLY && protection != PAGE_READWRITE && protection != PAGE_WRITECOPY) ||
      size == 0) {
    return failWith(ERROR_INVALID_PARAMETER);
  }
  std::string path = name ? namedObjectFile(name->c_str(), "mappings") : privateMappingFile();
  if (path.empty()) return failWith(ERROR_INVALID_NAME);
  int fd = name ? ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0644) : ::mkstemp(path.data());
  if (fd < 0 && name && errno == EEXIST) {
    HANDLE existing = openExisting(path, FILE_MAP_ALL_ACCESS);
    if (existing != nullptr) SetLastError(ERROR_ALREADY_EXISTS);
    return existing;
  }
  if (fd < 0) return failWith(ERROR_ACCESS_DENIED);
  if (!name) ::unlink(path.c_str());  // the descriptor keeps it
  if (!writeHeader(fd, protection, static_cast<size_t>(size))) {
    ::close(fd);
    if (name) ::unlink(path.c_str());
    return failWith(ERROR_DISK_FULL);
  }
  HANDLE handle = insertHandle(std::make_shared<MappingObject>(fd, protection, static_cast<size_t>(size),
                                                               FILE_MAP_ALL_ACCESS));
  SetLastError(ERROR_SUCCESS);
  return handle;
}

HANDLE openMapping(DWORD access, const std::u16string& name) {
  const std::string path = namedObjectFile(name.c_str(), "mappings");
  if (path.empty()) return failWith(ERROR_INVALID_NAME);
  return openExisting(path, access);
}

}  // namespace

}  // namespace emulated

using emulated::MappingObject;

extern "C" HANDLE CreateFileMappingW(HANDLE hFile, LPSECURITY_ATTRIBUTES, DWORD flProtect, DWORD dwMaximumSizeHigh,
                                     DWORD dwMaximumSizeLow, LPCWSTR lpName) {
  const bool named = lpName != nullptr && lpName[0] != 0;
  std::u16string name = named ? std::u16string(lpName) : std::u16string();
  return emulated::createMapping(hFile, flProtect, dwMaximumSizeHigh, dwMaximumSizeLow, named ? &name : nullptr);
}

extern "C" HANDLE CreateFileMappingA(HANDLE hFile, LPSECURITY_ATTRIBUTES, DWORD flProtect, DWORD dwMaximumSizeHigh,
                                     DWORD dwMaximumSizeLow, LPCSTR lpName) {
  const bool named = lpName != nullptr && lpName[0] != 0;
  std::u16string name = named ? emulated::utf8ToUtf16(lpName) : std::u16string();
  return emulated::createMapping(hFile, flProtect, dwMaximumSizeHigh, dwMaximumSizeLow, named ? &name : nullptr);
}

extern "C" HANDLE OpenFileMappingW(DWORD dwDesiredAccess, BOOL, LPCWSTR lpName) {
  if (lpName == nullptr) return emulated::failWith(ERROR_INVALID_PARAMETER);
  return emulated::openMapping(dwDesiredAccess, lpName);
}

extern "C" HANDLE OpenFileMappingA(DWORD dwDesiredAccess, BOOL, LPCSTR lpName) {
  if (lpName == nullptr) return emulated::failWith(ERROR_INVALID_PARAMETER);
  return emulated::openMapping(dwDesiredAccess, emulated::utf8ToUtf16(lpName));
}

extern "C" LPVOID MapViewOfFile(HANDLE hFileMappingObject, DWORD dwDesiredAccess, DWORD dwFileOffsetHigh,
                                DWORD dwFileOffsetLow, SIZE_T dwNumberOfBytesToMap) {
  auto mapping = emulated::lookupHandleAs<MappingObject>(hFileMappingObject);
  if (!mapping) return emulated::failWith(ERROR_INVALID_HANDLE);
  if (!mapping->allows(dwDesiredAccess)) return emulated::failWith(ERROR_ACCESS_DENIED);
  const unsigned long long offset = (static_cast<unsigned long long>(dwFileOffsetHigh) << 32) | dwFileOffsetLow;
  // Views start at the allocation granularity, which is the page size here.
  if (offset % emulated::headerSize() != 0 || offset >= mapping->size()) {
    return emulated::failWith(ERROR_INVALID_PARAMETER);
  }
  const size_t rest = mapping->size() - static_cast<size_t>(offset);
  const size_t length = dwNumberOfBytesToMap == 0 ? rest : dwNumberOfBytesToMap;
  if (length > rest) return emulated::failWith(ERROR_ACCESS_DENIED);
  const int prot = (dwDesiredAccess & (FILE_MAP_WRITE | FILE_MAP_COPY)) != 0 ? PROT_READ | PROT_WRITE : PROT_READ;
  const int flags = (dwDesiredAccess & FILE_MAP_COPY) != 0 ? MAP_PRIVATE : MAP_SHARED;
  void* view = ::mmap(nullptr, length, prot, flags, mapping->fd(),
                      static_cast<off_t>(emulated::headerSize() + offset));
  if (view == MAP_FAILED) return emulated::failWith(ERROR_NOT_ENOUGH_MEMORY);
  std::lock_guard<std::mutex> lock(emulated::viewsMutex);
  emulated::views()[view] = length;
  return view;
}

extern "C" BOOL UnmapViewOfFile(LPCVOID lpBaseAddress) {
  size_t length = 0;
  {
    std::lock_guard<std::mutex> lock(emulated::viewsMutex);
    auto found = emulated::views().find(lpBaseAddress);
    if (found == emulated::views().end()) {
      SetLastError(ERROR_INVALID_ADDRESS);
      return FALSE;
    }
    length = found->second;
    emulated::views().erase(found);
  }
  ::munmap(const_cast<void*>(lpBaseAddress), length);
  return TRUE;
}
