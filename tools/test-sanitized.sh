#!/usr/bin/env bash
# The whole test suite once more, on a build with AddressSanitizer and
# UndefinedBehaviorSanitizer (INSTALLER_ORNEL_ASAN) in its own build
# directory (INSTALLER_ORNEL_BUILD_DIR, by default build-asan/): the C++
# tests with ctest, then the JS tests in a node that has the sanitizer
# runtimes preloaded (node itself is not instrumented, so the add-on cannot
# bring them in). Every report of any process (test, child node, tool) is
# written to a log directory; any log there fails the run, also when the
# process that wrote it was expected to fail for another reason.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${INSTALLER_ORNEL_BUILD_DIR:-$root/build-asan}"
export INSTALLER_ORNEL_BUILD_DIR="$build"
reports="$build/sanitizer-reports"

# Leak checking is on for our own native programs; node keeps much of its
# memory to the end by design, so there only the memory errors count.
common="halt_on_error=1:log_path=$reports/report:log_exe_name=1"
export ASAN_OPTIONS="$common:detect_leaks=1:strict_string_checks=1:check_initialization_order=1"
export LSAN_OPTIONS="suppressions=$root/tools/lsan-suppressions.txt:print_suppressions=0"
export UBSAN_OPTIONS="$common:print_stacktrace=1"

# The runtimes of the compiler that builds the add-on.
runtime() {
  local file
  file="$(readlink -f "$("${CXX:-c++}" -print-file-name="$1")")"
  [[ -f "$file" ]] || { echo "test-sanitized: $1 not found (tools/ci-packages.txt)" >&2; exit 1; }
  echo "$file"
}
preload="$(runtime libasan.so) $(runtime libubsan.so)"

rm -rf "$reports"
mkdir -p "$reports"
status=0
bash "$root/tools/build.sh" -DINSTALLER_ORNEL_ASAN=ON -DINSTALLER_ORNEL_BENCH=OFF || status=1
# UndefinedBehaviorSanitizer writes its fatal reports to stderr whatever
# log_path says, so the runners' output is searched for them as well.
output="$build/sanitized-tests.log"
if ((status == 0)); then
  ctest --test-dir "$build" --output-on-failure -j "$(nproc)" 2>&1 | tee "$output" || status=1
  (cd "$root" && LD_PRELOAD="$preload" ASAN_OPTIONS="$ASAN_OPTIONS:detect_leaks=0" node --test tests/js/) 2>&1 |
    tee -a "$output" || status=1
  if grep -q -e 'runtime error:' -e 'Sanitizer' "$output"; then
    echo "test-sanitized: sanitizer output in the tests' output ($output)" >&2
    status=1
  fi
fi

shopt -s nullglob
logs=("$reports"/*)
if ((${#logs[@]} > 0)); then
  echo "test-sanitized: ${#logs[@]} sanitizer report(s):" >&2
  for log in "${logs[@]}"; do
    echo "--- $log" >&2
    head -60 "$log" >&2
  done
  status=1
fi
exit "$status"
