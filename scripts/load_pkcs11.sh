#!/usr/bin/env bash
# The server's throughput with its key in a PKCS #11 module, beside the same kind of key in a file.
# A SoftHSM2 token is made in a temporary folder (tests/tools/make_token.sh) with RSA-2048 and
# P-256 keys generated inside it; openssl makes file keys of the same kinds under the same CA.
# wrk posts one fixed request at 1 and 8 connections for SECONDS each, to `zttsp serve` with
#   file        the key in a PEM file;
#   module      the key in the token, the server's threads signing at once (libp11 gives each
#               signing thread a session of its own);
#   serialized  the key in the token, one signature at a time (-pkcs11_serialize).
# The three take turns over ROUNDS rounds; 10 sample responses of every server are checked with
# openssl ts -verify before and after its runs.
#
# Usage: scripts/load_pkcs11.sh [SECONDS [ROUNDS]]   (each wrk run; default 5 s, 3 rounds)
# Build folder: ZTTSP_BUILD_DIR (default build/linux, the `linux` preset).
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-5}"
rounds="${2:-3}"
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

# One run: the server of KEY WHERE, wrk at CLIENTS; its figures appended to $work/runs.
run() {
  local key="$1" where="$2" uri="pkcs11:token=zttsp;object=$1?pin-value=1234" identity
  case "$where" in
    file) identity=(-signer "$work/file-$key.pem" -inkey "$work/file-$key.key") ;;
    module) identity=(-signer "$work/$key.pem" -inkey "$uri" -pkcs11_module "$module") ;;
    serialized) identity=(-signer "$work/$key.pem" -inkey "$uri" -pkcs11_module "$module"
      -pkcs11_serialize) ;;
  esac
  start_server "$key-$where" "${identity[@]}" -chain "$work/ca.pem"
  check_responses "$key $where" "$work/ca.pem" 10 >/dev/null
  for clients in 1 8; do
    echo "$key $where $clients $(wrk_run "$clients" "$seconds")" >>"$work/runs"
  done
  check_responses "$key $where" "$work/ca.pem" 10
  stop_server
}

# The three kinds of server take turns, so that what else the machine does falls on all alike.
for round in $(seq "$rounds"); do
  for key in rsa ec; do
    for where in file module serialized; do
      run "$key" "$where"
    done
  done
done

table="$(python3 - "$work/runs" "$rounds" <<'PY'
import collections, statistics, sys
runs = collections.defaultdict(list)
for line in open(sys.argv[1]):
    key, where, clients, rps, p50, p99, bad, failed = line.split()
    runs[key, where, clients].append((float(rps), float(p50), float(p99), int(bad), int(failed)))
for key in ("rsa", "ec"):
    for where in ("file", "module", "serialized"):
        for clients in ("1", "8"):
            mine, file = runs[key, where, clients], runs[key, "file", clients]
            ratios = [m[0] / f[0] for m, f in zip(mine, file)]
            print(f"| {key} | {where} | {clients} | {statistics.median(r[0] for r in mine):.0f} | "
                  f"{statistics.median(r[1] for r in mine):.2f} | "
                  f"{statistics.median(r[2] for r in mine):.2f} | {sum(r[3] for r in mine)} | "
                  f"{sum(r[4] for r in mine)} | {statistics.median(ratios):.2f} | "
                  f"{min(ratios):.2f}..{max(ratios):.2f} |")
PY
)"

echo
echo "wrk over loopback, ${seconds} s a run, one fixed request (SHA-256, nonce, certReq); $(nproc)"
echo "cores shared by the server, SoftHSM2 and wrk. Keys: RSA-2048 and P-256, in a PEM file or"
echo "generated in a SoftHSM2 token. Medians of $rounds interleaved rounds; the ratio to the file"
echo "key is taken within each round (its median, and its range over the rounds)."
echo
echo "| key | where | clients | req/s | p50 ms | p99 ms | non-2xx | socket errors | / file key | range |"
echo "|---|---|---|---|---|---|---|---|---|---|"
echo "$table"
