#!/usr/bin/env bash
# Makes a Debian machine ready to run kavrel and its tests: installs the packages that are missing,
# fetches the pinned files, prepares the networks and builds. Quick when there is nothing to do.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

# A program that must be there, and the package that has it.
programs=(g++:g++ cmake:cmake ninja:ninja-build npm:npm)
packages=(libopencv-dev libgtest-dev libgmock-dev libclang-rt-14-dev python3-onnx
  nlohmann-json3-dev libcli11-dev libkainjow-mustache-dev libpugixml-dev libutfcpp-dev libcsv-dev
  libvalijson-dev)

missing=()
for entry in "${programs[@]}"; do
  command -v "${entry%%:*}" >/dev/null || missing+=("${entry#*:}")
done
for package in "${packages[@]}"; do
  [[ "$(dpkg-query -W -f '${Status}' "$package" 2>/dev/null)" == *"ok installed" ]] ||
    missing+=("$package")
done

if ((${#missing[@]} > 0)); then
  as_root=()
  ((EUID == 0)) || as_root=(sudo)
  echo "setup.sh: installing ${missing[*]}"
  "${as_root[@]}" apt-get update -qq
  DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get install -y -qq \
    --no-install-recommends "${missing[@]}" >/dev/null
fi

tools/fetch.sh
tools/prepare_models.py
[[ -f build/build.ninja ]] || cmake --preset default >/dev/null
echo "setup.sh: building"
ninja -C build --quiet
