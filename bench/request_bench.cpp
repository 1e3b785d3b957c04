// The RFC 3161 request against OpenSSL's TS_REQ, on the same bytes.
#include <benchmark/benchmark.h>
#include <openssl/ts.h>

#include <cstdlib>

#include "bench/allocation_count.h"
#include "bench/authorities.h"
#include "rfc3161/request.h"

using Zanthorel::CBlob;
using Zanthorel::PKI::TSP::CRequest;

namespace {

void BM_RequestDecode_zttsp(benchmark::State& state) {
  const CBlob bytes = typicalRequest();
  const AllocationCount counting(state);
  for (auto _ : state) {
    CRequest request;
    request.decode(bytes);
    benchmark::DoNotOptimize(request.get_nonce());
  }
}
BENCHMARK(BM_RequestDecode_zttsp);

void BM_RequestDecode_openssl(benchmark::State& state) {
  const CBlob bytes = typicalRequest();
  const AllocationCount counting(state);
  for (auto _ : state) {
    const unsigned char* p = bytes.pbData();
    TS_REQ* request = d2i_TS_REQ(nullptr, &p, bytes.cbData());
    if (request == nullptr) std::abort();
    benchmark::DoNotOptimize(TS_REQ_get_nonce(request));
    TS_REQ_free(request);
  }
}
BENCHMARK(BM_RequestDecode_openssl);

void BM_RequestEncode_zttsp(benchmark::State& state) {
  CRequest request;
  request.decode(typicalRequest());
  const AllocationCount counting(state);
  for (auto _ : state)
    benchmark::DoNotOptimize(request.encode());
}
BENCHMARK(BM_RequestEncode_zttsp);

void BM_RequestEncode_openssl(benchmark::State& state) {
  const CBlob bytes = typicalRequest();
  const unsigned char* p = bytes.pbData();
  TS_REQ* request = d2i_TS_REQ(nullptr, &p, bytes.cbData());
  if (request == nullptr) std::abort();
  {
    const AllocationCount counting(state);
    for (auto _ : state) {
      unsigned char* out = nullptr;
      const int length = i2d_TS_REQ(request, &out);
      benchmark::DoNotOptimize(length);
      OPENSSL_free(out);
    }
  }
  TS_REQ_free(request);
}
BENCHMARK(BM_RequestEncode_openssl);

}  // namespace
