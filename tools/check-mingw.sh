#!/usr/bin/env bash
# Compile-only check for 32-bit Windows: every source outside the emulated
# machine (the add-on, the MSI wrappers, the tracer, the framework) must
# compile with MinGW-w64 for i686, whose headers stand in for the Windows
# SDK, against the V8 and libuv headers of the Node that runs here. Nothing
# is linked. The posix thread model is used: the win32 one lacks std::thread.
# Prints one line per failing source and a summary; exits non-zero on any
# failure.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
cxx="${MINGW_CXX:-i686-w64-mingw32-g++-posix}"
command -v "$cxx" >/dev/null || { echo "check-mingw: $cxx not found (tools/ci-packages.txt)" >&2; exit 1; }
node_include="$(node -p "require('path').resolve(process.execPath, '../../include/node')")"
[[ -f "$node_include/node.h" ]] || { echo "check-mingw: node.h not found under $node_include" >&2; exit 1; }

# The definitions of the Windows build (CMakeLists.txt) and of node_headers.
flags=(-std=c++17 -fsyntax-only -Wall -Wextra -Wno-unused-parameter
       -DUNICODE -D_UNICODE -DV8_DEPRECATION_WARNINGS=1
       -I"$root/src" -isystem "$node_include")

cd "$root"
logs="$(mktemp -d)"
trap 'rm -rf "$logs"' EXIT
# The facade before the host's headers, as a source may order them: the
# SDK's <windows.h> must not bring in winsock.h, which the SDK's winsock2.h
# (included by libuv) refuses to follow. MinGW's headers accept that order
# silently, so the probe checks for winsock.h itself.
cat >"$logs/facade_first.cc" <<'PROBE'
#include "platform/windows.h"
#if defined(_WINSOCKAPI_) && !defined(_WINSOCK2API_)
#error "the facade's <windows.h> brought in winsock.h before libuv's winsock2.h"
#endif
#include <node.h>
#include <uv.h>
PROBE
mapfile -t sources < <(find src -name '*.cc' -not -path 'src/platform/emulated/*' | sort; echo "$logs/facade_first.cc")
export cxx logs
printf '%s\n' "${sources[@]}" |
  xargs -P "$(nproc)" -I{} bash -c \
    'log="$logs/$(echo "{}" | tr / _).log"; "$cxx" "$@" "{}" >"$log" 2>&1 || echo "{}" >>"$log.failed"' \
    _ "${flags[@]}"

failed=0
for source in "${sources[@]}"; do
  log="$logs/$(echo "$source" | tr / _).log"
  if [[ -f "$log.failed" ]]; then
    failed=$((failed + 1))
    echo "check-mingw: FAILED $source" >&2
    head -40 "$log" >&2
  elif [[ -s "$log" ]]; then
    # Warnings fail the check too: the Windows build must be as clean.
    failed=$((failed + 1))
    echo "check-mingw: WARNINGS $source" >&2
    head -40 "$log" >&2
  fi
done
echo "check-mingw: $((${#sources[@]} - failed)) passed, $failed failed"
((failed == 0))
