#!/usr/bin/env bash
# Holds the includes of the programs to their layers: a file includes its own folder and those that
# stand before it in a line.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

# Each line from the ground up; of two folders with a | between them neither includes the other.
lines="app/base npu host_runtime
app/base npu plate ocr kana reading app shard
app/base ocr kana reading report/base report/list|report/run report/assessment report/html|report/text report/commands report"

mapfile -t files < <(git ls-files src host_runtime report shard | grep -E '\.(cpp|h)$')
awk -v lines="$lines" '
  function folder(path) { sub("^src/", "", path); sub("/?[^/]*$", "", path); return path }
  BEGIN {
    for (line = split(lines, towers, "\n"); line > 0; line--) {
      for (level = split(towers[line], names, " "); level > 0; level--) {
        for (i = split(names[level], alike, "|"); i > 0; i--) level_of[line, alike[i]] = level
      }
    }
  }
  function is_below(to, from) {
    for (line in towers) {
      if ((line, to) in level_of && level_of[line, to] < level_of[line, from]) return 1
    }
    return 0
  }
  function is_layer(name) {
    for (line in towers) if ((line, name) in level_of) return 1
    return 0
  }
  /^ *# *include/ {
    split($0, parts, /["<>]/)
    from = folder(FILENAME)
    to = folder(parts[2])
    foreign = /</ && !is_layer(to)
    if (foreign || from == to || is_below(to, from)) next
    print FILENAME ":" FNR ": " from " must not include " parts[2]
    bad = 1
  }
  END { exit bad }' "${files[@]}"
