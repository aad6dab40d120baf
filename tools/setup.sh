#!/usr/bin/env bash
# Installs the Debian packages of a list that are missing: by default
# tools/debian-packages.txt (what the build and npm test need), or the list
# given as the one argument (tools/ci-packages.txt for CI's extra checks).
# With the default list it also installs the npm development packages of
# package-lock.json (TypeScript, for the declarations' check) when
# node_modules lacks them or is older than the lock file.
# Idempotent, and silent when everything is present.
set -euo pipefail
here="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
list="${1:-$here/debian-packages.txt}"
repo="$(cd "$here/.." && pwd)"

npm_packages() {
  [[ $# -eq 0 ]] || return 0
  local stamp="$repo/node_modules/.package-lock.json"
  [[ -f "$stamp" && ! "$repo/package-lock.json" -nt "$stamp" ]] && return 0
  echo "setup: installing the npm development packages"
  (cd "$repo" && npm ci --no-audit --no-fund --loglevel=error >/dev/null)
}

missing=()
while read -r pkg; do
  [[ -z "$pkg" || "$pkg" == \#* ]] && continue
  status="$(dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null || true)"
  [[ "$status" == "install ok installed" ]] || missing+=("$pkg")
done < "$list"

if ((${#missing[@]} == 0)); then
  npm_packages "$@"
  exit 0
fi

if ! command -v apt-get >/dev/null; then
  echo "setup: missing packages ${missing[*]}, and no apt-get to install them" >&2
  exit 1
fi
sudo=()
if [[ "$(id -u)" != 0 ]]; then
  command -v sudo >/dev/null || { echo "setup: run as root to install ${missing[*]}" >&2; exit 1; }
  sudo=(sudo)
fi
echo "setup: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update -qq
"${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
npm_packages "$@"
