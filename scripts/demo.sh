#!/usr/bin/env bash
# The main job: builds the zttsp tool, starts its time-stamp server on a free port with a fresh
# development identity, has a file (README.md unless one is given) stamped over HTTP and verifies
# the answer, once with zttsp query, curl and zttsp verify and once with zttsp stamp; then signs a
# small Windows program with osslsigncode, once with an Authenticode time stamp (-t) and once with
# an RFC 3161 one (-ts), both from the server, and verifies those too.
# ZTTSP_BUILD_DIR=DIR uses a configured build folder instead of the linux preset's.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh base

if [[ -n "${ZTTSP_BUILD_DIR:-}" ]]; then
  build="$ZTTSP_BUILD_DIR"
  cmake --build "$build" --target zttsp-tool | tail -n 1
else
  build=build/linux
  cmake --preset linux >/dev/null
  cmake --build --preset linux --target zttsp-tool | tail -n 1
fi
zttsp="$PWD/$build/bin/zttsp"
[[ "$build" = /* ]] && zttsp="$build/bin/zttsp"
data="$(realpath "${1:-README.md}")"
pe="$PWD/tests/data/tools/tiny.exe"

work="$(mktemp -d)"
server=""
stop_server() {
  if [[ -n "$server" ]]; then
    kill -TERM "$server" 2>/dev/null && wait "$server" || true
    server=""
  fi
}
trap 'stop_server; rm -rf "$work"' EXIT
cd "$work"

step() { printf '\n== %s\n' "$*"; }

step "starting zttsp serve (port 0: a free one; the development CA goes into $work/data)"
"$zttsp" serve -port 0 -data data 2>server.log &
server=$!
for _ in $(seq 300); do
  grep -q 'serving on' server.log && break
  kill -0 "$server" 2>/dev/null || { cat server.log; exit 1; }
  sleep 0.1
done
cat server.log
url="$(grep -o 'http://[0-9.:]*/' server.log | head -n 1)"
[[ -n "$url" ]] || { echo "the server did not start" >&2; exit 1; }

step "RFC 3161: zttsp query -> curl POST $url -> zttsp verify"
"$zttsp" query -data "$data" -sha256 -cert -out request.tsq
curl -sS -H 'Content-Type: application/timestamp-query' --data-binary @request.tsq \
  -o response.tsr -w 'HTTP %{http_code} %{content_type}, %{size_download} bytes\n' "$url"
"$zttsp" inspect response.tsr | grep -E '^  (status|genTime|serialNumber|policy):|^    status:' || true
"$zttsp" verify -in response.tsr -data "$data" -CAfile data/ca.pem
echo "(openssl says: $(openssl ts -verify -in response.tsr -queryfile request.tsq \
  -CAfile data/ca.pem 2>/dev/null))"

step "the same in one command: zttsp stamp (a stopped authority first: it falls back on $url)"
cp "$data" stamped-file
"$zttsp" stamp stamped-file -tsa http://127.0.0.1:1/ -tsa "$url" -retries 0 -CAfile data/ca.pem
echo "(openssl says: $(openssl ts -verify -data stamped-file -in stamped-file.tsr \
  -CAfile data/ca.pem 2>/dev/null))"

openssl req -x509 -newkey rsa:2048 -nodes -subj '/CN=zttsp demo code signer' -days 1 \
  -keyout signer.key -out signer.pem 2>/dev/null
for way in -t -ts; do
  if [[ "$way" == -t ]]; then kind="Authenticode (-t)"; else kind="RFC 3161 (-ts)"; fi
  step "osslsigncode signs tiny.exe with an $kind time stamp from $url"
  osslsigncode sign -certs signer.pem -key signer.key "$way" "$url" -in "$pe" \
    -out "signed$way.exe" | grep -v '^Connecting'
  osslsigncode verify -in "signed$way.exe" -CAfile signer.pem -TSA-CAfile data/ca.pem 2>&1 |
    grep -E 'Timestamp time|Subject: .*TSA|Timestamp Server Signature|^Signature verification|Succeeded|Failed'
done

step "the server's log, one line per request"
stop_server
cat server.log
