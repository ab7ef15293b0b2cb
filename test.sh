#!/usr/bin/env bash
# Installs what is missing, builds (release preset) and runs every test.
set -euo pipefail
cd "$(dirname "$0")"
./scripts/setup.sh
cmake --preset release >/dev/null
cmake --build --preset release
ctest --preset release --parallel "$(nproc)" "$@"
