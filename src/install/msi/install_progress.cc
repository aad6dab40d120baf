// Decoding of progress messages (install_progress.h).
//
// A progress message carries up to four fields as text: for each its
// number, a colon, a blank, the value and a blank ("1: 0 2: 1520 3: 0 4: 1 ").
// The reader never writes into Windows Installer's text.
#include "install/msi/install_progress.h"

#include "install/msi/msi_strings.h"

namespace installer {
namespace msi_wrapper {

namespace {

constexpr UINT kClassMask = 0xFF000000u;

std::int32_t clamp(std::int32_t value, std::int32_t low, std::int32_t high) {
  if (value < low) return low;
  if (value > high) return high;
  return value;
}

constexpr WCHAR kBlank = WIDE_TEXT(' ');

bool isDigit(WCHAR c) { return c >= WIDE_TEXT('0') && c <= WIDE_TEXT('9'); }

}  // namespace

std::int32_t InstallProgressState::percentage() const {
  const std::int32_t range = rangeMax_ - rangeMin_;
  if (range < 1) return 0;
  return static_cast<std::int32_t>(static_cast<float>(position_ - rangeMin_) * 100.0f / static_cast<float>(range));
}

std::int32_t InstallProgressState::accept(UINT messageType, const WCHAR* text) {
  switch (messageType & kClassMask) {
    case INSTALLMESSAGE_ERROR:
    case INSTALLMESSAGE_WARNING:
    case INSTALLMESSAGE_OUTOFDISKSPACE:
      return kHandled;
    case INSTALLMESSAGE_ACTIONSTART:
      actionDataIncrements_ = false;
      actionText_ = text;
      ++actionGeneration_;
      return kHandled;
    case INSTALLMESSAGE_ACTIONDATA:
      if (totalTicks_ != 0 && actionDataIncrements_) position_ = clamp(position_ + step_, rangeMin_, rangeMax_);
      return kHandled;
    case INSTALLMESSAGE_PROGRESS:
      acceptProgress(text);
      return kHandled;
    default:
      return kUnknownType;
  }
}

void InstallProgressState::acceptProgress(const WCHAR* text) {
  if (!readFields(text)) return;
  switch (field1_) {
    case 0:
      reset();
      break;
    case 1:
      actionDataIncrements_ = field3_ != 0;
      if (actionDataIncrements_) step_ = forward_ ? field2_ : -field2_;
      break;
    case 2:
      if (totalTicks_ == 0) break;
      reportedTicks_ += field2_;
      position_ = clamp(forward_ ? reportedTicks_ : -reportedTicks_, rangeMin_, rangeMax_);
      break;
    default:
      break;
  }
}

// A reset after one that announced the script's creation starts full: that
// phase is over.
void InstallProgressState::reset() {
  totalTicks_ = field2_;
  forward_ = field3_ == 0;
  rangeMin_ = 0;
  rangeMax_ = totalTicks_;
  const std::int32_t start = scriptInProgress_ || !forward_ ? totalTicks_ : 0;
  position_ = clamp(start, 0, totalTicks_);
  reportedTicks_ = 0;
  scriptInProgress_ = field4_ == 1;
}

/*
 * Fields 2 to 4 are read as the C runtime reads a number; field 1 is one
 * digit. Reading stops after the last field that field 1's kind carries
 * (2 for reports and additions, 3 for action information), or at the end
 * of the text.
 */
bool InstallProgressState::readFields(const WCHAR* text) {
  if (*text == 0) return false;
  const WCHAR* cursor = text;
  while (*cursor != 0) {
    const WCHAR field = cursor[0];
    if (cursor[1] == 0 || cursor[2] == 0 || cursor[3] == 0) return false;
    const WCHAR* value = cursor + 3;
    if (field == WIDE_TEXT('1')) {
      if (!isDigit(*value)) return false;
      field1_ = *value - WIDE_TEXT('0');
      if (value[1] == 0) return true;
      cursor = value + 2;
      continue;
    }
    const WCHAR* end = value;  // the value text ends at the next blank
    while (*end != 0 && *end != kBlank) ++end;
    const std::int32_t number = runtimeDecimal(std::basic_string_view<WCHAR>(value, static_cast<size_t>(end - value)));
    if (field == WIDE_TEXT('2')) {
      field2_ = number;
      if (field1_ == 2 || field1_ == 3) return true;
    } else if (field == WIDE_TEXT('3')) {
      field3_ = number;
      if (field1_ == 1) return true;
    } else if (field == WIDE_TEXT('4')) {
      field4_ = number;
      return true;
    } else {
      return false;
    }
    if (*end == 0) return true;
    cursor = end + 1;
  }
  return true;
}

std::int32_t LatestProgress::accept(const InstallMessage& message) {
  if (message.kind != InstallMessageKind::progress) return 0;
  std::lock_guard<std::mutex> guard(lock_);
  kept_ = true;
  latest_.progress = message.progress.value_or(0);
  latest_.forward = message.forward;
  if (!actionKept_ || actionGeneration_ != message.actionGeneration) {
    latest_.action = message.action;
    actionGeneration_ = message.actionGeneration;
    actionKept_ = true;
  }
  return cancelled_ ? IDCANCEL : IDOK;
}

bool LatestProgress::read(ProgressInfo& info) {
  std::lock_guard<std::mutex> guard(lock_);
  if (!kept_) return false;
  info.progress = latest_.progress;
  info.forward = latest_.forward;
  info.action = latest_.action;
  return true;
}

void LatestProgress::clear() {
  std::lock_guard<std::mutex> guard(lock_);
  kept_ = false;
  actionKept_ = false;
}

}  // namespace msi_wrapper
}  // namespace installer
