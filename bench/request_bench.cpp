// The RFC 3161 request against OpenSSL's TS_REQ, on the same bytes.
#include <benchmark/benchmark.h>
#include <openssl/ts.h>

#include <cstdlib>

#include "rfc3161/request.h"

using Zanthorel::CBlob;
using Zanthorel::ASN1::CAlgorithmIdentifierEx;
using Zanthorel::ASN1::CBigInteger;
using Zanthorel::PKI::TSP::CRequest;

namespace {

// A typical request: SHA-256 imprint, a 64-bit nonce, a policy, certReq.
CBlob typicalRequest() {
  unsigned char hash[32];
  for (int i = 0; i < 32; ++i)
    hash[i] = static_cast<unsigned char>(i * 7 + 1);
  CRequest request(CAlgorithmIdentifierEx("2.16.840.1.101.3.4.2.1", CBlob("\x05\x00", 2)),
                   CBlob(hash, sizeof hash), true);
  const CBigInteger nonce("0xAE5A9469B20214C2");
  request.put_nonce(&nonce);
  request.put_reqPolicy("1.3.6.1.4.1.99999.7.1");
  return request.encode();
}

void BM_RequestDecode_zttsp(benchmark::State& state) {
  const CBlob bytes = typicalRequest();
  for (auto _ : state) {
    CRequest request;
    request.decode(bytes);
    benchmark::DoNotOptimize(request.get_nonce());
  }
}
BENCHMARK(BM_RequestDecode_zttsp);

void BM_RequestDecode_openssl(benchmark::State& state) {
  const CBlob bytes = typicalRequest();
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
  for (auto _ : state)
    benchmark::DoNotOptimize(request.encode());
}
BENCHMARK(BM_RequestEncode_zttsp);

void BM_RequestEncode_openssl(benchmark::State& state) {
  const CBlob bytes = typicalRequest();
  const unsigned char* p = bytes.pbData();
  TS_REQ* request = d2i_TS_REQ(nullptr, &p, bytes.cbData());
  if (request == nullptr) std::abort();
  for (auto _ : state) {
    unsigned char* out = nullptr;
    const int length = i2d_TS_REQ(request, &out);
    benchmark::DoNotOptimize(length);
    OPENSSL_free(out);
  }
  TS_REQ_free(request);
}
BENCHMARK(BM_RequestEncode_openssl);

}  // namespace
