#!/usr/bin/env bash
# What the cores of one machine are used for best: the demo's list is read by one process whose networks
# have one thread, by one with two threads, and by two processes of kavrel-shard with one each. That is
# done in turn, so that all meet the same other work; of each the least time counts.
#   bench/processes.sh [ROUNDS [LIST.csv]]
# Needs build/ as ./test.sh leaves it.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
tools/need.sh parallel:parallel

rounds="${1:-3}"
list="${2:-samples/street/street_expected.csv}"
scratch="$(mktemp -d)"
trap 'rm -rf "$scratch"' EXIT
options=(--input-mode auto
  --plate-det-model models/reference/plate_det.onnx
  --plate-corner-model models/reference/plate_corner.onnx
  --ppocr-det-model models/reference/plate_text.onnx
  --ppocr-rec-model models/reference/plate_rec.onnx --ocr-dict dict/plate_rec_dict.txt)

one_process() {
  KAVREL_HOST_THREADS="$1" build/kavrel --input-list "$list" --output-dir "$scratch/out" "${options[@]}" \
    >"$scratch/one.txt" 2>/dev/null
}

two_processes() {
  build/kavrel-shard plan --input-list "$list" --shards 2 "$scratch/job" -- "${options[@]}"
  build/kavrel-shard todo "$scratch/job" | parallel --profile "$scratch/job/parallel" --jobs 2
  build/kavrel-shard merge "$scratch/job" --output-dir "$scratch/out"
} >"$scratch/two.txt" 2>/dev/null

# Seconds on the clock and of the processors' time are kept by name; the least of those on the clock.
timed() {
  local name="$1" TIMEFORMAT='%R %U %S'
  shift
  rm -rf "$scratch/out" "$scratch/job"
  { time "$@"; } 2>>"$scratch/$name"
}
least() { sort -n "$scratch/$1" | head -1 | cut -d ' ' -f 1; }
last() { tail -1 "$scratch/$1" | awk '{ printf "%.1f s (%.1f s of CPU)", $1, $2 + $3 }'; }

for ((round = 1; round <= rounds; ++round)); do
  timed one_thread one_process 1
  timed two_threads one_process 2
  cp "$scratch/out/frame_summary.csv" "$scratch/frames.csv"
  timed processes two_processes
  cmp "$scratch/frames.csv" "$scratch/out/frame_summary.csv"
  echo "round $round: one thread $(last one_thread), two threads $(last two_threads)," \
    "two processes $(last processes); load $(cut -d ' ' -f 1 /proc/loadavg) on $(nproc) cores"
done
awk -v two="$(least processes)" -v one="$(least one_thread)" -v threads="$(least two_threads)" 'BEGIN {
  printf "two processes take %.2f of the time of one with one thread, and %.2f of one with two threads\n",
    two / one, two / threads }'
