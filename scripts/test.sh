#!/usr/bin/env bash
# Builds everything and runs every test: the Linux build, the ASan + UBSan build, and the Windows
# build (mingw-w64) with its tests under Wine.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh base fuzz bench windows

for preset in linux sanitize windows; do
  echo "=== $preset ==="
  cmake --preset "$preset"
  cmake --build --preset "$preset"
  ctest --preset "$preset"
done
