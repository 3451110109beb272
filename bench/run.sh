#!/usr/bin/env bash
# Builds and runs all benchmarks. The first argument names one of them, the rest is for it:
#   bench/run.sh
#   bench/run.sh functions --benchmark_filter=decode
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

tools/setup.sh
tools/need.sh libbenchmark-dev
cmake -S . -B build-bench -G Ninja -DKAVREL_BENCH=ON -DKAVREL_TESTS=OFF >/dev/null
ninja -C build-bench --quiet

# In memory, so that the disk is not measured.
if [[ -d /dev/shm ]]; then export TMPDIR=/dev/shm; fi
if (($# > 0)); then
  benchmark="$1"
  shift
  exec "build-bench/bench/$benchmark" "$@"
fi
for benchmark in functions case_cost runtime_cost; do
  echo
  echo "==== $benchmark"
  "build-bench/bench/$benchmark"
done
