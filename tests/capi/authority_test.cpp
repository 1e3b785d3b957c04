// An authority on the C interface: a token for an `openssl ts -query` request that
// `openssl ts -verify` accepts in a response, and an Authenticode stamp that `openssl cms -verify`
// accepts; providers from a PKCS #8 key (Linux) or the caller's handle, with references of
// their own.
#include "tests/capi/capi_support.h"
#include "tests/support/tsa_fixture.h"

#ifndef _WIN32
#include "platform/key_provider.h"
#endif

using namespace capi_test;
using tsa_test::pki;
using tsa_test::shell;
using Zanthorel::CBlob;

namespace {

constexpr int64_t kGenTime = 1782025925;  // 2026-06-21T07:12:05Z
const char kSigningCertificateV2[] = "1.2.840.113549.1.9.16.2.47";

// The authority's key as the build gives it: from its PKCS #8 bytes on Linux, on Windows from a
// provider handle that the caller acquired (and may release at once: ours holds a reference).
Provider providerOf(const tsa_test::Authority& authority) {
  zttsp_provider* provider = nullptr;
#ifdef _WIN32
  const auto signer = tsa_test::rsaSigner(authority);
  EXPECT_EQ(ZTTSP_OK, zttsp_provider_from_handle(signer.provider(), signer.keySpec(), &provider));
#else
  EXPECT_EQ(ZTTSP_OK,
            zttsp_provider_from_pkcs8(authority.key.pbData(), authority.key.cbData(), &provider))
      << zttsp_last_error_message();
#endif
  return Provider(provider);
}

// A granted response for request.tsq, its token built and signed through the C interface.
CBlob signedResponse(const tsa_test::Authority& authority, const zttsp_request* request) {
  const CBlob& certificate = authority.certificate;
  const std::uint8_t serial[] = {0x0A, 0x1B, 0x2C};
  zttsp_token* made = nullptr;
  EXPECT_EQ(ZTTSP_OK, zttsp_token_new(request, tsa_test::Pki::kPolicy, serial, sizeof serial,
                                      kGenTime, 884000000, &made));
  const Token token(made);
  const CBlob ess = tsa_test::essSigningCertificateV2(certificate).begin()->get_value();
  EXPECT_EQ(ZTTSP_OK, zttsp_token_set_accuracy(token.get(), 1, 500, 100));
  EXPECT_EQ(ZTTSP_OK,
            zttsp_token_set_tsa_name(token.get(), certificate.pbData(), certificate.cbData()));
  EXPECT_EQ(ZTTSP_OK,
            zttsp_token_add_certificate(token.get(), certificate.pbData(), certificate.cbData()));
  EXPECT_EQ(ZTTSP_OK, zttsp_token_add_signed_attribute(token.get(), kSigningCertificateV2,
                                                       ess.pbData(), ess.cbData()));
  const Provider provider = providerOf(authority);
  EXPECT_EQ(ZTTSP_OK, zttsp_token_sign(token.get(), provider.get(), certificate.pbData(),
                                       certificate.cbData(), nullptr))
      << zttsp_last_error_message();

  // Signed is final; the signature is the authority's alone.
  EXPECT_EQ(ZTTSP_E_ILLEGAL_METHOD_CALL, zttsp_token_set_accuracy(token.get(), 2, 0, 0));
  EXPECT_EQ(ZTTSP_OK, zttsp_token_verify(token.get(), certificate.pbData(), certificate.cbData()));
  const CBlob& other = pki().other.certificate;
  EXPECT_EQ(ZTTSP_E_BAD_SIGNATURE, zttsp_token_verify(token.get(), other.pbData(), other.cbData()));

  zttsp_response* made_response = nullptr;
  EXPECT_EQ(ZTTSP_OK, zttsp_response_new(ZTTSP_STATUS_GRANTED, &made_response));
  const Response response(made_response);
  EXPECT_EQ(ZTTSP_OK, zttsp_response_set_token(response.get(), token.get()));
  return *bytesOf(zttsp_response_encode, response.get());
}

TEST(CapiAuthority, AnswersAnOpensslRequestWithATokenOpensslVerifies) {
  shell("openssl ts -query -data data.txt -sha256 -cert -out capi.tsq");
  const Request request(
      decoded(zttsp_request_decode, zttsp_test::readFile(pki().dir + "/capi.tsq")));
  ASSERT_NE(nullptr, request);
#ifdef _WIN32
  // Wine writes the TSTInfo bare, which `openssl ts` refuses (docs/wine-differences.md): the
  // response is read back through the C interface.
  const Response response(decoded(zttsp_response_decode, signedResponse(pki().rsa, request.get())));
  zttsp_token* token = nullptr;
  ASSERT_EQ(ZTTSP_OK, zttsp_response_get_token(response.get(), &token));
  EXPECT_EQ(ZTTSP_OK, zttsp_token_verify(Token(token).get(), pki().rsa.certificate.pbData(),
                                         pki().rsa.certificate.cbData()));
#else
  for (const tsa_test::Authority* authority : {&pki().rsa, &pki().ec}) {
    SCOPED_TRACE(authority->name);
    zttsp_test::writeFile(pki().dir + "/capi.tsr", signedResponse(*authority, request.get()));
    EXPECT_NE(std::string::npos,
              shell("openssl ts -verify -in capi.tsr -queryfile capi.tsq -CAfile ca.pem")
                  .find("Verification: OK"));
    const std::string text = shell("openssl ts -reply -in capi.tsr -text");
    for (const std::string& line :
         {std::string("Serial number: 0x0A1B2C"),
          std::string("Time stamp: Jun 21 07:12:05.884 2026 GMT"),
          std::string("Accuracy: 0x01 seconds, 0x01F4 millis, 0x64 micros"),
          "TSA: DirName:/O=Zanthorel Test/CN=" + authority->name + " TSA"})
      EXPECT_NE(std::string::npos, text.find(line)) << line << "\n" << text;
  }
#endif
}

TEST(CapiAuthority, StampsWhatAnAuthenticodeRequestAsksAndOpensslVerifiesIt) {
  const std::string signature = "the signature to stamp";
  zttsp_ms_request* made = nullptr;
  ASSERT_EQ(ZTTSP_OK, zttsp_ms_request_new(reinterpret_cast<const std::uint8_t*>(signature.data()),
                                           signature.size(), &made));
  // As a server receives it.
  const CBlob sent = *bytesOf(zttsp_ms_request_encode, MSRequest(made).get());
  const MSRequest request(decoded(zttsp_ms_request_decode, sent));

  zttsp_ms_stamp* unsigned_stamp = nullptr;
  ASSERT_EQ(ZTTSP_OK, zttsp_ms_stamp_new(request.get(), kGenTime, &unsigned_stamp));
  const MSStamp stamp(unsigned_stamp);
  const CBlob& certificate = pki().rsa.certificate;
  EXPECT_EQ(ZTTSP_OK, zttsp_ms_stamp_add_certificate(stamp.get(), certificate.pbData(),
                                                     certificate.cbData()));
  const Provider provider = providerOf(pki().rsa);
  ASSERT_EQ(ZTTSP_OK, zttsp_ms_stamp_sign(stamp.get(), provider.get(), certificate.pbData(),
                                          certificate.cbData(), ZTTSP_OID_SHA256))
      << zttsp_last_error_message();
  const CBlob der = *bytesOf(zttsp_ms_stamp_encode, stamp.get());

  zttsp_test::writeFile(pki().dir + "/capi-stamp.der", der);
  shell("openssl cms -verify -binary -noverify -inform DER -in capi-stamp.der -out capi.bin");
  EXPECT_EQ(signature, zttsp_test::readText(pki().dir + "/capi.bin"));

  const MSStamp received(decoded(zttsp_ms_stamp_decode, der));
  EXPECT_EQ(ZTTSP_OK,
            zttsp_ms_stamp_verify(received.get(), certificate.pbData(), certificate.cbData()));
  EXPECT_EQ(zttsp_test::blobOf(signature), bytesOf(zttsp_ms_stamp_get_content, received.get()));
  int64_t seconds = 0;
  uint32_t nanoseconds = 1;
  EXPECT_EQ(ZTTSP_OK, zttsp_ms_stamp_get_signing_time(received.get(), &seconds, &nanoseconds));
  EXPECT_EQ(kGenTime, seconds);
  EXPECT_EQ(0u, nanoseconds);
}

#ifndef _WIN32
// Linux only: the reference count is the platform layer's to tell.
TEST(CapiAuthority, AProviderHoldsAReferenceOfItsOwnOnTheCallersHandle) {
  const CBlob& key = pki().rsa.key;
  HCRYPTPROV handle = 0;
  ASSERT_TRUE(ZtAcquireContextFromPrivateKey(&handle, key.pbData(), key.cbData()));
  zttsp_provider* provider = nullptr;
  ASSERT_EQ(ZTTSP_OK, zttsp_provider_from_handle(handle, ZTTSP_KEY_SIGNATURE, &provider));
  EXPECT_EQ(2u, ZtGetProviderReferenceCount(handle));
  CryptReleaseContext(handle, 0);
  EXPECT_EQ(1u, ZtGetProviderReferenceCount(handle));
  // The last reference: the handle is gone with it.
  EXPECT_EQ(ZTTSP_OK, zttsp_provider_release(provider));
  EXPECT_EQ(ZTTSP_E_HANDLE, zttsp_provider_release(provider));
  const std::uint8_t noKey[] = {0x30, 0x00};
  EXPECT_EQ(NTE_BAD_DATA, zttsp_provider_from_pkcs8(noKey, sizeof noKey, &provider));
}
#else
TEST(CapiAuthority, WindowsProvidersComeFromTheCallersHandle) {
  const std::uint8_t key[] = {0x30, 0x00};
  zttsp_provider* provider = nullptr;
  EXPECT_EQ(ZTTSP_E_NOTIMPL, zttsp_provider_from_pkcs8(key, sizeof key, &provider));
}
#endif

}  // namespace
