#include "platform/emulated/msi_database/libmsi_runtime.h"

#include <glib-object.h>
#include <gsf/gsf-infile-msole.h>
#include <gsf/gsf-input-memory.h>
#include <gsf/gsf-input-proxy.h>
#include <gsf/gsf-input-stdio.h>
#include <gsf/gsf-msole-utils.h>
#include <gsf/gsf-outfile-msole.h>
#include <gsf/gsf-output-memory.h>
#include <gsf/gsf-output-stdio.h>
#include <gsf/gsf-shared-memory.h>
#include <gsf/gsf-utils.h>
#include <libmsi.h>

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

// The classes libmsi instantiates, its own and libgsf's that it reads and
// writes compound files with (GsfInputMemory and GsfInputProxy for the
// streams inside a package, which sit on GsfSharedMemory). libgsf registers
// its classes on first use with a plain "if (type == 0)" test: two threads
// at their first package open both register, and the loser gets an invalid
// type and crashes. Registered here, once, before any libmsi object exists,
// every later lookup only reads. A reference to each class is kept for the
// life of the process, so that class initialisation is done here too.
GType (*const kClassTypes[])() = {
    gsf_input_get_type,        gsf_input_stdio_get_type,   gsf_input_memory_get_type,
    gsf_input_proxy_get_type,  gsf_shared_memory_get_type, gsf_infile_get_type,
    gsf_infile_msole_get_type, gsf_output_get_type,        gsf_output_stdio_get_type,
    gsf_output_memory_get_type, gsf_outfile_get_type,      gsf_outfile_msole_get_type,
    libmsi_database_get_type,  libmsi_query_get_type,      libmsi_record_get_type,
    libmsi_summary_info_get_type,
};
// Types without classes: the sort key libgsf names the entries of a written
// compound file by, and libmsi's enumerations.
GType (*const kOtherTypes[])() = {
    gsf_msole_sorting_key_get_type,
    libmsi_result_error_get_type, libmsi_property_type_get_type, libmsi_col_info_get_type,
    libmsi_db_flags_get_type,     libmsi_db_error_get_type,      libmsi_property_get_type,
};

void registerTypes() {
  gsf_init();
  for (GType (*type)() : kClassTypes) {
    const GType registered = type();
    if (G_TYPE_IS_CLASSED(registered)) g_type_class_ref(registered);
  }
  for (GType (*type)() : kOtherTypes) g_type_ensure(type());
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
    registerTypes();
  });
}

std::size_t libmsiWarningCount() { return routedMessages.load(std::memory_order_relaxed); }

}  // namespace emulated
