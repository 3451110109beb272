#!/usr/bin/env bash
# Builds kavrel for a 64-bit Arm board on a Debian machine, and its packages:
#   packaging/cross_build.sh
# Leaves kavrel and packages/ in build-aarch64-linux-gnu. Debian's OpenCV cannot be installed for two
# architectures side by side, so its arm64 packages are unpacked into build-arm64-root (about 1 GB,
# fetched once), and the machine's own packages stay as they are.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
root="build-arm64-root"
build="build-aarch64-linux-gnu"

as_root=()
((EUID == 0)) || as_root=(sudo)

tools/need.sh aarch64-linux-gnu-g++:g++-aarch64-linux-gnu cmake:cmake ninja:ninja-build npm:npm \
  mmdebstrap:mmdebstrap qemu-aarch64-static:qemu-user-static dpkg-shlibdeps:dpkg-dev file:file

# Runs when the packages are unpacked, with the root as $1, and does what their installation would:
# chooses among alternative libraries, and keeps the lists from which dpkg-shlibdeps takes
# dependencies, in the one place where it looks beside a root without a package database.
# ONNX Runtime asks /proc/cpuinfo which processor it is on, and needs an arm64 answer; qemu-user
# looks into the root first.
# shellcheck disable=SC2016  # $1 and the like are the hook's own
unpacked_hook='set -e
libraries="$1/usr/lib/aarch64-linux-gnu"
ln -s blas/libblas.so.3 lapack/liblapack.so.3 "$libraries/"
mkdir -p "$1/proc" "$1/DEBIAN"
{
  printf "processor\t: 0\nFeatures\t: fp asimd cpuid\nCPU implementer\t: 0x41\n"
  printf "CPU architecture: 8\nCPU variant\t: 0x1\nCPU part\t: 0xd03\nCPU revision\t: 4\n\n"
} >"$1/proc/cpuinfo"
for deb in "$1"/var/cache/apt/archives/*.deb; do
  for list in symbols shlibs; do
    dpkg-deb --info "$deb" $list >>"$1/DEBIAN/$list" 2>/dev/null || true
  done
done'

if [[ ! -e $root ]]; then
  echo "cross_build.sh: unpacking Debian's arm64 packages into $root"
  # shellcheck source=/dev/null
  suite="$(. /etc/os-release && echo "$VERSION_CODENAME")"
  "${as_root[@]}" rm -rf "$root.part"
  "${as_root[@]}" mmdebstrap --quiet --variant=extract --architectures=arm64 \
    --include=libopencv-dev,libgtest-dev,libgmock-dev,libc6-dev,libssl-dev,libcli11-dev,nlohmann-json3-dev \
    --dpkgopt='path-exclude=/usr/share/*' --dpkgopt='path-include=/usr/share/cmake/*' \
    --extract-hook="$unpacked_hook" \
    "$suite" "$root.part"
  "${as_root[@]}" mv "$root.part" "$root"
fi

tools/fetch.sh
cmake --preset aarch64-linux-gnu >/dev/null
ninja -C "$build" --quiet
ninja -C "$build" package
