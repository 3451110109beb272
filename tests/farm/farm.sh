# To be sourced: a folder with networks and a list, jobs on it, and what must come of each.
# Needs build/ as ./test.sh leaves it. The networks are scripts, so that hundreds of runs cost little.
# shellcheck shell=bash disable=SC2119,SC2120

root="$PWD"
build="$root/build"
farm="$(mktemp -d)"
export PATH="$build:$PATH:/usr/sbin" LD_LIBRARY_PATH="$build/scripted_runtime"

say() { echo "== $*"; }

give_up() {
  echo "$*" >&2
  exit 1
}

# Ends a process and all that it has started.
kill_tree() {
  local child
  for child in $(pgrep -P "$1"); do kill_tree "$child"; done
  kill -KILL "$1" 2>/dev/null || true
}

# Waits until a command succeeds, for so many seconds at most.
wait_for() {
  local seconds="$1" tries
  shift
  for ((tries = seconds * 10; tries > 0; --tries)); do
    if "$@" >/dev/null 2>&1; then return; fi
    sleep 0.1
  done
  give_up "waited $seconds s for: $*"
}

# The folder in which jobs are planned. A run of a network takes so many ms, or none.
write_inputs() {
  mkdir -p "$farm/work/models"
  cd "$farm/work" || exit
  [[ -e samples ]] || cp -r "$root/samples" .
  printf '%s\n' 品 川 あ 1 2 5 0 >dictionary.txt
  printf '品川\n' >words.txt
  printf 'name corner\ninput image 1,128,256,3\noutput corners 1,8\n%s\n' \
    'answer * 0 floats 0 0 1 0 1 1 0 1' >models/corner
  printf 'name lines\ninput image 1,640,640,3\noutput map 1,1,64,64\n' >models/lines
  {
    printf 'name reader\ninput image 1,48,320,3\noutput steps 1,16,8\nby_input 3\n'
    printf 'answer 1 0 steps 8 1 0 2 0 6 0 7 0 7\nanswer 2 0 steps 8 3 0 4 0 5 0 4 0 5\n'
    [[ -z "${1:-}" ]] || printf 'sleep * %s\n' "$1"
  } >models/reader
  options=(--plate-corner-model models/corner --ppocr-det-model models/lines
    --ppocr-rec-model models/reader --dict-region words.txt --ocr-dict dictionary.txt)
  list=samples/rendered/rendered_expected.csv
}

# What one run over a list leaves, in one/ and one.txt.
run_once() {
  rm -rf out one
  kavrel "${options[@]}" --input-list "${1:-$list}" --output-dir out >one.txt 2>/dev/null
  mv out one
}

new_job() {
  rm -rf job out
  kavrel-shard plan --input-list "${1:-$list}" --shards 9 job -- "${options[@]}" >/dev/null
  sed -i '/^--bar$/d' job/parallel # it fills a log
}

check_output() {
  diff -r --exclude=kavrel.log one out
  diff one.txt merged.txt
}

# The job is done, and its merge is the one run.
check_same() {
  [[ -z "$(kavrel-shard todo job)" ]] || give_up "shards are left to do"
  kavrel-shard merge job --output-dir out >merged.txt
  check_output
}

# The merge refuses the job as it is, with this finding.
check_refused() {
  local status=0
  kavrel-shard merge job --output-dir out >/dev/null 2>"$farm/merge.log" || status=$?
  if ((status != 1)) || [[ -e out ]]; then give_up "the merge took what it must not"; fi
  grep -q "$1" "$farm/merge.log" || give_up "the merge does not say: $1, but $(<"$farm/merge.log")"
}
