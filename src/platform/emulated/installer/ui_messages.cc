#include "platform/emulated/installer/ui_messages.h"

#include <sys/time.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <thread>

#include "platform/emulated/installer/install_log.h"
#include "platform/emulated/installer/ui_settings.h"
#include "platform/emulated/installer/ui_texts.h"
#include "platform/emulated/machine/unicode.h"

namespace emulated::installer {

namespace {

std::u16string verboseLine(std::u16string_view text) {
  timeval now{};
  ::gettimeofday(&now, nullptr);
  std::tm local{};
  const std::time_t seconds = now.tv_sec;
  localtime_r(&seconds, &local);
  // Windows shows the low byte of the process and thread ids.
  const unsigned thread = static_cast<unsigned>(std::hash<std::thread::id>()(std::this_thread::get_id()));
  char prefix[64];
  std::snprintf(prefix, sizeof prefix, "MSI (s) (%02X:%02X) [%02d:%02d:%02d:%03d]: ", ::getpid() & 0xFF,
                thread & 0xFF, local.tm_hour, local.tm_min, local.tm_sec, static_cast<int>(now.tv_usec / 1000));
  std::u16string line = utf8ToUtf16(prefix);
  line.append(text);
  return line;
}

}  // namespace

MessageChannel::MessageChannel() : log_(std::make_unique<InstallLog>(currentLogSettings(), localNow())) {}

MessageChannel::~MessageChannel() { end(ERROR_SUCCESS, {}); }

UiAnswer MessageChannel::deliver(UINT typeAndFlags, std::u16string_view text) {
  if (logRecords(log_->mode(), typeAndFlags)) log_->writeLine(text);
  const ExternalUi ui = currentExternalUi();
  if (!ui.wants(typeAndFlags)) return UiAnswer(0);
  const std::u16string message(text);  // the handler gets a terminated copy
  return UiAnswer(ui.handler(ui.context, typeAndFlags, message.c_str()));
}

UiAnswer MessageChannel::post(UINT typeAndFlags, std::u16string_view text) { return deliver(typeAndFlags, text); }

UiAnswer MessageChannel::postRecord(UINT typeAndFlags, const std::vector<std::u16string>& fields) {
  return deliver(typeAndFlags, recordText(fields));
}

UiAnswer MessageChannel::postProgress(std::initializer_list<long long> fields) {
  std::vector<std::u16string> texts;
  for (long long field : fields) texts.push_back(utf8ToUtf16(std::to_string(field)));
  return postRecord(INSTALLMESSAGE_PROGRESS, texts);
}

UiAnswer MessageChannel::actionStart(std::u16string_view action,
                                     const std::optional<std::u16string>& actionTextDescription) {
  const std::tm now = localNow();
  std::u16string doing = u"Doing action: ";
  verbose(doing.append(action));
  const std::u16string_view description =
      actionTextDescription ? std::u16string_view(*actionTextDescription) : defaultActionDescription(action);
  const UiAnswer started = deliver(INSTALLMESSAGE_ACTIONSTART, actionStartText(action, description, now));
  if (started.cancelled()) return started;
  return deliver(INSTALLMESSAGE_INFO, actionStartedLogText(action, now));
}

UiAnswer MessageChannel::actionEnd(std::u16string_view action, UINT result) {
  if (logReturnValue(result) >= 2) actionFailed_ = true;
  return deliver(INSTALLMESSAGE_INFO, actionEndedLogText(action, result, localNow()));
}

void MessageChannel::verbose(std::u16string_view text) {
  if ((log_->mode() & INSTALLLOGMODE_VERBOSE) != 0) log_->writeLine(verboseLine(text));
}

void MessageChannel::end(UINT result, const PropertyList& properties) {
  if (ended_) return;
  ended_ = true;
  if ((log_->mode() & (INSTALLLOGMODE_PROPERTYDUMP | INSTALLLOGMODE_VERBOSE)) != 0) {
    for (const auto& [name, value] : properties) log_->writeLine(u"Property(S): " + name + u" = " + value);
  }
  const bool failed = actionFailed_ || (result != ERROR_SUCCESS && result != ERROR_SUCCESS_REBOOT_REQUIRED);
  log_->close(failed, localNow());
}

}  // namespace emulated::installer
