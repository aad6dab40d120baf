// Events of the emulated machine.
//
// A named event is a small file under <root>/kernel/events: its first byte
// is the state ('1' signalled, '0' not), its second the kind ('m' manual
// reset, 'a' auto reset). Every process of the machine sees the same file,
// so the bootstrapper (or the scenario tool) and the installer UI share the
// event. Changes take an exclusive flock on the file, so that an auto-reset
// event releases exactly one waiter; a wait polls the state.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>

#include "platform/emulated/kernel/handle_table.h"
#include "platform/emulated/kernel/named_objects.h"
#include "platform/emulated/kernel32.h"
#include "platform/emulated/machine/machine_paths.h"

namespace emulated {

namespace {

// How often a wait looks at the state again.
constexpr std::chrono::milliseconds kPollPeriod{2};

class EventObject : public KernelObject {
 public:
  EventObject(int fd, DWORD access) : fd_(fd), access_(access) {}
  ~EventObject() override { ::close(fd_); }

  bool mayModify() const { return (access_ & (EVENT_MODIFY_STATE | GENERIC_WRITE | GENERIC_ALL)) != 0; }
  bool maySynchronize() const { return (access_ & (SYNCHRONIZE | GENERIC_READ | GENERIC_ALL)) != 0; }

  bool set(bool signalled) {
    Locked lock(fd_);
    char state = signalled ? '1' : '0';
    return ::pwrite(fd_, &state, 1, 0) == 1;
  }

  // Takes the event when it is signalled: an auto-reset event is reset in
  // the same locked step, so only one waiter gets it.
  bool tryTake() {
    Locked lock(fd_);
    char bytes[2] = {'0', 'm'};
    if (::pread(fd_, bytes, 2, 0) < 1 || bytes[0] != '1') return false;
    if (bytes[1] == 'a') {
      char reset = '0';
      (void)::pwrite(fd_, &reset, 1, 0);
    }
    return true;
  }

 private:
  struct Locked {
    explicit Locked(int fd) : fd(fd) { ::flock(fd, LOCK_EX); }
    ~Locked() { ::flock(fd, LOCK_UN); }
    int fd;
  };

  int fd_;
  DWORD access_;
};

// The host file of a named event, or "" when the name is not valid.
std::string eventFile(LPCWSTR name) { return namedObjectFile(name, "events"); }

void makeEventDirectory() {
  const std::string root = machineRoot();
  ::mkdir((root + "/kernel").c_str(), 0755);
  ::mkdir((root + "/kernel/events").c_str(), 0755);
}

std::string privateEventFile() {
  makeEventDirectory();
  std::string path = machineRoot() + "/kernel/events/.unnamed-XXXXXX";
  int fd = ::mkstemp(path.data());
  if (fd < 0) return {};
  ::close(fd);
  return path;
}

HANDLE openEventFile(const std::string& path, DWORD access) {
  int fd = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
  if (fd < 0) {
    SetLastError(ERROR_FILE_NOT_FOUND);
    return nullptr;
  }
  return insertHandle(std::make_shared<EventObject>(fd, access));
}

}  // namespace

}  // namespace emulated

using emulated::EventObject;

extern "C" HANDLE CreateEventW(LPSECURITY_ATTRIBUTES, BOOL bManualReset, BOOL bInitialState, LPCWSTR lpName) {
  const bool named = lpName != nullptr && lpName[0] != 0;
  std::string path = named ? emulated::eventFile(lpName) : emulated::privateEventFile();
  if (path.empty()) {
    SetLastError(named ? ERROR_INVALID_NAME : ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  emulated::makeEventDirectory();
  // O_EXCL tells a new event from an existing one, which keeps its state.
  int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
  const bool existed = fd < 0;
  if (fd >= 0) {
    const char initial[2] = {bInitialState ? '1' : '0', bManualReset ? 'm' : 'a'};
    const bool written = ::write(fd, initial, 2) == 2;
    ::close(fd);
    if (!written) {
      SetLastError(ERROR_DISK_FULL);
      return nullptr;
    }
  }
  HANDLE handle = emulated::openEventFile(path, EVENT_ALL_ACCESS);
  if (!named) ::unlink(path.c_str());  // the open descriptor keeps it
  if (handle != nullptr) SetLastError(existed ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
  return handle;
}

extern "C" HANDLE OpenEventW(DWORD dwDesiredAccess, BOOL, LPCWSTR lpName) {
  if (lpName == nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  const std::string path = emulated::eventFile(lpName);
  if (path.empty()) {
    SetLastError(ERROR_INVALID_NAME);
    return nullptr;
  }
  return emulated::openEventFile(path, dwDesiredAccess);
}

static BOOL changeEvent(HANDLE hEvent, bool signalled) {
  auto event = emulated::lookupHandleAs<EventObject>(hEvent);
  if (!event) {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  }
  if (!event->mayModify()) {
    SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
  }
  if (!event->set(signalled)) {
    SetLastError(ERROR_WRITE_FAULT);
    return FALSE;
  }
  return TRUE;
}

extern "C" BOOL SetEvent(HANDLE hEvent) { return changeEvent(hEvent, true); }

extern "C" BOOL ResetEvent(HANDLE hEvent) { return changeEvent(hEvent, false); }

extern "C" DWORD WaitForSingleObject(HANDLE hHandle, DWORD dwMilliseconds) {
  auto event = emulated::lookupHandleAs<EventObject>(hHandle);
  if (!event) {
    SetLastError(ERROR_INVALID_HANDLE);
    return WAIT_FAILED;
  }
  if (!event->maySynchronize()) {
    SetLastError(ERROR_ACCESS_DENIED);
    return WAIT_FAILED;
  }
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(dwMilliseconds);
  for (;;) {
    if (event->tryTake()) return WAIT_OBJECT_0;
    if (dwMilliseconds != INFINITE && std::chrono::steady_clock::now() >= deadline) return WAIT_TIMEOUT;
    std::this_thread::sleep_for(emulated::kPollPeriod);
  }
}
