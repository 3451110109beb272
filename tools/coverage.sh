#!/usr/bin/env bash
# Prints which lines and branches of src/ and host_runtime/ the tests run. Branches that only an
# exception of a called function takes do not count.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
tools/setup.sh tests
tools/public_networks.sh
tools/need.sh gcovr:gcovr
cmake --preset coverage >/dev/null
ninja -C build-coverage --quiet
find build-coverage -name '*.gcda' -delete
ctest --preset coverage --parallel "$(nproc)" --quiet
counts=build-coverage/coverage.json
gcovr --root . --filter src/ --filter host_runtime/ --exclude-throw-branches \
  --exclude-unreachable-branches --json "$counts" build-coverage
gcovr --root . --add-tracefile "$counts"
gcovr --root . --add-tracefile "$counts" --branches --print-summary
