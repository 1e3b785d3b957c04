#!/usr/bin/env bash
# The time-stamp server under load over loopback: `zttsp serve` with an RSA-2048 and a P-256
# authority made by openssl, driven by wrk posting one fixed DER request at 1, 8 and 64 concurrent
# connections. Prints requests/s and p50/p99 latency beside the signing floor (the bare signature
# timed by zttsp-bench in the same run, times the cores); checks sample responses with
# `openssl ts -verify` before and after; checks that the server's resident memory stays flat over
# 100,000 requests (ab -n 100000).
#
# Usage: scripts/load.sh [SECONDS]   (each wrk run; default 10)
# Build folder: ZTTSP_BUILD_DIR (default build/linux, the `linux` preset).
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-10}"
source scripts/bench_build.sh
ninja -C "$build" -j2 zttsp-tool zttsp-bench
cores="$(nproc)"
source scripts/load_common.sh

# A self-signed authority of `kind` (rsa2048 or p256) in $work/<kind>.{crt,key}.
make_authority() {
  local kind="$1" key_options
  case "$kind" in
    rsa2048) key_options=(-newkey rsa:2048) ;;
    p256) key_options=(-newkey ec -pkeyopt ec_paramgen_curve:P-256) ;;
  esac
  openssl req -x509 "${key_options[@]}" -nodes -sha256 -days 2 -subj "/CN=zttsp load $kind" \
    -addext "extendedKeyUsage=critical,timeStamping" \
    -addext "keyUsage=critical,digitalSignature" \
    -keyout "$work/$kind.key" -out "$work/$kind.crt" 2>/dev/null
}

rss_kib() { awk '/^VmRSS:/ { print $2 }' "/proc/$server/status"; }

# The floors, timed now on this machine: the bare signature and our whole answer, one thread.
"$build/bin/zttsp-bench" --benchmark_filter='^BM_(RawSign|TokenSign_zttsp)/(rsa2048|p256)$' \
  --benchmark_repetitions=3 --benchmark_min_time=0.5 --benchmark_format=json \
  --benchmark_out="$work/floors.json" --benchmark_out_format=json >/dev/null 2>&1
floor_rps() {  # benchmark name -> requests/s of `cores` threads doing only it
  python3 - "$work/floors.json" "$1" "$cores" <<'PY'
import json, statistics, sys
runs = [b["cpu_time"] * {"ns": 1e-9, "us": 1e-6, "ms": 1e-3}[b["time_unit"]]
        for b in json.load(open(sys.argv[1]))["benchmarks"]
        if b["run_name"] == sys.argv[2] and b["run_type"] == "iteration"]
print(f"{int(sys.argv[3]) / statistics.median(runs):.0f}")
PY
}

results=()
memory=()
for kind in rsa2048 p256; do
  make_authority "$kind"
  start_server "$kind" -signer "$work/$kind.crt" -inkey "$work/$kind.key"
  check_responses "$kind" "$work/$kind.crt" 20
  raw_floor="$(floor_rps "BM_RawSign/$kind")"
  answer_floor="$(floor_rps "BM_TokenSign_zttsp/$kind")"
  for clients in 1 8 64; do
    read -r rps p50 p99 bad failed <<<"$(wrk_run "$clients" "$seconds")"
    results+=("$(printf '| %-7s | %3d | %8s | %7s | %7s | %5s | %6s | %8s | %5.2f | %8s | %5.2f |' \
      "$kind" "$clients" "$rps" "$p50" "$p99" "$bad" "$failed" "$raw_floor" \
      "$(ratio "$rps" "$raw_floor")" "$answer_floor" "$(ratio "$rps" "$answer_floor")")")
  done
  check_responses "$kind" "$work/$kind.crt" 20

  # Memory: warm up, then 100,000 more requests.
  ab -q -k -n 2000 -c 8 -p "$work/request.tsq" -T application/timestamp-query \
    "http://127.0.0.1:$port/" >/dev/null
  before="$(rss_kib)"
  ab -q -k -n 100000 -c 8 -p "$work/request.tsq" -T application/timestamp-query \
    "http://127.0.0.1:$port/" >"$work/ab.log"
  after="$(rss_kib)"
  # ab counts responses whose length differs from the first one's as failed; tokens differ in
  # length with their serial numbers and times, so only the other kinds of failure count.
  failed="$(sed -n 's/.*(Connect: \([0-9]*\), Receive: \([0-9]*\), Length: [0-9]*, Exceptions: \([0-9]*\)).*/\1 \2 \3/p' \
    "$work/ab.log" | awk '{ print $1 + $2 + $3 }')"
  non2xx="$(awk '/^Non-2xx responses:/ { print $3 }' "$work/ab.log")"
  memory+=("$(printf '| %-7s | %8s | %8s | %+6d | %6s | %6s |' "$kind" "$before" "$after" \
    "$((after - before))" "${failed:-0}" "${non2xx:-0}")")
  check_responses "$kind" "$work/$kind.crt" 5
  stop_server
done

echo
echo "wrk over loopback, ${seconds} s a run, one fixed request (SHA-256, nonce, certReq); $cores cores"
echo "shared by the server and wrk. Floors: $cores x the single-thread rate of the bare signature"
echo "(BM_RawSign) and of our whole answer (BM_TokenSign_zttsp), timed by zttsp-bench in this run."
echo
echo "| key     | clients | req/s | p50 ms | p99 ms | non-2xx | socket errors | raw floor req/s | req/s / raw floor | answer floor req/s | req/s / answer floor |"
echo "|---|---|---|---|---|---|---|---|---|---|---|"
printf '%s\n' "${results[@]}"
echo
echo "Server resident memory (VmRSS, KiB) after 2,000 warm-up requests and after 100,000 more"
echo "(ab -k -c 8):"
echo
echo "| key     | before | after | change | failed (connect, receive, exceptions) | non-2xx |"
echo "|---|---|---|---|---|---|"
printf '%s\n' "${memory[@]}"
