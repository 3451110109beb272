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
git ls-files 'src/*.cpp' 'host_runtime/*.cpp' 'report/*.cpp' 'shard/*.cpp' |
  xargs -P "$(nproc)" -n 4 clang-tidy --quiet -p build
