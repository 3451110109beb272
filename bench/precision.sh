#!/usr/bin/env bash
# What 16 and 8 bits cost, in an hour of one core:   bench/precision.sh [DIR [OPTION...]]
# Draws the sets, quantises the networks, runs kavrel with each of them, and prints the tables of
# docs/board.md. What lies in DIR (output/precision) from an earlier call is not done again, so that
# it can be ended at any time; a kavrel that reads otherwise wants another DIR. The options are those of
# bench/precision.py: --parts 1 takes every eighth vehicle for all rows, --parts 8 all vehicles,
# --jobs 0 prints what is there.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

tools/setup.sh
tools/need.sh python3-onnx python3-numpy python3-opencv python3-torch python3-pil
cmake --preset dev >/dev/null
ninja -C build --quiet kavrel
tools/public_networks.sh

folder="${1:-output/precision}"
forms=(float16 mixed int8)

# The public networks, after the first frames of eight vehicles.
quantise_public() {
  mkdir -p "$1"
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
  local network form
  for form in "${forms[@]}"; do
    mkdir -p "$1/$form"
    for network in ppocr_rec ppocr_det; do
      tools/quantise.py "models/host/$network.onnx" --precision "$form" --count 20 \
        --pictures "$1/recording" -o "$1/$form/$network.onnx"
    done
  done
  rm -r "$1/recording"
}

# Runs a command unless DIR/NAME.of says that it was done with these files:   once NAME FILE... -- COMMAND
once() {
  local name="$1" files=() of
  shift
  while [[ "$1" != -- ]]; do
    files+=("$1")
    shift
  done
  of="$(sha256sum "${files[@]}")"
  if [[ "$of" != "$(cat "$folder/$name.of" 2>/dev/null)" ]]; then
    "${@:2}"
    echo "$of" >"$folder/$name.of"
  fi
}

mkdir -p "$folder"
if [[ ! -e "$folder/hard/street_truth.json" ]]; then
  /usr/bin/python3 training/render_street.py --hard --seed 404122 --output "$folder/hard"
fi
if [[ ! -e "$folder/second/street_truth.json" ]]; then
  /usr/bin/python3 training/render_second.py --seed 1 --vehicles 40 --output "$folder/second"
fi
once networks models/reference/*.onnx tools/quantise*.py -- \
  tools/quantise_reference.sh "$folder/networks" "${forms[@]}" int8-percentile int8-kl
once public models/host/*.onnx tools/quantise*.py -- quantise_public "$folder/public"
bench/precision.py "$folder" "${@:2}"
