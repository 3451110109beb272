#!/usr/bin/env bash
# Fetches the public PP-OCR networks and prepares them as models/host. kavrel reads plates with the
# networks of models/reference; the public ones are for comparison and for the tests that run kavrel
# on networks made by others.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

tools/need.sh npm:npm python3-onnx
tools/fetch.sh tools/public_networks.lock
tools/prepare_models.py
