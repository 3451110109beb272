#!/bin/bash
# Fetches the files that a lock lists into third_party/: ONNX Runtime's of fetch.lock, or those of
# another lock:   tools/fetch.sh [LOCK]
# What is already there is left alone, so the script may run before every build.
set -euo pipefail

tools="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
lock="${1:-$tools/fetch.lock}"
third_party="$(dirname "$tools")/third_party"

fail() {
  echo "fetch.sh: $*" >&2
  exit 1
}

# The package being handled: its line of the lock and its files.
name='' version='' megabytes='' integrity=''
members=() destinations=()
scratch=''

# npm flattens a scoped name for the tarball: @scope/name becomes scope-name.
flat_name() {
  local flat="${name#@}"
  echo "${flat//\//-}"
}

# Records which tarball the files came from, so that a changed pin fetches
# again. Files put in place by hand have no record and are taken as they are.
record_path() {
  echo "$third_party/.$(flat_name).pin"
}

is_present() {
  local destination record
  for destination in "${destinations[@]}"; do
    [[ -f "$third_party/$destination" ]] || return 1
  done
  record="$(record_path)"
  [[ ! -f "$record" || "$(<"$record")" == "$integrity" ]]
}

# The lock has the registry's base64 form and sha512sum prints hexadecimal.
has_pinned_checksum() {
  local expected actual
  expected="$(base64 -d <<<"${integrity#sha512-}" | od -An -v -tx1 | tr -d ' \n')"
  actual="$(sha512sum <"$1")"
  [[ "${actual%% *}" == "$expected" ]]
}

# A workstation without a network should hear so within seconds, hence fewer
# retries than npm's own.
download() {
  local tarball="$1" log="$scratch/npm.log"
  # A service's user often has no home folder that npm could keep its copy in.
  [[ -w "${HOME:-}" ]] || export npm_config_cache="$scratch/npm"
  echo "fetch.sh: downloading $name $version ($megabytes MB)"
  npm pack "$name@$version" --pack-destination "$scratch" --fetch-retries=1 \
    --fetch-retry-mintimeout=1000 --no-update-notifier \
    </dev/null >"$log" 2>&1 ||
    fail "cannot download $name $version ($(failure_reason "$log"));" \
      "put $tarball, which holds ${destinations[0]} and its kind," \
      "into $third_party by hand and run again"
}

failure_reason() {
  local reason
  reason="$(sed -n 's/^npm \(error\|ERR!\) code //p; s/.*: \(npm: \)/\1/p' "$1" |
    head -n 1)"
  echo "npm pack: ${reason:-$(tail -n 1 "$1")}"
}

# Unpacks into a scratch folder and moves each file when all are complete, so
# that an interrupted run leaves no half file. The files get the present time,
# not the archive's, for what is made from them to be made anew.
extract() {
  local archive="$1" i destination
  tar -xzmf "$archive" -C "$scratch" --no-same-owner "${members[@]/#/package/}" ||
    fail "cannot take the files of $name $version out of $archive"
  for i in "${!members[@]}"; do
    destination="$third_party/${destinations[i]}"
    mkdir -p "$(dirname "$destination")"
    mv "$scratch/package/${members[i]}" "$destination"
  done
}

# Nothing is written where all is there: the tree may be another user's.
make_scratch() {
  [[ -z "$scratch" ]] || return 0
  mkdir -p "$third_party"
  scratch="$(mktemp -d -p "$third_party")"
  trap 'rm -rf "$scratch"' EXIT
}

fetch_package() {
  local tarball archive
  [[ -n "$name" ]] || return 0
  if is_present; then return 0; fi
  make_scratch
  tarball="$(flat_name)-$version.tgz"
  archive="$third_party/$tarball"
  if [[ ! -f "$archive" ]]; then
    archive="$scratch/$tarball"
    download "$tarball"
  fi
  has_pinned_checksum "$archive" ||
    fail "$archive is not $name $version: its sha512 differs from ${lock##*/}"
  echo "fetch.sh: unpacking $name $version into third_party"
  extract "$archive"
  echo "$integrity" >"$(record_path)"
  rm "$archive"
}

while read -r keyword first second third fourth; do
  case "$keyword" in
    package)
      fetch_package
      name="$first" version="$second" megabytes="$third" integrity="$fourth"
      members=() destinations=()
      ;;
    file)
      members+=("$first")
      destinations+=("$second")
      ;;
    '' | '#'*) ;;
    *) fail "${lock##*/} has an unknown line: $keyword $first" ;;
  esac
done <"$lock"
fetch_package
