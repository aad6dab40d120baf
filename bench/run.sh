#!/usr/bin/env bash
# Runs every benchmark; each prints its own ratios against a baseline
# measured in the same run.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${INSTALLER_ORNEL_BUILD_DIR:-$root/build}"
for js in "$root"/bench/*.js; do
  echo "== $(basename "$js")"
  node "$js"
done
for bin in "$build"/bench/bench_*; do
  [[ -x "$bin" ]] || continue
  echo "== $(basename "$bin")"
  "$bin"
done
