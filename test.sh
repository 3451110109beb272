#!/usr/bin/env bash
# Builds everything and runs all tests. Arguments go to ctest: ./test.sh -R ctc
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
tools/setup.sh tests
tools/public_networks.sh
tools/need.sh chromium:chromium xmllint:libxml2-utils
cmake --preset dev >/dev/null
echo "test.sh: building"
ninja -C build --quiet
ctest --test-dir build --output-on-failure --no-tests=error --parallel "$(nproc)" "$@"
