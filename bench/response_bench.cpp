// Decoding a response, its token included, against d2i_TS_RESP (which decodes the TSTInfo too),
// on a response of OpenSSL's authority.
#include <benchmark/benchmark.h>
#include <openssl/ts.h>

#include <cstdlib>

#include "bench/allocation_count.h"
#include "bench/authorities.h"
#include "rfc3161/response.h"

using Zanthorel::CBlob;
using Zanthorel::PKI::TSP::CResponse;

namespace {

void BM_ResponseDecode_zttsp(benchmark::State& state, KeyOf key) {
  const CBlob der = opensslResponse(key());
  const AllocationCount counting(state);
  for (auto _ : state) {
    CResponse response;
    response.decode(der);
    benchmark::DoNotOptimize(response.get_timeStampToken()->get_nonce());
  }
}
BENCHMARK_EACH_KEY(BM_ResponseDecode_zttsp);

void BM_ResponseDecode_openssl(benchmark::State& state, KeyOf key) {
  const CBlob der = opensslResponse(key());
  const AllocationCount counting(state);
  for (auto _ : state) {
    const unsigned char* cursor = der.pbData();
    TS_RESP* response = d2i_TS_RESP(nullptr, &cursor, der.cbData());
    if (response == nullptr) std::abort();
    benchmark::DoNotOptimize(TS_TST_INFO_get_nonce(TS_RESP_get_tst_info(response)));
    TS_RESP_free(response);
  }
}
BENCHMARK_EACH_KEY(BM_ResponseDecode_openssl);

}  // namespace
