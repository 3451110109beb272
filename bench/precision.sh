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

# The public networks, after the first frames of eight vehicles.
quantise_public() {
  mkdir -p "$1"/{float16,int8,mixed}
  sed -n '1p; /_f01\.jpg,/p' samples/street/street_expected.csv | head -n 9 >"$1/list.csv"
  KAVREL_HOST_INPUTS="$1/recording" build/kavrel \
    --input-mode frame \
    --plate-det-model models/reference/plate_det.onnx \
    --plate-corner-model models/reference/plate_corner.onnx \
    --ppocr-det-model models/host/ppocr_det.onnx \
    --ppocr-rec-model models/host/ppocr_rec.onnx \
    --ocr-dict models/host/ppocr_rec_dict.txt \
    --input-list "$1/list.csv" \
    --output-dir "$1/run" >"$1/log" 2>&1
  local network precision
  for network in ppocr_rec ppocr_det; do
    for precision in float16 int8 mixed; do
      tools/quantise.py "models/host/$network.onnx" --precision "$precision" --count 20 \
        --pictures "$1/recording" -o "$1/$precision/$network.onnx"
    done
  done
  rm -r "$1/recording"
}

folder="${1:-output/precision}"
if [[ ! -d "$folder/hard" ]]; then
  training/render_street.py --hard --seed 404122 --output "$folder/hard"
fi
if [[ ! -d "$folder/second" ]]; then
  training/render_second.py --seed 1 --vehicles 40 --output "$folder/second"
fi
tools/quantise_reference.sh "$folder/networks"
if [[ ! -e "$folder/public/mixed/ppocr_det.onnx" ]]; then quantise_public "$folder/public"; fi
bench/precision.py "$folder"
