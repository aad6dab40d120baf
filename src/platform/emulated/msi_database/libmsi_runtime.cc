#include "platform/emulated/msi_database/libmsi_runtime.h"

#include <glib.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <mutex>

namespace emulated {

namespace {

std::atomic<std::size_t> routedMessages{0};
bool echoToStderr = false;

void routeMessage(const gchar* domain, GLogLevelFlags level, const gchar* message, gpointer) {
  routedMessages.fetch_add(1, std::memory_order_relaxed);
  if (echoToStderr) std::fprintf(stderr, "libmsi[%s] %d: %s\n", domain ? domain : "-", int(level), message);
}

}  // namespace

void ensureLibmsiRuntime() {
  static std::once_flag once;
  std::call_once(once, [] {
    const char* echo = std::getenv("INSTALLER_ORNEL_MSI_WARNINGS");
    echoToStderr = echo != nullptr && *echo != '\0';
    // libmsi logs without a domain; GLib, GObject, GIO and libgsf log under
    // their own. The default handler catches every domain: nothing else in
    // the add-on's process uses GLib. A g_error still aborts after this
    // handler, as GLib insists.
    g_log_set_default_handler(routeMessage, nullptr);
  });
}

std::size_t libmsiWarningCount() { return routedMessages.load(std::memory_order_relaxed); }

}  // namespace emulated
