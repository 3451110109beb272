#!/usr/bin/env bash
# What 16 and 8 bits cost, in hours of one core:   bench/precision.sh [DIR]
# Draws the sets, quantises the networks, runs kavrel with each of them, and prints the tables of
# docs/board.md. What lies in DIR (output/precision) from an earlier call is not done again.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

tools/setup.sh
tools/need.sh python3-onnx python3-numpy python3-opencv python3-torch python3-pil
cmake --preset dev >/dev/null
ninja -C build --quiet kavrel
tools/public_networks.sh

folder="${1:-output/precision}"
mkdir -p "$folder/public"
if [[ ! -d "$folder/hard" ]]; then
  training/render_street.py --hard --seed 404122 --output "$folder/hard"
fi
if [[ ! -d "$folder/second" ]]; then
  training/render_second.py --seed 1 --vehicles 40 --output "$folder/second"
fi
tools/quantise_reference.sh "$folder/networks"
bench/precision.py "$folder"
