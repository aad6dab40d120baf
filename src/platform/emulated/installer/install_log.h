// The Windows Installer log: the process-wide settings of MsiEnableLogW
// and the log file of one engine operation (a package session opened by
// MsiOpenPackageW, an installation or removal).
//
// An operation takes the settings in force when it starts, opens the file
// then (truncated, or appended to with INSTALLLOGATTRIBUTES_APPEND) and
// writes "=== Logging started: ... ===" (the verbose form with
// INSTALLLOGMODE_VERBOSE); close() writes "=== Logging stopped: ... ===".
// A file that cannot be opened leaves the operation without a log, as on
// Windows; the operation itself goes on.
//
// INSTALLLOGMODE_LOGONLYONERROR: the lines are kept in memory and reach the
// file only when the operation fails. When it succeeds nothing is written,
// and a file that the operation created or truncated is removed.
//
// Lines are UTF-8 with CRLF ends. They are written every 20 lines, or each
// one with INSTALLLOGATTRIBUTES_FLUSHEACHLINE, and at close. One mutex
// guards the file, so an operation may be driven from several threads.
#pragma once

#include <ctime>
#include <mutex>
#include <string>
#include <string_view>

#include "platform/emulated/msi_ui.h"

namespace emulated::installer {

struct LogSettings {
  DWORD mode = 0;
  std::u16string path;  // a Windows path; empty: no log
  DWORD attributes = 0;
};

LogSettings currentLogSettings();

// Whether a log of `mode` records messages of this type: its bit is set,
// or INSTALLLOGMODE_VERBOSE is (which logs what every other mode does).
// Progress, initialize, terminate and show-dialog messages are never
// logged: their bits mean something else in a log mode.
bool logRecords(DWORD mode, UINT messageType);

class InstallLog {
 public:
  InstallLog(const LogSettings& settings, const std::tm& now);
  ~InstallLog();  // closes as a success when close() was not called
  InstallLog(const InstallLog&) = delete;
  InstallLog& operator=(const InstallLog&) = delete;

  bool active() const { return fd_ >= 0; }
  DWORD mode() const { return mode_; }

  void writeLine(std::u16string_view line);

  // The footer, then the file's fate under LOGONLYONERROR. Later calls
  // change nothing.
  void close(bool failed, const std::tm& now);

 private:
  void flushLocked();

  std::mutex mutex_;
  int fd_ = -1;
  DWORD mode_ = 0;
  bool flushEachLine_ = false;
  bool onlyOnError_ = false;
  bool removeOnSuccess_ = false;  // the file was created or truncated by us
  std::string hostPath_;
  std::string pending_;
  int pendingLines_ = 0;
};

}  // namespace emulated::installer
