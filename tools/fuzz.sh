#!/usr/bin/env bash
# Fuzzes each target for SECONDS, as many at a time as there are cores.
#   tools/fuzz.sh SECONDS [TARGET...]    targets are the folders of fuzz/corpus
# What reaches new code is kept in build-fuzz/corpus for the next time. An input that breaks a
# promise ends its target and lies in build-fuzz/findings; the exit status is then not 0. Once
# fixed it belongs into fuzz/corpus, which the tests replay.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
if [[ ! "${1:-}" =~ ^[1-9][0-9]*$ ]]; then
  echo "Usage: tools/fuzz.sh SECONDS [TARGET...]" >&2
  exit 1
fi
seconds="$1"
shift
targets=("$@")
if ((${#targets[@]} == 0)); then mapfile -t targets < <(ls fuzz/corpus); fi

tools/setup.sh tests
tools/need.sh clang++:clang
[[ -f build-fuzz/build.ninja ]] || cmake --preset fuzz >/dev/null
ninja -C build-fuzz --quiet fuzz

export LSAN_OPTIONS="suppressions=$PWD/tests/lsan.supp:print_suppressions=0"
fuzz_one() {
  local seconds="$1" target="$2"
  local corpus="build-fuzz/corpus/$target" log="build-fuzz/$target.log"
  mkdir -p "$corpus" build-fuzz/findings
  # What the target itself prints is closed: it costs more time than the work.
  if ! "build-fuzz/fuzz/fuzz_$target" -max_total_time="$seconds" -timeout=20 -close_fd_mask=3 \
    -print_final_stats=1 -artifact_prefix="build-fuzz/findings/$target-" \
    "$corpus" "fuzz/corpus/$target" >"$log" 2>&1; then
    echo "fuzz.sh: $target found something, see $log" >&2
    tail -n 40 "$log" >&2
    return 1
  fi
  echo "$target: $(sed -n 's/^stat::number_of_executed_units: *//p' "$log") executions"
}
export -f fuzz_one
printf '%s\n' "${targets[@]}" |
  xargs -P "$(nproc)" -I{} bash -euo pipefail -c "fuzz_one $seconds {}"
