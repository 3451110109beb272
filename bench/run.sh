#!/usr/bin/env bash
# Builds and runs the benchmarks, in two minutes:   bench/run.sh
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

tools/setup.sh tests
tools/need.sh libbenchmark-dev
cmake --preset dev -DKAVREL_BENCH=ON >/dev/null
ninja -C build --quiet bench/all kavrel

# In memory, so that the disk is not measured.
if [[ -d /dev/shm ]]; then export TMPDIR=/dev/shm; fi
build/bench/case_cost
build/bench/functions
