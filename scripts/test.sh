#!/usr/bin/env bash
# Builds everything and runs every test: the Linux build and the ASan + UBSan build.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh base fuzz bench

for preset in linux sanitize; do
  echo "=== $preset ==="
  cmake --preset "$preset"
  cmake --build --preset "$preset"
  ctest --preset "$preset"
done
