// Copying a token, whose TSTInfo fields travel through the codec's structure, against OpenSSL's
// TS_TST_INFO_dup of the same TSTInfo.
#include <benchmark/benchmark.h>
#include <openssl/crypto.h>
#include <openssl/ts.h>

#include <cstdlib>

#include "rfc3161/token.h"

using Zanthorel::CBlob;
using Zanthorel::CDateTime;
using Zanthorel::ASN1::CAlgorithmIdentifierEx;
using Zanthorel::ASN1::CBigInteger;
using Zanthorel::ASN1::CGeneralName;
using Zanthorel::PKI::TSP::CAccuracy;
using Zanthorel::PKI::TSP::CToken;

namespace {

// Made by `openssl ts -reply`: SHA-256 imprint, accuracy, ordering, nonce, TSA name.
const char kTSTInfo[] =
    "3081b2020101060a2b06010401868d1f07013031300d0609608648016503040201050004205891b5b522d5df08"
    "6d0ff0b110fbd9d21bb4fc7163af34d08286a2e846f6be03020a0a1b2c3d4e5f6071829418163230323631313233"
    "3030343235302e3638363733385a300a020101800201f48101640101ff020900f61feba1020f7317a030a42e302c"
    "31173015060355040a0c0e5a616e74686f72656c20546573743111300f06035504030c085465737420545341";
const char kImprint[] = "5891b5b522d5df086d0ff0b110fbd9d21bb4fc7163af34d08286a2e846f6be03";
const char kTsaName[] =
    "302c31173015060355040a0c0e5a616e74686f72656c20546573743111300f06035504030c085465737420545341";

CBlob bytesOf(const char* hex) {
  long length = 0;
  unsigned char* bytes = OPENSSL_hexstr2buf(hex, &length);
  if (bytes == nullptr) std::abort();
  CBlob blob(bytes, static_cast<std::uint32_t>(length));
  OPENSSL_free(bytes);
  return blob;
}

// The token that kTSTInfo describes.
CToken typicalToken() {
  CToken token("1.3.6.1.4.1.99999.7.1",
               CAlgorithmIdentifierEx("2.16.840.1.101.3.4.2.1", bytesOf("0500")), bytesOf(kImprint),
               CBigInteger("0x0A1B2C3D4E5F60718294"), CDateTime("20261123004250.686738Z"), true);
  const CAccuracy accuracy(1, 500, 100);
  const CBigInteger nonce("0xF61FEBA1020F7317");
  const CGeneralName tsa = CGeneralName::fromDirectoryName(bytesOf(kTsaName));
  token.put_accuracy(&accuracy);
  token.put_nonce(&nonce);
  token.put_tsa(&tsa);
  return token;
}

void BM_TokenCopy_zttsp(benchmark::State& state) {
  const CToken token = typicalToken();
  for (auto _ : state) {
    CToken copy(token);
    benchmark::DoNotOptimize(copy.get_nonce());
  }
}
BENCHMARK(BM_TokenCopy_zttsp);

void BM_TokenCopy_openssl(benchmark::State& state) {
  const CBlob der = bytesOf(kTSTInfo);
  const unsigned char* p = der.pbData();
  TS_TST_INFO* info = d2i_TS_TST_INFO(nullptr, &p, der.cbData());
  if (info == nullptr) std::abort();
  for (auto _ : state) {
    TS_TST_INFO* copy = TS_TST_INFO_dup(info);
    benchmark::DoNotOptimize(TS_TST_INFO_get_nonce(copy));
    TS_TST_INFO_free(copy);
  }
  TS_TST_INFO_free(info);
}
BENCHMARK(BM_TokenCopy_openssl);

}  // namespace
