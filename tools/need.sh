#!/usr/bin/env bash
# Installs the Debian packages that are missing:   tools/need.sh [PROGRAM:]PACKAGE...
# One that is named with a program is missing if the program is, which may come from elsewhere.
set -euo pipefail

is_there() {
  if [[ "$1" == *:* ]]; then
    command -v "${1%%:*}" >/dev/null
  else
    [[ "$(dpkg-query -W -f '${Status}' "$1" 2>/dev/null)" == *"ok installed" ]]
  fi
}

missing=()
for entry in "$@"; do
  is_there "$entry" || missing+=("${entry#*:}")
done
((${#missing[@]} > 0)) || exit 0

as_root=()
if ((EUID != 0)); then
  if ! command -v sudo >/dev/null || ! sudo true; then
    echo "need.sh: packages are missing, and you may not install any. Ask an administrator for
  apt-get install --no-install-recommends ${missing[*]}" >&2
    exit 1
  fi
  as_root=(sudo)
fi
exec 9<"${BASH_SOURCE[0]}"
flock 9 # one installation at a time
echo "need.sh: installing ${missing[*]}" >&2
"${as_root[@]}" apt-get update -qq
DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get install -y -qq \
  --no-install-recommends "${missing[@]}" >/dev/null
