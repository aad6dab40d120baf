#include "platform/emulated/installer/ui_settings.h"

#include <mutex>

namespace emulated::installer {

namespace {

struct UiSettings {
  std::mutex mutex;
  ExternalUi external;
  // As when msi.dll is loaded: the default level, owned by the desktop.
  INSTALLUILEVEL level = INSTALLUILEVEL_DEFAULT;
  HWND owner = nullptr;
};

UiSettings& settings() {
  static UiSettings instance;
  return instance;
}

constexpr unsigned kLevelFlags = INSTALLUILEVEL_ENDDIALOG | INSTALLUILEVEL_PROGRESSONLY | INSTALLUILEVEL_HIDECANCEL |
                                 INSTALLUILEVEL_SOURCERESONLY | INSTALLUILEVEL_UACONLY;

// A base level from NOCHANGE to FULL, with any of the documented flags.
bool validLevel(unsigned level) { return (level & ~kLevelFlags) <= INSTALLUILEVEL_FULL; }

}  // namespace

bool ExternalUi::wants(UINT messageType) const {
  const unsigned kind = messageType >> 24;
  return handler != nullptr && kind < 32 && (filter & (1u << kind)) != 0;
}

ExternalUi currentExternalUi() {
  std::lock_guard<std::mutex> lock(settings().mutex);
  return settings().external;
}

INSTALLUILEVEL currentInternalUiLevel() {
  std::lock_guard<std::mutex> lock(settings().mutex);
  return settings().level;
}

int sessionUiLevel() {
  const int level = static_cast<int>(currentInternalUiLevel()) & 0x7;
  return level <= INSTALLUILEVEL_DEFAULT ? INSTALLUILEVEL_FULL : level;
}

}  // namespace emulated::installer

using emulated::installer::settings;

extern "C" INSTALLUI_HANDLERW MsiSetExternalUIW(INSTALLUI_HANDLERW puiHandler, DWORD dwMessageFilter,
                                                LPVOID pvContext) {
  std::lock_guard<std::mutex> lock(settings().mutex);
  const INSTALLUI_HANDLERW previous = settings().external.handler;
  settings().external = {puiHandler, dwMessageFilter, pvContext};
  return previous;
}

extern "C" INSTALLUILEVEL MsiSetInternalUI(INSTALLUILEVEL dwUILevel, HWND* phWnd) {
  if (!emulated::installer::validLevel(static_cast<unsigned>(dwUILevel))) return INSTALLUILEVEL_NOCHANGE;
  std::lock_guard<std::mutex> lock(settings().mutex);
  const INSTALLUILEVEL previous = settings().level;
  // NOCHANGE keeps the level; the owner window may still change.
  if (dwUILevel != INSTALLUILEVEL_NOCHANGE) settings().level = dwUILevel;
  if (phWnd != nullptr) {
    const HWND previousOwner = settings().owner;
    settings().owner = *phWnd;
    *phWnd = previousOwner;
  }
  return previous;
}
