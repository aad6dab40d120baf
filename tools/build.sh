#!/usr/bin/env bash
# Installs what is missing, configures and builds everything into build/.
set -euo pipefail
# The sanitizer runtimes that tools/test-sanitized.sh preloads are for the
# node that loads a sanitized add-on, not for the build's own programs (an
# npm start under the sanitized tests comes here): make, for one, reports
# its own reads under strict_string_checks and stops.
unset LD_PRELOAD
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
bash "$root/tools/setup.sh"
build="${INSTALLER_ORNEL_BUILD_DIR:-$root/build}"
if [[ ! -f "$build/CMakeCache.txt" || $# -gt 0 ]]; then
  cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@" >/dev/null
fi
# Quiet on success; the whole log on failure.
log="$build/build.log"
if ! cmake --build "$build" -j "$(nproc)" >"$log" 2>&1; then
  cat "$log" >&2
  exit 1
fi
