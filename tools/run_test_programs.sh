#!/usr/bin/env bash
# Runs all tests of a build folder but those of the reading rate and of speed, in as many parts as
# there are cores. Unlike ctest it does not start a program for each test, which under a sanitizer
# takes longer than most tests.
set -euo pipefail
build="${1:?Usage: tools/run_test_programs.sh BUILD_DIR}"
GTEST_TOTAL_SHARDS="$(nproc)"
export GTEST_TOTAL_SHARDS GTEST_FILTER="-LargeRun.*"
find "$build/tests" -type f -executable -name '*_test*' ! -name accuracy_test | sort |
  while read -r program; do
    echo "$program"
    seq 0 $((GTEST_TOTAL_SHARDS - 1)) |
      xargs -P 0 -I{} env GTEST_SHARD_INDEX={} "$program" --gtest_brief=1
  done
