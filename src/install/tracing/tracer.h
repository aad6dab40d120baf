// The tracer: decides by a numeric level which trace lines are built at all,
// writes the lines that pass, each with a time stamp, to the installer's
// trace file while file tracing is on, and owns the two log paths of the
// run: its own trace file and the log it hands to Windows Installer.
//
// Locking: one mutex serialises opening, closing and writing the file and
// guards the two paths, so each line reaches the file whole and in one
// write. Building a record takes no lock (each record belongs to the thread
// that builds it). The level is one atomic 32-bit word read without a lock
// at every trace site; a change is seen by the sites that run after it.
#pragma once

#include <atomic>
#include <cstdint>
#include <ctime>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "install/tracing/log_file.h"
#include "platform/windows.h"

namespace installer::tracing {

// The interface trace sites reach the tracer through. The first three
// operations are reserved: they do nothing and return 0.
class TracerInterface {
 public:
  virtual ~TracerInterface() = default;
  virtual std::uint32_t reserved0() = 0;
  virtual std::uint32_t reserved1() = 0;
  virtual std::uint32_t reserved2() = 0;
  // When `level` does not pass, frees `buffer`, sets it to null and returns
  // 0. Else resizes `buffer` to `size` bytes: 0 on success; on failure frees
  // it, sets it to null and returns kOutOfMemory.
  virtual std::uint32_t beginRecord(std::uint32_t level, char*& buffer, std::uint32_t size) = 0;
};

class Tracer final : public TracerInterface {
 public:
  static constexpr std::uint32_t kDefaultLevel = 700;
  // From this trace level on, a line may grow beyond kRecordSize bytes.
  static constexpr std::uint32_t kUnboundedLineLevel = 1000;
  static constexpr std::uint32_t kRecordSize = 512;
  static constexpr std::uint32_t kOpenFailed = 0x8000004B;
  static constexpr std::uint32_t kOutOfMemory = 0x80000041;

  // Level 700, file tracing off, both log paths named after the local time
  // of `creationTime` (now by default) as bare file names.
  Tracer();
  explicit Tracer(std::time_t creationTime);
  // Does what shutDown() does.
  ~Tracer() override;
  Tracer(const Tracer&) = delete;
  Tracer& operator=(const Tracer&) = delete;

  // True when a line of `level` is to be built: level <= traceLevel().
  bool passes(std::uint32_t level) const noexcept {
    return level <= traceLevel_.load(std::memory_order_relaxed);
  }
  std::uint32_t traceLevel() const noexcept { return traceLevel_.load(std::memory_order_relaxed); }
  // Any value, 0 included; it takes effect at the next trace site.
  void setTraceLevel(std::uint32_t level) noexcept { traceLevel_.store(level, std::memory_order_relaxed); }

  std::uint32_t reserved0() override { return 0; }
  std::uint32_t reserved1() override { return 0; }
  std::uint32_t reserved2() override { return 0; }
  std::uint32_t beginRecord(std::uint32_t level, char*& buffer, std::uint32_t size) override;

  // Writes one line (time stamp, the `length` bytes, CR LF) when `buffer`
  // is not null and the file is open and writable, then frees `buffer`
  // (from malloc/realloc) in every case.
  void writeRecord(char* buffer, std::uint32_t length) noexcept;

  // Writes `text` as UTF-8, without prefix, when `level` passes. Returns 0.
  std::uint32_t traceText(std::basic_string_view<WCHAR> text, std::uint32_t level) noexcept;

  // Puts `directory` in front of both log paths (again on every call).
  // Throws BadCast ("bad cast") when the directory has a character with no
  // narrow form, BadAllocation ("bad allocation") when memory runs out; the
  // paths are then left as they were. Returns 0.
  std::uint32_t setLogDirectory(std::basic_string_view<WCHAR> directory);

  // Turns file tracing on: opens the trace file for appending, creating it
  // when absent. Returns 0 when the file is open afterwards, else
  // kOpenFailed and tracing stays off. Called while the file is already open
  // it changes nothing and returns 0: the lines keep going to the open file.
  std::uint32_t openLogFile() noexcept;

  // Turns file tracing off; nothing happens when it is off.
  void closeLogFile() noexcept;

  bool isLogFileOpen() const;

  // Copies of the log paths, narrow, in the C runtime's multibyte encoding.
  std::string getMsiLogPath() const;
  std::string getInstLogPath() const;

  // Ends the tracer's file life: writes "tracer closed" when the file is
  // open and the level is at least 700, then closes the file. The
  // destructor does this; the process-wide tracer does it at process exit.
  void shutDown() noexcept;

 private:
  // Caller holds mutex_.
  void writeLine(const char* text, std::uint32_t length);
  const char* timeStamp(std::size_t* length);

  mutable std::mutex mutex_;
  LogFile logFile_;
  std::atomic<std::uint32_t> traceLevel_{kDefaultLevel};
  std::string instLogPath_;
  std::string msiLogPath_;

  // The line being written and the stamp of the last second written; kept
  // across lines so that writing allocates nothing in the steady state.
  // Both under mutex_.
  std::string line_;
  std::time_t stampSecond_ = -1;
  char stamp_[80] = {};
  std::size_t stampLength_ = 0;
};

static_assert(std::atomic<std::uint32_t>::is_always_lock_free, "the level is read without a lock");

// Tracer::writeRecord, under the name trace sites use.
inline void writeRecord(Tracer& tracer, char* buffer, std::uint32_t length) noexcept {
  tracer.writeRecord(buffer, length);
}

// The process-wide tracer, created on the first call (once, also when
// threads race to it). At process exit it is shut down (see shutDown) but
// not freed, so late trace sites on threads that still run find a tracer
// that discards their lines instead of freed memory.
std::shared_ptr<Tracer> getTracer();

// The process-wide tracer if it has been created, else null; never creates.
std::shared_ptr<Tracer> existingTracer() noexcept;

}  // namespace installer::tracing
