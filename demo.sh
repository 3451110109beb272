#!/usr/bin/env bash
# Reads plates on this workstation with the reference networks.
#   ./demo.sh [LIST.csv [OUTPUT_DIR [OPTION_OF_KAVREL...]]]
# Without a list it reads the rendered street frames. Paths, also those in the list, are relative to the
# folder in which it is started.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
usage="Usage: ./demo.sh [LIST.csv [OUTPUT_DIR [OPTION_OF_KAVREL...]]]"
if [[ "${1:-}" == -h || "${1:-}" == --help ]]; then
  echo "$usage"
  exit 0
fi
if [[ "${1:-}" == -* || "${2:-}" == -* ]]; then
  echo "$usage" >&2
  exit 1
fi
list="${1:-samples/street/street_expected.csv}"
output_dir="${2:-output/demo}"

# A complete tree may be another user's, who alone can build in it.
if [[ -w "$root" || ! -x "$root/build/kavrel-shard" ]]; then
  "$root/tools/setup.sh"
  echo "demo.sh: building"
  [[ -f "$root/build/build.ninja" ]] || (cd "$root" && cmake --preset default >/dev/null)
  ninja -C "$root/build" --quiet kavrel kavrel-report kavrel-shard
fi

if (($# == 0)); then
  [[ -w "$root" ]] || output_dir="$PWD/$output_dir"
  cd "$root"
fi
status=0
"$root/build/kavrel-report" check "$list" || status=$?
if ((status == 1)); then
  echo "demo.sh: the list has errors, so nothing was read" >&2
  exit 1
fi

# What an earlier run left would pass for this one's, should this one be aborted.
mkdir -p "$output_dir"
rm -f "$output_dir"/{report.html,summary.csv,frame_summary.csv,FINAL_RESULT.json}
echo "demo.sh: reading the plates of $list"

# The log is for later; of its lines the terminal shows the case that is read and what went wrong.
status=0
final_result="$({
  "$root/tools/logged.sh" "$root/build/kavrel" \
    --input-mode auto \
    --plate-det-model "$root/models/reference/plate_det.onnx" \
    --plate-corner-model "$root/models/reference/plate_corner.onnx" \
    --ppocr-det-model "$root/models/reference/plate_text.onnx" \
    --ppocr-rec-model "$root/models/reference/plate_rec.onnx" \
    --ocr-dict "$root/dict/plate_rec_dict.txt" \
    --dict-region "$root/dict/region_words.txt" \
    --input-list "$list" \
    --output-dir "$output_dir" \
    "${@:3}" 2>&1 >&3 |
    { grep --line-buffered -v '^\[KANA_FALLBACK' || true; } >&2
} 3>&1)" || status=$?

echo "$final_result"
if ((status == 0 || status == 2)); then
  "$root/build/kavrel-shard" verify "$output_dir" --input-list "$list" >/dev/null ||
    echo "demo.sh: the output directory does not hold one whole run, see above" >&2
fi
if [[ -f "$output_dir/frame_summary.csv" ]]; then
  "$root/build/kavrel-report" html "$output_dir" >/dev/null
  echo "
Look next at
  $output_dir/report.html          what was misread and why, for a browser
  $output_dir/summary.csv          what each vehicle was read as
  $output_dir/frame_summary.csv    every frame, with all of its readings
  $output_dir/cases/               each frame's pictures, result.txt and result.json
  $output_dir/kavrel.log           the whole log"
fi
((status == 0)) || echo "demo.sh: the run ended with status $status" >&2
exit "$status"
