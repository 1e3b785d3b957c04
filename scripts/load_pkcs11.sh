#!/usr/bin/env bash
# The server's throughput with its key in a PKCS #11 module, beside the same kind of key in a file.
# A SoftHSM2 token is made in a temporary folder (tests/tools/make_token.sh) with RSA-2048 and
# P-256 keys generated inside it; openssl makes file keys of the same kinds under the same CA.
# wrk posts one fixed request at 1 and 8 connections for SECONDS each, to `zttsp serve` with
#   file        the key in a PEM file;
#   module      the key in the token, the server's threads signing at once (libp11 gives each
#               signing thread a session of its own);
#   serialized  the key in the token, one signature at a time (-pkcs11_serialize).
# 20 sample responses of every server are checked with openssl ts -verify before and after.
#
# Usage: scripts/load_pkcs11.sh [SECONDS]   (each wrk run; default 10)
# Build folder: ZTTSP_BUILD_DIR (default build/linux, the `linux` preset).
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-10}"
source scripts/bench_build.sh
ninja -C "$build" -j2 zttsp-tool
source scripts/load_common.sh

tests/tools/make_token.sh "$work"
export SOFTHSM2_CONF="$work/softhsm2.conf"
module=/usr/lib/softhsm/libsofthsm2.so
for key in rsa ec; do
  case "$key" in
    rsa) key_options=(-newkey rsa:2048) ;;
    ec) key_options=(-newkey ec -pkeyopt ec_paramgen_curve:P-256) ;;
  esac
  openssl req -new "${key_options[@]}" -nodes -subj "/CN=File $key TSA" -keyout "$work/file-$key.key" \
    -out "$work/file-$key.csr" 2>/dev/null
  openssl x509 -req -in "$work/file-$key.csr" -CA "$work/ca.pem" -CAkey "$work/ca.key" \
    -CAcreateserial -days 2 -extfile "$work/tsa.ext" -out "$work/file-$key.pem" 2>/dev/null
done

results=()
declare -A file_rps
for key in rsa ec; do
  uri="pkcs11:token=zttsp;object=$key?pin-value=1234"
  for where in file module serialized; do
    case "$where" in
      file) identity=(-signer "$work/file-$key.pem" -inkey "$work/file-$key.key") ;;
      module) identity=(-signer "$work/$key.pem" -inkey "$uri" -pkcs11_module "$module") ;;
      serialized) identity=(-signer "$work/$key.pem" -inkey "$uri" -pkcs11_module "$module"
        -pkcs11_serialize) ;;
    esac
    start_server "$key-$where" "${identity[@]}" -chain "$work/ca.pem"
    check_responses "$key $where" "$work/ca.pem" 20
    for clients in 1 8; do
      read -r rps p50 p99 bad failed <<<"$(wrk_run "$clients" "$seconds")"
      [[ "$where" == file ]] && file_rps[$clients]="$rps"
      results+=("$(printf '| %-3s | %-10s | %d | %8s | %7s | %7s | %s | %s | %5.2f |' "$key" \
        "$where" "$clients" "$rps" "$p50" "$p99" "$bad" "$failed" "$(ratio "$rps" "${file_rps[$clients]}")")")
    done
    check_responses "$key $where" "$work/ca.pem" 20
    stop_server
  done
done

echo
echo "wrk over loopback, ${seconds} s a run, one fixed request (SHA-256, nonce, certReq); $(nproc)"
echo "cores shared by the server, SoftHSM2 and wrk. Keys: RSA-2048 and P-256, in a PEM file or"
echo "generated in a SoftHSM2 token."
echo
echo "| key | where | clients | req/s | p50 ms | p99 ms | non-2xx | socket errors | req/s / file key |"
echo "|---|---|---|---|---|---|---|---|---|"
printf '%s\n' "${results[@]}"
