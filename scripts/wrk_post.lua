-- wrk posts one RFC 3161 request, the file named by ZTTSP_LOAD_REQUEST, and ends with one line:
-- "RESULT requests/s p50-ms p99-ms non-2xx socket-errors". Used by load.sh and load_pkcs11.sh.
wrk.method = "POST"
wrk.headers["Content-Type"] = "application/timestamp-query"
local file = assert(io.open(os.getenv("ZTTSP_LOAD_REQUEST"), "rb"))
wrk.body = file:read("*a")
file:close()
done = function(summary, latency, requests)
  io.write(string.format("RESULT %.1f %.3f %.3f %d %d\n",
    summary.requests / (summary.duration / 1e6), latency:percentile(50) / 1e3,
    latency:percentile(99) / 1e3, summary.errors.status,
    summary.errors.connect + summary.errors.read + summary.errors.write + summary.errors.timeout))
end
