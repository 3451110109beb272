#!/usr/bin/env bash
# Runs the tests under AddressSanitizer and UndefinedBehaviorSanitizer, themselves instrumented, too.
# A finding ends the program that has it.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
tools/setup.sh tests
tools/need.sh clang++:clang llvm-symbolizer:llvm
tools/public_networks.sh
cmake --preset sanitize >/dev/null
echo "sanitize.sh: building"
ninja -C build-sanitize --quiet
ctest --preset sanitize --parallel "$(nproc)"
