#!/usr/bin/env bash
# Installs the Debian packages of programs that are missing:   tools/need.sh PROGRAM:PACKAGE...
set -euo pipefail

missing=()
for entry in "$@"; do
  command -v "${entry%%:*}" >/dev/null || missing+=("${entry#*:}")
done
((${#missing[@]} > 0)) || exit 0

as_root=()
((EUID == 0)) || as_root=(sudo)
echo "need.sh: installing ${missing[*]}" >&2
"${as_root[@]}" apt-get update -qq
DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get install -y -qq \
  --no-install-recommends "${missing[@]}" >/dev/null
