#!/usr/bin/env bash
# Makes a Debian machine ready to build, run and test kavrel: installs the packages that are missing,
# fetches ONNX Runtime. Quick when there is nothing to do.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

tools/need.sh g++:g++ cmake:cmake ninja:ninja-build npm:npm \
  libopencv-dev libgtest-dev libgmock-dev libclang-rt-dev \
  nlohmann-json3-dev libcli11-dev libkainjow-mustache-dev libpugixml-dev libutfcpp-dev libcsv-dev \
  libvalijson-dev
tools/fetch.sh
