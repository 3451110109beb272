#!/usr/bin/env bash
# Makes a Debian machine ready to build and run kavrel, or all of its tests, too: installs the packages
# that are missing, fetches ONNX Runtime. Quick when there is nothing to do.
#   tools/setup.sh [tests]
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

packages=(g++:g++ cmake:cmake ninja:ninja-build npm:npm libopencv-dev
  nlohmann-json3-dev libcli11-dev libkainjow-mustache-dev libpugixml-dev libutfcpp-dev
  libexif-dev libssl-dev)
if [[ "${1:-}" == tests ]]; then
  packages+=(libgtest-dev libgmock-dev libclang-rt-dev libvalijson-dev parallel:parallel
    python3-jsonschema python3-yaml)
fi
tools/need.sh "${packages[@]}"
tools/fetch.sh
if [[ "${1:-}" == tests ]]; then tools/fetch.sh tools/schemas.lock; fi
