#!/usr/bin/env bash
# Runs each fuzz target for a while on its seeds, then prints executions and coverage per target.
# Usage: run_fuzzers.sh BIN_DIR SECONDS TARGET...
# A crash, leak, timeout or sanitizer report stops that target and fails the run; its input is
# kept in fuzz-artifacts/ under the build folder for a regression test.
set -uo pipefail
bin=$1
seconds=$2
shift 2
here=$(cd "$(dirname "$0")" && pwd)
vectors=$here/../tests/data/vectors
work=$bin/../fuzz-work
mkdir -p "$work/artifacts"

# Seeds for a target, by what it decodes.
seeds_for() {
  case $1 in
    request_fuzzer | codec_time_stamp_req_fuzzer) echo "$vectors"/req-*.tsq ;;
    response_fuzzer | codec_time_stamp_resp_fuzzer) echo "$vectors"/resp-*.tsr ;;
    token_fuzzer | codec_time_stamp_token_fuzzer | platform_*) echo "$vectors"/tst-*.der "$vectors"/authenticode-tsresp-digicert.p7b ;;
    codec_tstinfo_fuzzer) echo "$here"/seeds/tstinfo/* ;;
    codec_signer_info_fuzzer) echo "$here"/seeds/signer_info/* ;;
    ms_request_fuzzer | codec_time_stamp_authenticode_request_fuzzer) echo "$vectors"/authenticode-tsreq-*.der ;;
    ms_stamp_fuzzer) echo "$vectors"/authenticode-tsresp-digicert.p7b "$vectors"/authenticode-sig-*.p7b ;;
    *) ;;
  esac
}

status=0
summary=""
for target in "$@"; do
  corpus=$work/corpus/$target
  mkdir -p "$corpus"
  for seed in $(seeds_for "$target"); do cp -n "$seed" "$corpus/" 2>/dev/null; done
  for seed in "$here"/regressions/"$target"/*; do [ -f "$seed" ] && cp -n "$seed" "$corpus/"; done
  log=$work/$target.log
  echo "=== $target (${seconds}s)"
  "$bin/$target" "$corpus" -dict="$here/asn1.dict" -max_total_time="$seconds" -timeout=2 \
    -rss_limit_mb=512 -malloc_limit_mb=64 -max_len=65536 -print_final_stats=1 \
    -artifact_prefix="$work/artifacts/$target-" >"$log" 2>&1
  rc=$?
  execs=$(grep -m1 'stat::number_of_executed_units' "$log" | awk '{print $2}')
  cov=$(grep -E '^#[0-9]+' "$log" | tail -1 | grep -oE 'cov: [0-9]+' | awk '{print $2}')
  ft=$(grep -E '^#[0-9]+' "$log" | tail -1 | grep -oE 'ft: [0-9]+' | awk '{print $2}')
  result=ok
  if [ $rc -ne 0 ]; then
    result="FAILED (exit $rc; see $log)"
    status=1
    tail -30 "$log"
  fi
  summary+=$(printf '%-48s %12s execs  cov %6s  ft %6s  %s' "$target" "${execs:-?}" "${cov:-?}" "${ft:-?}" "$result")$'\n'
done
echo
echo "$summary"
exit $status
