// The engine's one message path: every message of an operation (a package
// session, an installation, a removal) goes through a MessageChannel, which
// delivers it to the external UI handler and writes the log lines the log
// mode selects.
//
// Delivery follows Microsoft's documentation of MsiSetExternalUIW and of
// the handler's return values:
// - the handler is called on the thread that posts, the calling thread of
//   the engine, with the context it was registered with;
// - only messages whose bit, 1 << (type >> 24), is in its filter reach it;
// - its answer comes back to the engine: 0 (not handled), -1 (an error in
//   the handler), IDOK, or the button pressed; IDCANCEL from any message
//   means the user cancelled, and the engine ends the running action with
//   ERROR_INSTALL_USEREXIT (1602);
// - the emulated internal UI shows nothing: a message the handler does not
//   take is answered 0.
// A message is logged whether or not the handler took it, as Windows logs
// handled messages too.
//
// Usage by the engine:
//   MessageChannel channel;  // at MsiOpenPackageW / MsiInstallProductW
//   UINT result = channel.actionStart(u"CostFinalize", actionTextDescription).resultCode();
//   if (result == ERROR_SUCCESS) result = costFinalize(channel);  // posts with
//       // if (UINT code = channel.post(INSTALLMESSAGE_ERROR | MB_OK, text).resultCode()) return code;
//   if (UINT code = channel.actionEnd(u"CostFinalize", result).resultCode()) result = code;
//   ...
//   channel.end(result, session.properties());  // property dump, footer, LOGONLYONERROR
#pragma once

#include <ctime>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/emulated/msi_ui.h"

namespace emulated::installer {

class InstallLog;

// The UI's answer to one message. Marked nodiscard: a cancel can arrive on
// any message, and a caller that dropped the answer would run on after the
// user pressed Cancel.
class [[nodiscard]] UiAnswer {
 public:
  explicit constexpr UiAnswer(int value) : value_(value) {}
  constexpr int value() const { return value_; }
  // The user cancelled: the running action ends with 1602.
  constexpr bool cancelled() const { return value_ == IDCANCEL; }
  // What the running action returns because of this answer: 1602 for a
  // cancel, else ERROR_SUCCESS (go on). For
  //   if (UINT code = channel.post(...).resultCode()) return code;
  constexpr UINT resultCode() const { return cancelled() ? ERROR_INSTALL_USEREXIT : ERROR_SUCCESS; }

 private:
  int value_;
};

// The properties to dump, in name order: the same type as the session's
// own property map, so a session hands its map over as it is.
using PropertyList = std::map<std::u16string, std::u16string, std::less<>>;

class MessageChannel {
 public:
  // Starts an operation: its log is opened with the MsiEnableLogW settings
  // in force now. The handler is looked up anew for every message.
  MessageChannel();
  // Ends the operation when end() was not called: a success, unless an
  // action failed on the way.
  ~MessageChannel();
  MessageChannel(const MessageChannel&) = delete;
  MessageChannel& operator=(const MessageChannel&) = delete;

  // A message of `typeAndFlags` (INSTALLMESSAGE_* with MB_* flags) and text.
  UiAnswer post(UINT typeAndFlags, std::u16string_view text);

  // A record without a template ("1: x 2: y "), as progress messages and
  // action data without an ActionText template are sent.
  UiAnswer postRecord(UINT typeAndFlags, const std::vector<std::u16string>& fields);

  // INSTALLMESSAGE_PROGRESS with integer fields: {0, total, 0, 0} resets,
  // {1, step, 1} announces action data, {2, ticks} reports progress.
  UiAnswer postProgress(std::initializer_list<long long> fields);

  // INSTALLMESSAGE_ACTIONSTART "Action H:MM:SS: Name. Description", then
  // the info message "Action start H:MM:SS: Name.". The description is the
  // ActionText table's, when the package has a row for the action
  // (nullopt when it has none: the documented default is used then).
  UiAnswer actionStart(std::u16string_view action, const std::optional<std::u16string>& actionTextDescription);

  // The info message "Action ended H:MM:SS: Name. Return value N.". An
  // action that was cancelled or failed marks the operation as failed, so
  // a LOGONLYONERROR log is kept whatever end() is given later (a session
  // whose MsiDoActionW failed, then closed).
  UiAnswer actionEnd(std::u16string_view action, UINT result);

  // A line that only a verbose log shows, as Windows writes its own:
  // "MSI (s) (PP:TT) [HH:MM:SS:mmm]: text".
  void verbose(std::u16string_view text);

  // Ends the operation with its result code: the property dump
  // ("Property(S): NAME = VALUE", with INSTALLLOGMODE_PROPERTYDUMP), the
  // footer, and the log kept or dropped under LOGONLYONERROR (kept when
  // an action failed, or the result is neither ERROR_SUCCESS nor 3010).
  // Later calls change nothing.
  void end(UINT result, const PropertyList& properties);

 private:
  UiAnswer deliver(UINT typeAndFlags, std::u16string_view text);

  std::unique_ptr<InstallLog> log_;
  bool actionFailed_ = false;
  bool ended_ = false;
};

}  // namespace emulated::installer
