#!/usr/bin/env bash
# Builds and packs:   packaging/make_packages.sh BUILD_DIR
# Leaves in BUILD_DIR/packages a Debian package and a relocatable .tar.gz of kavrel, and of the
# workstation's runtime unless kavrel was built against the NPU vendor's. The same sources give the
# same bytes: all files carry the time of the last commit, or of SOURCE_DATE_EPOCH if that is set.
set -euo pipefail
if (($# != 1)); then
  echo "Usage: packaging/make_packages.sh BUILD_DIR" >&2
  exit 1
fi
build="$(cd "$1" && pwd)"
cd "$(dirname "${BASH_SOURCE[0]}")/.."

tools/need.sh dpkg-shlibdeps:dpkg-dev file:file
commit_time="$(git log -1 --format=%ct 2>/dev/null || date +%s)"
export SOURCE_DATE_EPOCH="${SOURCE_DATE_EPOCH:-$commit_time}"
rm -rf "$build/packages"
cmake "$build" >/dev/null # the changelog's date
(cmake --build "$build" && cd "$build" && cpack -G 'DEB;TGZ' -B "$build/packages") >"$build/packages.log" 2>&1 ||
  { cat "$build/packages.log" >&2 && exit 1; }
rm -rf "$build/packages/_CPack_Packages"
sha256sum "$build"/packages/*
