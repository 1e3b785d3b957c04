# Sourced by load.sh and load_pkcs11.sh, from the repository root after bench_build.sh: a work
# folder removed at exit (with the server stopped), a fixed request, and the server and wrk
# helpers both use. Needs $build.
zttsp="$build/bin/zttsp"
work="$(mktemp -d)"
server=""
cleanup() {
  [[ -n "$server" ]] && kill "$server" 2>/dev/null && wait "$server" 2>/dev/null
  rm -rf "$work"
}
trap cleanup EXIT

# The request: SHA-256 imprint, nonce, certReq; wrk_post.lua posts it.
head -c 1000 /dev/urandom >"$work/data"
openssl ts -query -data "$work/data" -sha256 -cert -out "$work/request.tsq" 2>/dev/null
export ZTTSP_LOAD_REQUEST="$work/request.tsq"

# start_server NAME ARGUMENTS...: `zttsp serve -port 0 ARGUMENTS` logging to $work/serve-NAME.log;
# sets $server and $port.
start_server() {
  local name="$1"
  shift
  "$zttsp" serve -port 0 -data "$work/data-$name" "$@" 2>"$work/serve-$name.log" &
  server=$!
  for _ in $(seq 100); do
    port="$(sed -n 's|.*serving on http://127\.0\.0\.1:\([0-9]*\)/.*|\1|p' "$work/serve-$name.log")"
    [[ -n "$port" ]] && return 0
    sleep 0.1
  done
  echo "the server did not start:" >&2
  cat "$work/serve-$name.log" >&2
  exit 1
}

stop_server() {
  kill "$server"
  wait "$server" 2>/dev/null || true
  server=""
}

# check_responses NAME CA COUNT: posts the request COUNT times one by one; each response must
# verify with openssl against the CA certificate file CA.
check_responses() {
  local name="$1" ca="$2" count="$3" i
  for i in $(seq "$count"); do
    curl -sf --data-binary "@$work/request.tsq" -H "Content-Type: application/timestamp-query" \
      -o "$work/response.tsr" "http://127.0.0.1:$port/"
    if ! openssl ts -verify -in "$work/response.tsr" -queryfile "$work/request.tsq" \
      -CAfile "$ca" >"$work/verify.log" 2>&1; then
      echo "$name: a response does not verify:" >&2
      cat "$work/verify.log" >&2
      exit 1
    fi
  done
  echo "$name: $count sample responses verify with openssl ts -verify"
}

# wrk_run CLIENTS SECONDS: "requests/s p50-ms p99-ms non-2xx socket-errors" of the server.
wrk_run() {
  local clients="$1" threads=$(($1 < 2 ? 1 : 2))
  wrk -t"$threads" -c"$clients" -d"${2}s" --timeout 10s -s scripts/wrk_post.lua \
    "http://127.0.0.1:$port/" | sed -n 's/^RESULT //p'
}

ratio() { awk -v a="$1" -v b="$2" 'BEGIN { print a / b }'; }
