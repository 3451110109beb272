#!/usr/bin/env bash
# Holds the C++ code to .clang-format and .clang-tidy, and the scripts to shellcheck.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

missing=()
for program in clang-format clang-tidy shellcheck; do
  command -v "$program" >/dev/null || missing+=("$program")
done
if ((${#missing[@]} > 0)); then
  as_root=()
  ((EUID == 0)) || as_root=(sudo)
  "${as_root[@]}" apt-get update -qq
  DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get install -y -qq \
    --no-install-recommends "${missing[@]}" >/dev/null
fi

git ls-files '*.c' '*.cpp' '*.h' | xargs clang-format --dry-run -Werror
shellcheck demo.sh test.sh .ci/run tools/*.sh tools/mutate tests/*/*.sh bench/*.sh
git ls-files 'src/*.cpp' 'host_runtime/*.cpp' 'tools/report/*.cpp' |
  xargs -P "$(nproc)" -n 4 clang-tidy --quiet -p build
