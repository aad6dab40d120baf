#!/usr/bin/env bash
# The whole test suite: builds, then the C++ unit tests and the JS tests.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
bash "$root/tools/build.sh"
build="${INSTALLER_ORNEL_BUILD_DIR:-$root/build}"
ctest --test-dir "$build" --output-on-failure -j "$(nproc)"
cd "$root"
node --test tests/js/
