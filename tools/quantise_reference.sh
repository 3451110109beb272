#!/usr/bin/env bash
# Writes our networks in 16 bits, 8 bits and both, in a minute:   tools/quantise_reference.sh [DIR [FORM...]]
# DIR/float16, DIR/int8 and DIR/mixed have them under the names of models/reference; DIR is
# output/quantised unless named. A form int8-percentile or int8-kl takes its ranges so. They are
# calibrated on the first frame of each vehicle of samples/street and of samples/rendered, whose plates
# fill the picture. kavrel must have been built for the workstation.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

tools/need.sh python3-onnx python3-numpy
networks="${1:-output/quantised}"
forms=("${@:2}")
if ((${#forms[@]} == 0)); then forms=(float16 int8 mixed); fi
models=models/reference
recording="$networks/recording"
mkdir -p "$recording"

# Keeps what kavrel feeds each network:   record NAME LIST OPTION...
record() {
  sed -n '1p; /_f01\.jpg,/p' "$2" >"$recording/$1.csv"
  if ! KAVREL_HOST_INPUTS="$recording/$1" build/kavrel "${@:3}" \
    --plate-corner-model "$models/plate_corner.onnx" \
    --ppocr-det-model "$models/plate_text.onnx" \
    --ppocr-rec-model "$models/plate_rec.onnx" \
    --ocr-dict dict/plate_rec_dict.txt \
    --input-list "$recording/$1.csv" \
    --output-dir "$recording/run" >"$recording/log" 2>&1; then
    tail -n 1 "$recording/log" >&2
    exit 1
  fi
}

record frames samples/street/street_expected.csv \
  --input-mode frame --plate-det-model "$models/plate_det.onnx"
record plates samples/rendered/rendered_expected.csv

for form in "${forms[@]}"; do
  mkdir -p "$networks/$form"
  ranges=min-max
  if [[ "$form" == *-* ]]; then ranges="${form#*-}"; fi
  for network in plate_det plate_corner plate_text plate_rec; do
    tools/quantise.py "$models/$network.onnx" --precision "${form%%-*}" --ranges "$ranges" \
      --pictures "$recording/frames" "$recording/plates" -o "$networks/$form/$network.onnx"
  done
done
rm -r "$recording"
