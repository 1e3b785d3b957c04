// The C interface reads every vector exactly as the C++ classes read it: the same failure, or
// the same fields, bytes and verification answers. The TSA names in words agree with OpenSSL's
// RFC 2253 form of the same names.
#include <filesystem>

#include "authenticode/ms_request.h"
#include "authenticode/ms_stamp.h"
#include "outside/ztasn1/octet_string.h"
#include "rfc3161/request.h"
#include "rfc3161/response.h"
#include "sdk/win32.h"
#include "tests/capi/capi_support.h"
#include "tests/support/test_support.h"

using namespace capi_test;
using Zanthorel::CBlob;
using Zanthorel::CBlobList;
using Zanthorel::PKI::TSP::CMSRequest;
using Zanthorel::PKI::TSP::CMSStamp;
using Zanthorel::PKI::TSP::CRequest;
using Zanthorel::PKI::TSP::CResponse;
using Zanthorel::PKI::TSP::CToken;
using zttsp_test::hresultOf;

namespace {

std::vector<std::string> vectorsStartingWith(const std::string& prefix) {
  std::vector<std::string> names;
  for (const auto& file : std::filesystem::directory_iterator(zttsp_test::dataPath("vectors"))) {
    const std::string name = file.path().filename().string();
    if (name.rfind(prefix, 0) == 0 && file.path().extension() != ".b64") names.push_back(name);
  }
  EXPECT_FALSE(names.empty()) << prefix;
  return names;
}

CBlobList certificatesIn(const CBlobList* carried) {
  CBlobList all = carried != nullptr ? *carried : CBlobList();
  for (const std::string& name : vectorsStartingWith("cert-"))
    if (name.size() > 4 && name.substr(name.size() - 4) == ".der")
      all.push_back(zttsp_test::readFile(zttsp_test::vectorPath(name)));
  return all;
}

// What C++'s verify answers, in the C interface's terms.
template <class Message>
zttsp_result cppVerifies(const Message& message, const CBlob& certificate) {
  bool verified = false;
  const HRESULT hr = hresultOf([&] { verified = message.verify(certificate); });
  return hr != S_OK ? hr : verified ? ZTTSP_OK : ZTTSP_E_BAD_SIGNATURE;
}

template <class Handle>
void expectCertificates(const CBlobList* expected, const Handle* handle,
                        zttsp_result (*count)(const Handle*, std::size_t*),
                        zttsp_result (*get)(const Handle*, std::size_t, std::uint8_t**,
                                            std::size_t*)) {
  std::size_t n = 99;
  ASSERT_EQ(ZTTSP_OK, count(handle, &n));
  ASSERT_EQ(expected != nullptr ? expected->size() : 0, n);
  std::size_t index = 0;
  for (const CBlob& certificate : expected != nullptr ? *expected : CBlobList()) {
    std::uint8_t* data = nullptr;
    std::size_t length = 0;
    ASSERT_EQ(ZTTSP_OK, get(handle, index++, &data, &length));
    EXPECT_EQ(certificate, CBlob(data, static_cast<std::uint32_t>(length)));
    zttsp_free(data);
  }
}

void expectSameToken(const CToken& cpp, const zttsp_token* c) {
  EXPECT_EQ(std::string(cpp.get_genTimeZ()), textOf(zttsp_token_get_gen_time_text, c));
  EXPECT_EQ(cpp.get_serialNumber().get_value(), bytesOf(zttsp_token_get_serial, c));
  EXPECT_EQ(std::string(cpp.get_policy()), textOf(zttsp_token_get_policy, c));
  EXPECT_EQ(std::string(cpp.get_hashAlgorithm().get_algorithm()),
            textOf(zttsp_token_get_hash_algorithm, c));
  EXPECT_EQ(cpp.get_hashedMessage(), bytesOf(zttsp_token_get_hash, c));
  EXPECT_EQ(optionalBytes(cpp.get_nonce() ? &cpp.get_nonce()->get_value() : nullptr),
            bytesOf(zttsp_token_get_nonce, c));
  EXPECT_EQ(cpp.encode(), bytesOf(zttsp_token_encode, c));
  EXPECT_EQ(cpp.get_tsa() != nullptr, textOf(zttsp_token_get_tsa_name, c).has_value());
  int ordering = -1, present = -1;
  std::uint32_t seconds = 9, millis = 9, micros = 9;
  EXPECT_EQ(ZTTSP_OK, zttsp_token_get_ordering(c, &ordering));
  EXPECT_EQ(cpp.get_ordering() ? 1 : 0, ordering);
  EXPECT_EQ(ZTTSP_OK, zttsp_token_get_accuracy(c, &present, &seconds, &millis, &micros));
  const auto* accuracy = cpp.get_accuracy();
  EXPECT_EQ(accuracy != nullptr ? 1 : 0, present);
  EXPECT_EQ(Zanthorel::PKI::TSP::CAccuracy(seconds, millis, micros),
            accuracy != nullptr ? *accuracy : Zanthorel::PKI::TSP::CAccuracy());
  expectCertificates(cpp.get_certificates(), c, zttsp_token_get_certificate_count,
                     zttsp_token_get_certificate);
  for (const CBlob& certificate : certificatesIn(cpp.get_certificates()))
    EXPECT_EQ(cppVerifies(cpp, certificate),
              zttsp_token_verify(c, certificate.pbData(), certificate.cbData()));
}

TEST(CapiVectors, RequestsReadAsInCpp) {
  for (const std::string& name : vectorsStartingWith("req-")) {
    SCOPED_TRACE(name);
    const CBlob bytes = zttsp_test::readFile(zttsp_test::vectorPath(name));
    CRequest cpp;
    zttsp_result result = 1;
    const Request c(decoded(zttsp_request_decode, bytes, &result));
    ASSERT_EQ(hresultOf([&] { cpp.decode(bytes); }), result);
    if (result != ZTTSP_OK) continue;
    EXPECT_EQ(std::string(cpp.get_hashAlgorithm().get_algorithm()),
              textOf(zttsp_request_get_hash_algorithm, c.get()));
    EXPECT_EQ(cpp.get_hashedMessage(), bytesOf(zttsp_request_get_hash, c.get()));
    EXPECT_EQ(optionalBytes(cpp.get_nonce() ? &cpp.get_nonce()->get_value() : nullptr),
              bytesOf(zttsp_request_get_nonce, c.get()));
    EXPECT_EQ(optionalText(cpp.get_reqPolicy()), textOf(zttsp_request_get_policy, c.get()));
    int certReq = -1;
    EXPECT_EQ(ZTTSP_OK, zttsp_request_get_cert_req(c.get(), &certReq));
    EXPECT_EQ(cpp.get_certReq() ? 1 : 0, certReq);
    EXPECT_EQ(cpp.encode(), bytesOf(zttsp_request_encode, c.get()));
  }
}

TEST(CapiVectors, ResponsesAndTokensReadAsInCpp) {
  for (const std::string& name : vectorsStartingWith("resp-")) {
    SCOPED_TRACE(name);
    const CBlob bytes = zttsp_test::readFile(zttsp_test::vectorPath(name));
    CResponse cpp;
    zttsp_result result = 1;
    const Response c(decoded(zttsp_response_decode, bytes, &result));
    ASSERT_EQ(hresultOf([&] { cpp.decode(bytes); }), result);
    if (result != ZTTSP_OK) continue;
    int32_t status = -1;
    uint32_t failInfo = 9;
    EXPECT_EQ(ZTTSP_OK, zttsp_response_get_status(c.get(), &status));
    EXPECT_EQ(cpp.get_status().get_status(), status);
    EXPECT_EQ(ZTTSP_OK, zttsp_response_get_fail_info(c.get(), &failInfo));
    EXPECT_EQ(cpp.get_status().get_failInfo(), failInfo);
    const auto* lines = cpp.get_status().get_statusString();
    EXPECT_EQ(lines != nullptr ? std::optional<std::string>(lines->front()) : std::nullopt,
              textOf(zttsp_response_get_status_text, c.get()));
    EXPECT_EQ(cpp.encode(), bytesOf(zttsp_response_encode, c.get()));
    zttsp_token* token = nullptr;
    ASSERT_EQ(ZTTSP_OK, zttsp_response_get_token(c.get(), &token));
    ASSERT_EQ(cpp.get_timeStampToken() != nullptr, token != nullptr);
    if (token != nullptr) expectSameToken(*cpp.get_timeStampToken(), Token(token).get());
  }
  for (const std::string& name : vectorsStartingWith("tst-")) {
    SCOPED_TRACE(name);
    const CBlob bytes = zttsp_test::readFile(zttsp_test::vectorPath(name));
    CToken cpp;
    zttsp_result result = 1;
    const Token c(decoded(zttsp_token_decode, bytes, &result));
    ASSERT_EQ(hresultOf([&] { cpp.decode(bytes); }), result);
    if (result == ZTTSP_OK) expectSameToken(cpp, c.get());
  }
}

TEST(CapiVectors, AuthenticodeRequestsAndStampsReadAsInCpp) {
  for (const std::string& name : vectorsStartingWith("authenticode-tsreq-")) {
    SCOPED_TRACE(name);
    const CBlob bytes = zttsp_test::readFile(zttsp_test::vectorPath(name));
    CMSRequest cpp;
    zttsp_result result = 1;
    const MSRequest c(decoded(zttsp_ms_request_decode, bytes, &result));
    ASSERT_EQ(hresultOf([&] { cpp.decode(bytes); }), result);
    ASSERT_EQ(ZTTSP_OK, result);
    EXPECT_EQ(std::string(cpp.get_timeStampAlgorithm()),
              textOf(zttsp_ms_request_get_type, c.get()));
    EXPECT_EQ(Zanthorel::ASN1::fromOctetString(cpp.get_contentInfo().get_content()),
              bytesOf(zttsp_ms_request_get_content, c.get()));
    EXPECT_EQ(cpp.encode(), bytesOf(zttsp_ms_request_encode, c.get()));
  }
  for (const std::string& name : vectorsStartingWith("authenticode-")) {
    if (name.substr(name.size() - 4) != ".p7b") continue;
    SCOPED_TRACE(name);
    const CBlob bytes = zttsp_test::readFile(zttsp_test::vectorPath(name));
    CMSStamp cpp;
    zttsp_result result = 1;
    const MSStamp c(decoded(zttsp_ms_stamp_decode, bytes, &result));
    ASSERT_EQ(hresultOf([&] { cpp.decode(bytes); }), result);
    if (result != ZTTSP_OK) continue;
    int64_t seconds = -1;
    uint32_t nanoseconds = 9;
    EXPECT_EQ(ZTTSP_OK, zttsp_ms_stamp_get_signing_time(c.get(), &seconds, &nanoseconds));
    EXPECT_EQ(cpp.get_signingTime(), Zanthorel::CDateTime(seconds, nanoseconds));
    EXPECT_EQ(Zanthorel::ASN1::fromOctetString(cpp.get_content()),
              bytesOf(zttsp_ms_stamp_get_content, c.get()));
    expectCertificates(cpp.get_certificates(), c.get(), zttsp_ms_stamp_get_certificate_count,
                       zttsp_ms_stamp_get_certificate);
    for (const CBlob& certificate : certificatesIn(cpp.get_certificates()))
      EXPECT_EQ(cppVerifies(cpp, certificate),
                zttsp_ms_stamp_verify(c.get(), certificate.pbData(), certificate.cbData()));
  }
}

// The subject of `certificate` as a DER Name.
CBlob subjectOf(const CBlob& certificate) {
  const PCCERT_CONTEXT context = CertCreateCertificateContext(
      X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, certificate.pbData(), certificate.cbData());
  if (context == nullptr) return CBlob();
  const CBlob subject(context->pCertInfo->Subject.pbData, context->pCertInfo->Subject.cbData);
  CertFreeCertificateContext(context);
  return subject;
}

TEST(CapiVectors, TsaNamesReadAsOpensslWritesTheSignersSubject) {
  int compared = 0;
  for (const std::string& name : vectorsStartingWith("tst-")) {
    SCOPED_TRACE(name);
    const CBlob bytes = zttsp_test::readFile(zttsp_test::vectorPath(name));
    CToken cpp;
    cpp.decode(bytes);
    if (cpp.get_tsa() == nullptr || cpp.get_certificates() == nullptr) continue;
    for (const CBlob& certificate : *cpp.get_certificates()) {
      if (!(subjectOf(certificate) == cpp.get_tsa()->get_value())) continue;
      const zttsp_test::TempDir dir;
      zttsp_test::writeFile(dir.path("cert.der"), certificate);
      const std::string subject =
          zttsp_test::runIn(dir.path(),
                            "openssl x509 -inform DER -in cert.der -noout -subject -nameopt "
                            "RFC2253,-esc_msb");
      const Token c(decoded(zttsp_token_decode, bytes));
      EXPECT_EQ("subject=" + *textOf(zttsp_token_get_tsa_name, c.get()) + "\n", subject);
      ++compared;
    }
  }
  EXPECT_LE(3, compared);
}

}  // namespace
