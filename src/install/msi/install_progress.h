// Install messages and progress: what the external UI handler makes of the
// text messages Windows Installer sends while an operation runs.
//
// InstallProgressState follows the documented progress protocol (reset,
// action information, report, addition) and drives a virtual bar whose
// position always stays within its range once a reset was seen, as a
// progress control's does. Until the first reset with a non-zero total,
// action data and reports change nothing and the percentage is 0.
//
// The state belongs to one setup manager and is read and written only by
// the thread that runs its operation, in the handler: it has no lock.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <optional>

#include "framework/objptr.h"
#include "install/installer_ornel/interop_helpers/record_fields.h"
#include "platform/windows.h"

namespace installer {

// What the script's progressChanged receives.
struct ProgressInfo {
  std::int32_t progress = 0;  // percentage, 0 to 100
  platform::wstring action;
  bool forward = true;
};

namespace msi_wrapper {

enum class InstallMessageKind : std::int32_t { none = -1, progress = 0, error = 1, warning = 2 };

// One decoded message, handed to the setup manager's message callback.
struct InstallMessage {
  InstallMessageKind kind = InstallMessageKind::none;
  std::optional<std::int32_t> progress;  // set for kind progress only
  platform::wstring action;              // the current action's text
  std::uint32_t actionGeneration = 0;    // changes whenever action does, within one operation
  bool forward = true;
};

class InstallProgressState {
 public:
  static constexpr std::int32_t kHandled = 1;
  static constexpr std::int32_t kUnknownType = 5;

  // Takes one message (type with its flags, text not null). kHandled, or
  // kUnknownType for a class the handler does not subscribe to.
  std::int32_t accept(UINT messageType, const WCHAR* text);

  const platform::wstring& actionText() const { return actionText_; }
  // Changes whenever actionText does, so that a copy is made only then.
  std::uint32_t actionGeneration() const { return actionGeneration_; }
  bool forward() const { return forward_; }
  // (position - min) * 100 / range, truncated; 0 while the range is empty.
  std::int32_t percentage() const;
  std::int32_t position() const { return position_; }

 private:
  bool readFields(const WCHAR* text);
  void acceptProgress(const WCHAR* text);
  void reset();

  std::int32_t rangeMin_ = 0;
  std::int32_t rangeMax_ = 0;
  std::int32_t step_ = 0;
  std::int32_t position_ = 0;
  platform::wstring actionText_;
  std::uint32_t actionGeneration_ = 0;
  std::int32_t field1_ = 0, field2_ = 0, field3_ = 0, field4_ = 0;
  std::int32_t totalTicks_ = 0;
  std::int32_t reportedTicks_ = 0;
  bool forward_ = true;
  bool scriptInProgress_ = false;
  bool actionDataIncrements_ = false;
};

/*
 * The latest progress message of the running operation and its
 * cancellation: accept() runs on the operation's thread (the setup
 * manager's message callback), read() on the progress poller's. The lock
 * guards the kept state and the reading of the cancellation in accept().
 *
 * Most messages of an action only move the bar, so the action text is
 * copied when its generation differs from the kept one; clear() forgets
 * the generation, since the next operation counts from the start again.
 */
class LatestProgress {
 public:
  LatestProgress() = default;
  LatestProgress(const LatestProgress&) = delete;
  LatestProgress& operator=(const LatestProgress&) = delete;

  // Keeps a progress message; 0 for any other kind, else IDCANCEL once
  // cancel() was called and IDOK before.
  std::int32_t accept(const InstallMessage& message);
  // The latest message as a ProgressInfo; false while there is none. The
  // message is kept.
  bool read(ProgressInfo& info);
  void clear();
  void cancel() { cancelled_ = true; }
  void clearCancel() { cancelled_ = false; }

 private:
  std::mutex lock_;
  bool kept_ = false;
  bool actionKept_ = false;
  std::uint32_t actionGeneration_ = 0;
  ProgressInfo latest_;
  std::atomic<bool> cancelled_{false};
};

}  // namespace msi_wrapper

/*
 * The receiver of an operation's events, held through qor::objptr_t. Its
 * operations are called from the operation's background tasks; the count is
 * atomic. Besides the framework's named ids it answers the numeric ids 0
 * and kNumericIid; any other numeric id gives kUnknownInterface.
 */
class IProgressCallback : public qor::IRefCounted {
 public:
  static constexpr qor::InterfaceId kIid{"installer::IProgressCallback"};
  static constexpr std::uint32_t kNumericIid = 0x293FDF27;
  static constexpr qor::result_t kUnknownInterface = static_cast<qor::result_t>(0x80000001u);

  using qor::IRefCounted::queryInterface;
  virtual qor::result_t queryInterface(std::uint32_t iid, void** out) noexcept = 0;
  virtual std::int32_t progressChanged(const ProgressInfo& info) = 0;
  // `result`: the operation's Windows Installer code.
  virtual std::int32_t completed(std::uint32_t result) = 0;
};

// Counting and both lookups for an implementation.
class ProgressCallbackBase : public qor::RefCounted<IProgressCallback> {
 public:
  using qor::RefCounted<IProgressCallback>::queryInterface;
  qor::result_t queryInterface(std::uint32_t iid, void** out) noexcept override {
    if (iid != 0 && iid != kNumericIid) return kUnknownInterface;
    addRef();
    *out = static_cast<IProgressCallback*>(this);
    return qor::kResultOk;
  }
};

}  // namespace installer

template <>
struct node_interop::helpers::RecordFields<installer::ProgressInfo> {
  using T = installer::ProgressInfo;
  static constexpr auto fields =
      std::make_tuple(field("progress", &T::progress), field("action", &T::action), field("forward", &T::forward));
};
