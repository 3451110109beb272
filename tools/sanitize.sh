#!/usr/bin/env bash
# Runs the tests, but not those of reading rate and speed, under AddressSanitizer and
# UndefinedBehaviorSanitizer. A finding ends the program that has it.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
tools/setup.sh
tools/public_networks.sh
cmake --preset sanitize >/dev/null
echo "sanitize.sh: building"
ninja -C build-sanitize --quiet kavrel tests/all
export LSAN_OPTIONS="suppressions=$PWD/tests/lsan.supp:print_suppressions=0"
tools/run_test_programs.sh build-sanitize
