#!/usr/bin/env bash
# Runs kavrel and keeps what it says, and what was run, beside its results:
#   tools/logged.sh build/kavrel --input-list LIST.csv --output-dir DIR ...
# DIR/kavrel.log begins with the command, the checksums of the files that it names and the runtime, has
# every line of the run, and ends with its status and duration. kavrel-report reads it.
set -euo pipefail

output_dir=output/v21_product_validation # kavrel's default
for ((i = 1; i < $#; i++)); do
  if [[ "${!i}" == --output-dir ]]; then
    next=$((i + 1))
    output_dir="${!next}"
  fi
done

checksums() {
  local word
  for word in "$@"; do
    if [[ -f "$word" ]]; then echo "[RUN] sha256=$(sha256sum <"$word" | cut -d ' ' -f 1) $word"; fi
  done
}

runtime() {
  local library
  library="$(ldd "$(command -v "$1")" 2>/dev/null |
    sed -n 's/.*librknnrt.so.* => \(.*\) (.*/\1/p')" || true
  if [[ -n "$library" ]]; then
    echo "[RUN] runtime=$library"
    checksums "$library"
  fi
}

mkdir -p "$output_dir"
log="$output_dir/kavrel.log"
{
  echo "[RUN] started=$(date -u +%Y-%m-%dT%H:%M:%S)"
  echo "[RUN] machine=$(uname -s -m)"
  echo "[RUN] command=$(printf '%s\n' "$@" | sed 's/[][ \\"'\''`$&|;<>()*?!~#]/\\&/g' | paste -s -d ' ')"
  checksums "$@"
  runtime "$1"
} >"$log"

status=0
{ "$@" 2>&1 >&3 | tee -a "$log" >&2 || status="${PIPESTATUS[0]}"; } 3>&1
echo "[RUN] status=$status seconds=$SECONDS" >>"$log"
exit "$status"
