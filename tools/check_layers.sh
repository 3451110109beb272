#!/usr/bin/env bash
# Holds the includes of the programs to their layers: a file includes its own folder and those of
# the levels below it.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

# One level per line, the ground first.
levels="app/base
npu
plate host_runtime
ocr
kana
reading
app report
shard"

mapfile -t files < <(git ls-files src host_runtime report shard | grep -E '\.(cpp|h)$')
awk -v levels="$levels" '
  function folder(path) { sub("^src/", "", path); sub("/?[^/]*$", "", path); return path }
  BEGIN {
    for (level = split(levels, lines, "\n"); level > 0; level--) {
      for (i = split(lines[level], names, " "); i > 0; i--) level_of[names[i]] = level
    }
  }
  /^ *# *include/ {
    split($0, parts, /["<>]/)
    from = folder(FILENAME)
    to = folder(parts[2])
    foreign = /</ && !(to in level_of)
    if (foreign || from == to || (to in level_of && level_of[to] < level_of[from])) next
    print FILENAME ":" FNR ": " from " must not include " parts[2]
    bad = 1
  }
  END { exit bad }' "${files[@]}"
