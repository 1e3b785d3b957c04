#!/usr/bin/env bash
# Builds everything and runs every test: the Linux build, the ASan + UBSan build, and the Windows
# build (mingw-w64) with its tests under Wine; then memcheck over the decoding tests and every fuzz
# target for a minute.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh base fuzz bench windows

for preset in linux sanitize windows; do
  echo "=== $preset ==="
  cmake --preset "$preset"
  cmake --build --preset "$preset"
  ctest --preset "$preset"
done

# Memcheck over the tests that decode hostile and third-party input, in the optimised build.
echo "=== valgrind ==="
for test in test_hostile test_rfc3161 test_authenticode test_platform test_capi; do
  valgrind --quiet --error-exitcode=1 --leak-check=full \
    --errors-for-leak-kinds=definite,indirect,possible "build/linux/bin/$test" --gtest_brief=1
done

# Every fuzz target for ZTTSP_FUZZ_SECONDS (60) on its seeds; a finding fails the run.
echo "=== fuzz ==="
cmake --preset fuzz
cmake --build --preset fuzz
cmake --build --preset fuzz --target fuzz
