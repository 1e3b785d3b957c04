#!/usr/bin/env bash
# zttsp stamp over many small files (1000 unless a count is given) against a local zttsp serve,
# with -jobs 8 and with -jobs 1, beside the shell loop it replaces: zttsp query, curl and zttsp
# verify for each file. One run of each; prints the wall times and their ratios, and checks every
# .tsr that zttsp stamp wrote with openssl ts -verify.
# Usage: scripts/stamp_bench.sh [COUNT]   (ZTTSP_BUILD_DIR=DIR: a configured build folder)
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh base
count="${1:-1000}"

if [[ -n "${ZTTSP_BUILD_DIR:-}" ]]; then
  build="$ZTTSP_BUILD_DIR"
else
  build=build/linux
  cmake --preset linux >/dev/null
fi
cmake --build "$build" --target zttsp-tool | tail -n 1
build="$(realpath "$build")"
source scripts/load_common.sh
start_server stamp
url="http://127.0.0.1:$port/"
ca="$work/data-stamp/ca.pem"
cd "$work"

mkdir files jobs8 jobs1 loop
for i in $(seq "$count"); do printf 'small file %d\n' "$i" >"files/f$i.txt"; done

seconds() { date +%s.%N; }
elapsed() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.2f", b - a }'; }

start=$(seconds)
"$zttsp" stamp files/*.txt -jobs 8 -out jobs8 -tsa "$url" -CAfile "$ca" >/dev/null 2>>stamp.log || { cat stamp.log; exit 1; }
jobs8=$(elapsed "$start" "$(seconds)")

start=$(seconds)
"$zttsp" stamp files/*.txt -jobs 1 -out jobs1 -tsa "$url" -CAfile "$ca" >/dev/null 2>>stamp.log || { cat stamp.log; exit 1; }
jobs1=$(elapsed "$start" "$(seconds)")

start=$(seconds)
for file in files/*.txt; do
  name="loop/$(basename "$file")"
  "$zttsp" query -data "$file" -cert -out "$name.tsq"
  curl -sS --max-time 30 -H 'Content-Type: application/timestamp-query' \
    --data-binary "@$name.tsq" -o "$name.tsr" "$url"
  "$zttsp" verify -in "$name.tsr" -queryfile "$name.tsq" -CAfile "$ca" >/dev/null
done
loop=$(elapsed "$start" "$(seconds)")

verified=0
for file in files/*.txt; do
  openssl ts -verify -data "$file" -in "jobs8/$(basename "$file").tsr" -CAfile "$ca" \
    2>/dev/null | grep -q 'Verification: OK' && verified=$((verified + 1))
done

cores=$(nproc)
echo "$count small files, zttsp serve on $url, $cores cores, one run each"
echo "zttsp stamp -jobs 8:                            $jobs8 s"
echo "zttsp stamp -jobs 1:                            $jobs1 s"
echo "shell loop (zttsp query | curl | zttsp verify): $loop s"
awk -v l="$loop" -v a="$jobs8" -v b="$jobs1" \
  'BEGIN { printf "the loop takes %.1f times as long as -jobs 8, %.1f times as long as -jobs 1\n", l / a, l / b }'
echo "openssl ts -verify: $verified of $count .tsr files (-jobs 8) OK"
[[ "$verified" -eq "$count" ]]
