#!/usr/bin/env bash
# Makes the packages of build/, which the preset dev configures, and holds them to what Debian asks for.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
tools/need.sh dpkg-shlibdeps:dpkg-dev file:file lintian:lintian mandoc:mandoc
rm -rf build/packages
ninja -C build package >build/package.log 2>&1 || { cat build/package.log >&2 && exit 1; }
contents="$(dpkg-deb -c build/packages/kavrel_*.deb)"
for file in bin/kavrel man1/kavrel.1.gz bin/kavrel-shard man1/kavrel-shard.1.gz dict/region_words.txt rendered_expected.csv LICENSE; do
  grep -q "/$file$" <<<"$contents" || { echo "kavrel's package has no $file" >&2 && exit 1; }
done
if grep librknnrt <<<"$contents"; then exit 1; fi # a board has its vendor's
lintian --fail-on error,warning build/packages/*.deb
mandoc -T lint -W warning build/packaging/*.1
sha256sum build/packages/*
