#!/usr/bin/env bash
# Reads plates on this workstation with the reference networks.
#   ./demo.sh [LIST.csv [OUTPUT_DIR]]
# Without a list it reads the rendered street frames. Paths, also those in the list, are relative to the
# folder in which it is started.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
if (($# > 2)) || [[ "${1:-}" == -* ]]; then
  echo "Usage: ./demo.sh [LIST.csv [OUTPUT_DIR]]" >&2
  exit 1
fi

"$root/tools/setup.sh"
echo "demo.sh: building"
[[ -f "$root/build/build.ninja" ]] || (cd "$root" && cmake --preset default >/dev/null)
ninja -C "$root/build" --quiet kavrel kavrel-report

if (($# == 0)); then cd "$root"; fi
list="${1:-samples/street/street_expected.csv}"
output_dir="${2:-output/demo}"
log="$output_dir/kavrel.log"
mkdir -p "$output_dir"
echo "demo.sh: reading the plates of $list"

# The log is for later; of its lines the terminal shows the case that is read and what went wrong.
final_result="$({
  "$root/build/kavrel" \
    --input-mode auto \
    --plate-det-model "$root/models/reference/plate_det.onnx" \
    --plate-corner-model "$root/models/reference/plate_corner.onnx" \
    --ppocr-det-model "$root/models/reference/plate_text.onnx" \
    --ppocr-rec-model "$root/models/reference/plate_rec.onnx" \
    --ocr-dict "$root/dict/plate_rec_dict.txt" \
    --dict-region "$root/dict/region_words.txt" \
    --input-list "$list" \
    --output-dir "$output_dir" 2>&1 >&3 |
    tee "$log" | grep --line-buffered -v '^\[KANA_FALLBACK' >&2
} 3>&1)"

echo "$final_result"
"$root/build/kavrel-report" html "$output_dir" >/dev/null
echo "
Look next at
  $output_dir/report.html          what was misread and why, for a browser
  $output_dir/summary.csv          what each vehicle was read as
  $output_dir/frame_summary.csv    every frame, with all of its readings
  $output_dir/cases/               each frame's pictures, result.txt and result.json
  $log          the whole log"
