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
# The largest files first, so that no core waits for one of them at the end. Of the libraries' templates
# those that nothing uses are not read, which saves a quarter of the time.
git ls-files 'src/*.cpp' 'host_runtime/*.cpp' 'report/*.cpp' 'shard/*.cpp' | xargs ls -S |
  xargs -P "$(nproc)" -n 1 clang-tidy --quiet -p build --extra-arg=-fdelayed-template-parsing
