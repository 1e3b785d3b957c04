#!/usr/bin/env bash
# Prints the include graph of the library and tool by folder: for each folder, the folders whose
# headers its files include (docs/architecture.md).
set -euo pipefail
cd "$(dirname "$0")/.."
for folder in sdk outside/ztlib outside/asn1rt outside/asn1 outside/ztasn1 platform frame rfc3161 \
  authenticode capi tools; do
  targets=$(grep -rh '#include "' "$folder" --include='*.h' --include='*.cpp' |
    sed 's/.*#include "\([^"]*\)".*/\1/' |
    awk -F/ '{ print ($1 == "outside") ? $1 "/" $2 : $1 }' | sort -u | { grep -vx "$folder" || true; } | xargs)
  printf '%-14s -> %s\n' "$folder" "${targets:-(nothing)}"
done
