#!/usr/bin/env bash
# Runs each fuzz target for a while on its seeds, then prints executions and coverage per target.
# Usage: run_fuzzers.sh BIN_DIR SECONDS TARGET...
# ZTTSP_FUZZ_JOBS targets run at a time (default: one per core); each is single-threaded.
# A crash, leak, timeout or sanitizer report stops that target and fails the run; its input is
# kept in fuzz-work/artifacts/ under the build folder. Each input found so becomes a regression:
# tests/data/regressions/<target>/<name>, which the hostile test replays and this script seeds.
set -uo pipefail
bin=$1
seconds=$2
shift 2
here=$(cd "$(dirname "$0")" && pwd)
vectors=$here/../tests/data/vectors
regressions=$here/../tests/data/regressions
work=$bin/../fuzz-work
mkdir -p "$work/artifacts"

# Seeds for a target, by what it decodes.
seeds_for() {
  case $1 in
    request_fuzzer | codec_time_stamp_req_fuzzer) echo "$vectors"/req-*.tsq ;;
    response_fuzzer | codec_time_stamp_resp_fuzzer) echo "$vectors"/resp-*.tsr "$here"/seeds/response/* ;;
    token_fuzzer | codec_time_stamp_token_fuzzer | platform_*)
      echo "$vectors"/tst-*.der "$vectors"/authenticode-tsresp-digicert.p7b "$here"/seeds/token/* ;;
    certificate_fuzzer) echo "$vectors"/cert-*.der "$here"/seeds/certificate/* ;;
    codec_tstinfo_fuzzer) echo "$here"/seeds/tstinfo/* ;;
    codec_signer_info_fuzzer) echo "$here"/seeds/signer_info/* ;;
    ms_request_fuzzer | codec_time_stamp_authenticode_request_fuzzer) echo "$vectors"/authenticode-tsreq-*.der ;;
    ms_stamp_fuzzer) echo "$vectors"/authenticode-tsresp-digicert.p7b "$vectors"/authenticode-sig-*.p7b ;;
    capi_fuzzer) echo "$vectors"/req-*.tsq "$vectors"/resp-*.tsr "$vectors"/tst-*.der "$vectors"/authenticode-*.der "$vectors"/authenticode-*.p7b ;;
    *) ;;
  esac
}

jobs=${ZTTSP_FUZZ_JOBS:-$(nproc)}
started=$SECONDS

# Runs one target and writes its summary line to $work/<target>.result; returns its status.
run_one() {
  local target=$1
  local corpus=$work/corpus/$target
  mkdir -p "$corpus"
  for seed in $(seeds_for "$target") "$regressions/$target"/*; do
    [ -f "$seed" ] && cp -n "$seed" "$corpus/"
  done
  local log=$work/$target.log
  echo "=== $target (${seconds}s)"
  # One input's memory is held by -malloc_limit_mb (and by the hostile tests' heap bound); the
  # RSS limit only guards the process, whose RSS holds ASan's quarantine and allocator caches and
  # so grows well past the live heap over millions of runs.
  "$bin/$target" "$corpus" -dict="$here/asn1.dict" -max_total_time="$seconds" -timeout=2 \
    -rss_limit_mb=2048 -malloc_limit_mb=32 -max_len=65536 -print_final_stats=1 \
    -artifact_prefix="$work/artifacts/$target-" >"$log" 2>&1
  local rc=$?
  local execs cov ft result=ok
  execs=$(grep -m1 'stat::number_of_executed_units' "$log" | awk '{print $2}')
  cov=$(grep -E '^#[0-9]+' "$log" | tail -1 | grep -oE 'cov: [0-9]+' | awk '{print $2}')
  ft=$(grep -E '^#[0-9]+' "$log" | tail -1 | grep -oE 'ft: [0-9]+' | awk '{print $2}')
  if [ $rc -ne 0 ]; then
    result="FAILED (exit $rc; see $log)"
    tail -30 "$log"
  fi
  printf '%-48s %12s execs  cov %6s  ft %6s  %s\n' "$target" "${execs:-?}" "${cov:-?}" "${ft:-?}" \
    "$result" >"$work/$target.result"
  return $rc
}

status=0
running=0
for target in "$@"; do
  run_one "$target" &
  running=$((running + 1))
  if [ $running -ge "$jobs" ]; then
    wait -n || status=1
    running=$((running - 1))
  fi
done
while [ $running -gt 0 ]; do
  wait -n || status=1
  running=$((running - 1))
done

summary=""
for target in "$@"; do
  summary+=$(cat "$work/$target.result")$'\n'
done
echo
echo "$summary"
echo "fuzzing took $((SECONDS - started)) s"
exit $status
