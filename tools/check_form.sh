#!/usr/bin/env bash
# Holds the C++ code to its layers, .clang-format and .clang-tidy, and the scripts to shellcheck.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

tools/need.sh clang-format:clang-format clang-tidy:clang-tidy shellcheck:shellcheck

tools/check_layers.sh
# Headers stand by their path, integer types by std::. The runtime's interface is C.
if git grep -nE '^#include "[^/"]+"|(^|[^:_[:alnum:]])(u?int(8|16|32|64)|size)_t\b' -- \
  '*.cpp' '*.h' ':!src/npu/rknn_api.h'; then
  exit 1
fi
git ls-files '*.c' '*.cpp' '*.h' | xargs clang-format --dry-run -Werror
shellcheck demo.sh test.sh .ci/run tools/*.sh packaging/*.sh tests/*/*.sh bench/*.sh
shellcheck --shell=bash packaging/completions/*

# tidy BUILD CHECKS: runs clang-tidy over the files that standard input names, with these added to the
# checks of .clang-tidy. The largest files first, so that no core waits for one of them at the end. Of the
# libraries' templates those that nothing uses are not read, which saves a quarter of the time.
tidy() {
  xargs -d '\n' ls -S | xargs -d '\n' -P "$(nproc)" -n 1 \
    clang-tidy --quiet -p "$1" --checks="$2" --extra-arg=-fdelayed-template-parsing
}

# The analyzer follows the functions of the file that it is given, and of none that this includes. All
# other checks read what is included, too, so they are given the files of a folder as one.
git ls-files 'src/*.cpp' 'host_runtime/*.cpp' 'report/*.cpp' 'shard/*.cpp' |
  tidy build "-bugprone-*,-cert-*,-cppcoreguidelines-*,-google-*,-misc-*,-modernize-*,-performance-*,-readability-*"
cmake --preset dev -B build-form -DKAVREL_TESTS=OFF -DKAVREL_FOLDERS_AS_ONE=ON >/dev/null
sed -n 's/^ *"file": "\(.*\)".*/\1/p' build-form/compile_commands.json | grep -v /packaging/ |
  tidy build-form "-clang-analyzer-*"
