#!/usr/bin/env bash
# Builds a copy of the repository's files in another folder, in the two ways of the README:
#   packaging/check_elsewhere.sh
# Against a librknnrt.so that is there, kavrel is built and packed without ONNX Runtime and a second
# such library. For the workstation, the packages have the bytes of those in build/packages, which
# packaging/check_packages.sh makes.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
repository="$PWD"
scratch="$(mktemp -d)"
trap 'rm -rf "$scratch"' EXIT
unset LD_LIBRARY_PATH
export CCACHE_DISABLE=1 # what another folder compiled is no second build
SOURCE_DATE_EPOCH="$(git log -1 --format=%ct)"
export SOURCE_DATE_EPOCH

# The README's command, so that it is the one that was tried.
readme_has() { grep -qxF -- "$1" README.md || { echo "not in the README: $1" >&2 && exit 1; }; }

git ls-files -z | xargs -0 cp --parents -t "$scratch"
cd "$scratch"

echo "== against a librknnrt.so that is there"
mkdir given
cp "$repository/build/scripted_runtime/librknnrt.so" given/
readme_has "cmake -B build -G Ninja -DKAVREL_RKNNRT_LIBRARY=/usr/lib/librknnrt.so"
cmake -B build -G Ninja -DKAVREL_RKNNRT_LIBRARY="$PWD/given/librknnrt.so" -DKAVREL_REPORT=OFF
readme_has "cmake --build build"
cmake --build build --target all package
build/kavrel --help
readelf -d build/kavrel | grep 'NEEDED.*\[librknnrt.so\]'
[[ ! -e build/host_runtime && "$(echo build/packages/*.deb)" == build/packages/kavrel_*.deb ]]
rm -r build

echo "== for the workstation"
cp -rL "$repository/third_party" .
readme_has "cmake -B build -G Ninja"
cmake -B build -G Ninja
cmake --build build --target package
(cd "$repository/build/packages" && sha256sum -- *) >sums
(cd build/packages && sha256sum --check "$scratch/sums")
