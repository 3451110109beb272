#!/usr/bin/env bash
# Prints which lines and branches of src/ and host_runtime/ the tests run. Branches that only an
# exception of a called function takes do not count.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
tools/setup.sh
tools/public_networks.sh
tools/need.sh gcovr:gcovr
cmake --preset coverage >/dev/null
ninja -C build-coverage --quiet kavrel tests/all
find build-coverage -name '*.gcda' -delete
tools/run_test_programs.sh build-coverage >/dev/null 2>&1 ||
  { echo "coverage.sh: a test failed, see ctest --preset coverage" >&2; exit 1; }
counts=build-coverage/coverage.json
gcovr --root . --filter src/ --filter host_runtime/ --exclude-throw-branches \
  --exclude-unreachable-branches --json "$counts" build-coverage
gcovr --root . --add-tracefile "$counts"
gcovr --root . --add-tracefile "$counts" --branches --print-summary
