#!/usr/bin/env bash
# The main job: builds the library and its example, then makes a time-stamp request for the
# SHA-256 of a file (README.md unless one is given), encodes it, decodes it and prints its fields.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh base
cmake --preset linux >/dev/null
cmake --build --preset linux --target zttsp-request-demo | tail -n 3
build/linux/bin/zttsp-request-demo "${1:-README.md}"
