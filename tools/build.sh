#!/usr/bin/env bash
# Installs what is missing, configures and builds everything into build/.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
bash "$root/tools/setup.sh"
build="${INSTALLER_ORNEL_BUILD_DIR:-$root/build}"
if [[ ! -f "$build/CMakeCache.txt" ]]; then
  cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@" >/dev/null
fi
cmake --build "$build" -j "$(nproc)" -- --no-print-directory
