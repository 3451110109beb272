#!/usr/bin/env bash
# Runs the tests under AddressSanitizer and UndefinedBehaviorSanitizer. Arguments go to ctest.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
tools/setup.sh
cmake --preset sanitize >/dev/null
echo "sanitize.sh: building"
ninja -C build/sanitize --quiet
ctest --preset sanitize --no-tests=error --parallel "$(nproc)" "$@"
