#include "install/tracing/tracer.h"

#include <cstdlib>
#include <cstring>
#include <new>

#include "install/tracing/log_paths.h"
#include "install/tracing/runtime_text.h"
#include "install/tracing/trace_line_stream.h"
#include "install/tracing/trace_record.h"

namespace installer::tracing {

Tracer::Tracer() : Tracer(std::time(nullptr)) {}

Tracer::Tracer(std::time_t creationTime) {
  LogFileNames names = logFileNames(creationTime);
  instLogPath_ = std::move(names.trace);
  msiLogPath_ = std::move(names.installer);
  line_.reserve(kRecordSize + sizeof stamp_ + 2);
}

Tracer::~Tracer() { shutDown(); }

std::uint32_t Tracer::beginRecord(std::uint32_t level, char*& buffer, std::uint32_t size) {
  if (!passes(level)) {
    std::free(buffer);
    buffer = nullptr;
    return 0;
  }
  // realloc to 0 bytes may free and return null; a record always has room.
  char* resized = static_cast<char*>(std::realloc(buffer, size == 0 ? 1 : size));
  if (resized == nullptr) {
    std::free(buffer);
    buffer = nullptr;
    return kOutOfMemory;
  }
  buffer = resized;
  return 0;
}

void Tracer::writeRecord(char* buffer, std::uint32_t length) noexcept {
  if (buffer != nullptr) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (logFile_.writable()) {
      try {
        writeLine(buffer, length);
      } catch (const std::bad_alloc&) {
        // The line is lost; the file stays usable for the next one.
      }
    }
  }
  std::free(buffer);
}

// A text-mode file stores every line feed as CR LF, the ones inside the
// record included; the line is then written in one call.
void Tracer::writeLine(const char* text, std::uint32_t length) {
  std::size_t stampLength = 0;
  const char* stamp = timeStamp(&stampLength);
  line_.assign(stamp, stampLength);
  const char* end = text + length;
  for (const char* at = text; at < end;) {
    const char* feed = static_cast<const char*>(std::memchr(at, '\n', end - at));
    if (feed == nullptr) {
      line_.append(at, end);
      break;
    }
    line_.append(at, feed).append("\r\n");
    at = feed + 1;
  }
  line_.append("\r\n");
  logFile_.write(line_.data(), line_.size());
}

// "%H:%M:%S\t" of the local time now, formatted once per second.
const char* Tracer::timeStamp(std::size_t* length) {
  const std::time_t now = std::time(nullptr);
  if (now != stampSecond_) {
    std::tm local{};
    stampLength_ = localtime_s(&local, &now) == 0 ? std::strftime(stamp_, sizeof stamp_, "%H:%M:%S\t", &local) : 0;
    stampSecond_ = now;
  }
  *length = stampLength_;
  return stamp_;
}

std::uint32_t Tracer::traceText(std::basic_string_view<WCHAR> text, std::uint32_t level) noexcept {
  if (!passes(level)) return 0;
  TraceRecord record(*this, level);
  TraceLineStream stream(record);
  stream << text;
  record.write(stream.length());
  return 0;
}

std::uint32_t Tracer::setLogDirectory(std::basic_string_view<WCHAR> directory) {
  const std::string narrow = toRuntimeMultibyte(directory);
  std::lock_guard<std::mutex> lock(mutex_);
  try {
    // Both new paths are built before either is replaced, so a failure
    // leaves both as they were.
    std::string trace = prefixLogDirectory(narrow, instLogPath_);
    std::string installer = prefixLogDirectory(narrow, msiLogPath_);
    instLogPath_.swap(trace);
    msiLogPath_.swap(installer);
  } catch (const std::bad_alloc&) {
    throw BadAllocation();
  }
  return 0;
}

std::uint32_t Tracer::openLogFile() noexcept {
  std::lock_guard<std::mutex> lock(mutex_);
  if (logFile_.isOpen()) return 0;
  try {
    // Both steps name the file by the same wide conversion of the path.
    const platform::wstring path = fromRuntimeMultibyte(instLogPath_);
    createFileIfAbsent(path);
    logFile_.open(path);
  } catch (...) {
    logFile_.setFailed();
  }
  return logFile_.isOpen() ? 0 : kOpenFailed;
}

void Tracer::closeLogFile() noexcept {
  std::lock_guard<std::mutex> lock(mutex_);
  logFile_.close();
}

bool Tracer::isLogFileOpen() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return logFile_.isOpen();
}

std::string Tracer::getMsiLogPath() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return msiLogPath_;
}

std::string Tracer::getInstLogPath() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return instLogPath_;
}

void Tracer::shutDown() noexcept {
  if (isLogFileOpen() && passes(kDefaultLevel)) {
    TraceRecord record(*this, kDefaultLevel);
    TraceLineStream stream(record);
    stream << "tracer closed";
    record.write(stream.length());
  }
  closeLogFile();
}

}  // namespace installer::tracing
