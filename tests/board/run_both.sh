#!/usr/bin/env bash
# Stands in for kavrel in the program tests (KAVREL_TEST_PROGRAM): runs the build of another
# architecture and then this machine's, each in the test's working directory as it was, leaves the
# second outcome to the test, and adds a line to $BOTH_REPORT: "same", or what differs in standard
# output, standard error, exit status, the sequence of the runtime's calls or any file. OpenCV rounds
# differently from one processor to another, so pictures are told apart from the rest: "same but for"
# their names.
#   BOTH_NATIVE      kavrel
#   BOTH_FOREIGN     command that runs the other kavrel with its scripted runtime
set -uo pipefail
work="$PWD"
log="$SCRIPTED_RKNNRT_LOG"
scratch="$(mktemp -d)"
trap 'rm -rf "$scratch"' EXIT

# Runs a command here and keeps all that it leaves but its files.
run() {
  local kept="$scratch/$1"
  shift
  mkdir "$kept"
  "$@" >"$kept/stdout" 2>"$kept/stderr"
  echo $? >"$kept/status"
  [[ ! -e "$log" ]] || mv "$log" "$kept/calls"
}

cp -a "$work" "$scratch/before"
read -ra foreign <<<"$BOTH_FOREIGN"
run foreign "${foreign[@]}" "$@"
mv "$work" "$scratch/foreign/files"
mv "$scratch/before" "$work"
cd "$work" || exit 125
run native "$BOTH_NATIVE" "$@"
cp -a "$work" "$scratch/native/files"

# What a call was given, without the pixels.
for kept in native foreign; do
  [[ ! -e "$scratch/$kept/calls" ]] ||
    sed 's/ pixels=[0-9a-f]*//' "$scratch/$kept/calls" >"$scratch/$kept/calls_made"
done
cd "$scratch" || exit 125
if ! difference="$(diff -r --exclude='*.jpg' --exclude=calls native foreign 2>&1)"; then
  echo "kavrel $*: $(head -n 9 <<<"$difference")"
else
  pictures="$(diff -rq native/files foreign/files | sed -n 's/^Files .*\/\(.*\.jpg\) differ$/\1/p')"
  echo "same${pictures:+ but for $(sort -u <<<"$pictures" | tr '\n' ' ')}"
fi >>"$BOTH_REPORT"
cd "$work" || exit 125

[[ ! -e "$scratch/native/calls" ]] || mv "$scratch/native/calls" "$log"
cat "$scratch/native/stderr" >&2
cat "$scratch/native/stdout"
status="$(<"$scratch/native/status")"
rm -rf "$scratch"
if ((status > 128)); then kill "-$((status - 128))" $$; fi # as the program was ended by a signal
exit "$status"
