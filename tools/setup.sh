#!/usr/bin/env bash
# Installs the Debian packages of a list that are missing: by default
# tools/debian-packages.txt (what the build and npm test need), or the list
# given as the one argument (tools/ci-packages.txt for CI's extra checks).
# Idempotent, and silent when everything is present.
set -euo pipefail
here="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
list="${1:-$here/debian-packages.txt}"

missing=()
while read -r pkg; do
  [[ -z "$pkg" || "$pkg" == \#* ]] && continue
  status="$(dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null || true)"
  [[ "$status" == "install ok installed" ]] || missing+=("$pkg")
done < "$list"

((${#missing[@]} == 0)) && exit 0

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
