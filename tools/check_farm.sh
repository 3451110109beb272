#!/usr/bin/env bash
# Runs kavrel-shard on a farm on this machine: three hosts that parallel reaches by ssh, and a Slurm of
# three nodes. Needs build/ as ./test.sh leaves it.
#   tools/check_farm.sh [quick]     quick: one host, three slots and one fault
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

tests/farm/hosts.sh "$@"
[[ "${1:-}" == quick ]] || tests/farm/slurm.sh
