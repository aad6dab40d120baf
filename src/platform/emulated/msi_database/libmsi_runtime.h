// Process-wide set-up of the libmsi runtime for the emulated installer.
#pragma once

#include <cstddef>

namespace emulated {

// libmsi and GLib report odd input (a missing file, a field read with the
// wrong getter) as GLib warnings on stderr, where they would reach the
// console of whoever runs the installer UI. The emulated machine answers
// with Windows codes instead, so the warnings are routed away: counted, and
// written to stderr only when INSTALLER_ORNEL_MSI_WARNINGS is set (a
// developer's switch). It also registers, once, every GObject type libmsi
// and libgsf use, since libgsf's own registration on first use is not
// thread-safe: the first packages of a process may then be opened from any
// number of threads at once. Called by every function that creates a libmsi
// object, before it does; idempotent and thread-safe.
void ensureLibmsiRuntime();

// How many GLib messages were routed away so far; tests use it to show
// that the emulation avoids libmsi's warning paths.
std::size_t libmsiWarningCount();

}  // namespace emulated
