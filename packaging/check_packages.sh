#!/usr/bin/env bash
# Makes the packages of build/, as ./test.sh leaves it, and holds them to what Debian asks for.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
tools/need.sh dpkg-shlibdeps:dpkg-dev file:file lintian:lintian mandoc:mandoc
rm -rf build/packages
ninja -C build package >build/package.log 2>&1 || { cat build/package.log >&2 && exit 1; }
lintian --fail-on error,warning build/packages/*.deb
mandoc -T lint -W warning build/packaging/*.1
sha256sum build/packages/*
