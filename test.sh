#!/usr/bin/env bash
# Builds everything and runs all tests. Arguments go to ctest: ./test.sh -R ctc
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
"$root/tools/setup.sh"
"$root/tools/need.sh" chromium:chromium xmllint:libxml2-utils
ctest --test-dir "$root/build" --output-on-failure --no-tests=error --parallel "$(nproc)" "$@"
