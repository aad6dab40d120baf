#include "platform/emulated/installer/install_log.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "platform/emulated/installer/ui_texts.h"
#include "platform/emulated/kernel32.h"
#include "platform/emulated/machine/machine_paths.h"
#include "platform/emulated/machine/unicode.h"

namespace emulated::installer {

namespace {

constexpr int kLinesPerFlush = 20;

std::mutex& settingsMutex() {
  static std::mutex mutex;
  return mutex;
}

LogSettings& settings() {
  static LogSettings instance;
  return instance;
}

std::u16string callingProcess() {
  WCHAR buffer[MAX_PATH * 4];
  const DWORD size = GetModuleFileNameW(nullptr, buffer, MAX_PATH * 4);
  return std::u16string(buffer, size);
}

std::u16string header(DWORD mode, const std::tm& now) {
  const std::u16string when = installerDate(now) + u"  " + installerTime(now);
  if ((mode & INSTALLLOGMODE_VERBOSE) == 0) return u"=== Logging started: " + when + u" ===";
  return u"=== Verbose logging started: " + when + u"  Build type: SHIP UNICODE 5.00.10011.00  Calling process: " +
         callingProcess() + u" ===";
}

}  // namespace

LogSettings currentLogSettings() {
  std::lock_guard<std::mutex> lock(settingsMutex());
  return settings();
}

bool logRecords(DWORD mode, UINT messageType) {
  const UINT kind = messageType & 0xFF000000u;
  if (kind == INSTALLMESSAGE_PROGRESS || kind == INSTALLMESSAGE_INITIALIZE || kind == INSTALLMESSAGE_TERMINATE ||
      kind == INSTALLMESSAGE_SHOWDIALOG || kind == INSTALLMESSAGE_PERFORMANCE) {
    return false;
  }
  if ((mode & INSTALLLOGMODE_VERBOSE) != 0) return true;
  const UINT bit = kind >> 24;
  return bit < 32 && (mode & (1u << bit)) != 0;
}

InstallLog::InstallLog(const LogSettings& settings, const std::tm& now)
    : mode_(settings.mode),
      flushEachLine_((settings.attributes & INSTALLLOGATTRIBUTES_FLUSHEACHLINE) != 0),
      onlyOnError_((settings.mode & INSTALLLOGMODE_LOGONLYONERROR) != 0) {
  if (settings.path.empty() || settings.mode == 0) return;
  hostPath_ = toHostPath(settings.path);
  if (hostPath_.empty()) return;
  const bool append = (settings.attributes & INSTALLLOGATTRIBUTES_APPEND) != 0;
  struct stat st;
  const bool existed = ::stat(hostPath_.c_str(), &st) == 0;
  // Windows Installer does not create the log's folder: a missing one
  // fails the open like any other unwritable path.
  fd_ = ::open(hostPath_.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | (append ? O_APPEND : O_TRUNC), 0644);
  if (fd_ < 0) return;
  removeOnSuccess_ = !append || !existed;
  writeLine(header(mode_, now));
}

InstallLog::~InstallLog() { close(false, localNow()); }

void InstallLog::writeLine(std::u16string_view line) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (fd_ < 0) return;
  pending_ += utf16ToUtf8(line);
  pending_ += "\r\n";
  ++pendingLines_;
  if (!onlyOnError_ && (flushEachLine_ || pendingLines_ >= kLinesPerFlush)) flushLocked();
}

void InstallLog::flushLocked() {
  for (size_t done = 0; done < pending_.size();) {
    const ssize_t n = ::write(fd_, pending_.data() + done, pending_.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;  // a full disk loses the log's tail, never the operation
    done += static_cast<size_t>(n);
  }
  pending_.clear();
  pendingLines_ = 0;
}

void InstallLog::close(bool failed, const std::tm& now) {
  if (!active()) return;
  writeLine(u"=== Logging stopped: " + installerDate(now) + u"  " + installerTime(now) + u" ===");
  std::lock_guard<std::mutex> lock(mutex_);
  const bool keep = !onlyOnError_ || failed;
  if (keep) flushLocked();
  ::close(fd_);
  fd_ = -1;
  if (!keep && removeOnSuccess_) ::unlink(hostPath_.c_str());
}

}  // namespace emulated::installer

extern "C" UINT MsiEnableLogW(DWORD dwLogMode, LPCWSTR szLogFile, DWORD dwLogAttributes) {
  using emulated::installer::settings;
  std::lock_guard<std::mutex> lock(emulated::installer::settingsMutex());
  if (szLogFile == nullptr || szLogFile[0] == u'\0') {
    settings() = {};
    return ERROR_SUCCESS;
  }
  if (dwLogMode == 0) return ERROR_INVALID_PARAMETER;
  settings() = {dwLogMode, szLogFile, dwLogAttributes};
  return ERROR_SUCCESS;
}
