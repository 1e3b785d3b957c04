#include "bench/authorities.h"

#include <openssl/ess.h>
#include <openssl/objects.h>

#include <cstdlib>

#include "outside/ztasn1/pki_status_info.h"
#include "platform/key_provider.h"
#include "rfc3161/request.h"
#include "rfc3161/response.h"

using Zanthorel::CBlob;
using Zanthorel::CDateTime;
using Zanthorel::ASN1::CAlgorithmIdentifierEx;
using Zanthorel::ASN1::CAttribute;
using Zanthorel::ASN1::CBigInteger;
using Zanthorel::ASN1::CPKIStatusInfo;
using Zanthorel::PKI::TSP::CRequest;
using Zanthorel::PKI::TSP::CResponse;
using Zanthorel::PKI::TSP::CToken;

namespace {

const char kPolicy[] = "1.3.6.1.4.1.99999.7.1";

// The ESS signingCertificateV2 attribute naming the key's certificate, made by OpenSSL.
CAttribute signingCertificateV2(const BenchKey& key) {
  X509* certificate = parsedCertificate(key);
  ESS_SIGNING_CERT_V2* value =
      OSSL_ESS_signing_cert_v2_new_init(EVP_sha256(), certificate, nullptr, 1);
  unsigned char* der = nullptr;
  const int length = value != nullptr ? i2d_ESS_SIGNING_CERT_V2(value, &der) : -1;
  if (length <= 0) std::abort();
  CAttribute attribute("1.2.840.113549.1.9.16.2.47");
  attribute.add(CBlob(der, static_cast<std::uint32_t>(length)));
  OPENSSL_free(der);
  ESS_SIGNING_CERT_V2_free(value);
  X509_free(certificate);
  return attribute;
}

CBlob blobOfDer(unsigned char* der, int length) {
  if (length <= 0) std::abort();
  CBlob blob(der, static_cast<std::uint32_t>(length));
  OPENSSL_free(der);
  return blob;
}

// About the size of a token's signed attributes, which its signature covers.
const std::vector<unsigned char> kSignedAttributes(150, 0x31);

}  // namespace

X509* parsedCertificate(const BenchKey& key) {
  const unsigned char* cursor = key.certificate.data();
  X509* certificate = d2i_X509(nullptr, &cursor, static_cast<long>(key.certificate.size()));
  if (certificate == nullptr) std::abort();
  return certificate;
}

CBlob blobOf(const std::vector<unsigned char>& bytes) {
  return CBlob(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
}

const CAlgorithmIdentifierEx& sha256Algorithm() {
  static const CAlgorithmIdentifierEx sha256("2.16.840.1.101.3.4.2.1", CBlob("\x05\x00", 2));
  return sha256;
}

CBlob typicalRequest() {
  unsigned char hash[32];
  for (int i = 0; i < 32; ++i)
    hash[i] = static_cast<unsigned char>(i * 7 + 1);
  CRequest request(sha256Algorithm(), CBlob(hash, sizeof hash), true);
  const CBigInteger nonce("0xAE5A9469B20214C2");
  request.put_nonce(&nonce);
  request.put_reqPolicy(kPolicy);
  return request.encode();
}

BenchProvider::BenchProvider(const BenchKey& key) {
  if (!ZtAcquireContextFromPrivateKey(&provider_, key.pkcs8.data(),
                                      static_cast<DWORD>(key.pkcs8.size())))
    std::abort();
}

BenchProvider::~BenchProvider() {
  CryptReleaseContext(provider_, 0);
}

ZttspAuthority::ZttspAuthority(const BenchKey& key)
    : provider_(key), certificate_(blobOf(key.certificate)), serialNumber_("1"), accuracy_(1) {
  certificates_.push_back(certificate_);
  essAttributes_.push_back(signingCertificateV2(key));
}

CBlob ZttspAuthority::answer(const CBlob& encoded) const {
  CRequest request;
  request.decode(encoded);
  CToken token(kPolicy, request.get_hashAlgorithm(), request.get_hashedMessage(), serialNumber_,
               CDateTime::now(), false);
  token.put_nonce(request.get_nonce());
  token.put_accuracy(&accuracy_);
  token.put_signedAttributes(&essAttributes_);
  if (request.get_certReq()) token.put_certificates(&certificates_);
  token.sign(provider_.get(), AT_SIGNATURE, certificate_, sha256Algorithm());
  CResponse response;
  response.put_status(CPKIStatusInfo(Zanthorel::ASN1::granted));
  response.put_timeStampToken(&token);
  return response.encode();
}

OpenSslAuthority::OpenSslAuthority(const BenchKey& key)
    : certificate_(parsedCertificate(key)), context_(TS_RESP_CTX_new()) {
  ASN1_OBJECT* policy = OBJ_txt2obj(kPolicy, 1);
  if (context_ == nullptr || policy == nullptr ||
      TS_RESP_CTX_set_signer_cert(context_, certificate_) != 1 ||
      TS_RESP_CTX_set_signer_key(context_, key.key) != 1 ||
      TS_RESP_CTX_set_def_policy(context_, policy) != 1 ||
      TS_RESP_CTX_add_md(context_, EVP_sha256()) != 1 ||
      TS_RESP_CTX_set_signer_digest(context_, EVP_sha256()) != 1 ||
      TS_RESP_CTX_set_ess_cert_id_digest(context_, EVP_sha256()) != 1 ||
      TS_RESP_CTX_set_accuracy(context_, 1, 0, 0) != 1)
    std::abort();
  ASN1_OBJECT_free(policy);
}

OpenSslAuthority::~OpenSslAuthority() {
  TS_RESP_CTX_free(context_);
  X509_free(certificate_);
}

CBlob OpenSslAuthority::answer(const CBlob& request) const {
  BIO* in = BIO_new_mem_buf(request.pbData(), static_cast<int>(request.cbData()));
  TS_RESP* response = TS_RESP_create_response(context_, in);
  if (response == nullptr ||
      ASN1_INTEGER_get(TS_STATUS_INFO_get0_status(TS_RESP_get_status_info(response))) != 0)
    std::abort();
  unsigned char* der = nullptr;
  const int length = i2d_TS_RESP(response, &der);
  TS_RESP_free(response);
  BIO_free(in);
  return blobOfDer(der, length);
}

CBlob opensslResponse(const BenchKey& key) {
  return OpenSslAuthority(key).answer(typicalRequest());
}

CBlob tokenIn(const CBlob& response) {
  const unsigned char* cursor = response.pbData();
  TS_RESP* decoded = d2i_TS_RESP(nullptr, &cursor, response.cbData());
  if (decoded == nullptr || TS_RESP_get_token(decoded) == nullptr) std::abort();
  unsigned char* der = nullptr;
  const int length = i2d_PKCS7(TS_RESP_get_token(decoded), &der);
  TS_RESP_free(decoded);
  return blobOfDer(der, length);
}

OpenSslTokenVerifier::OpenSslTokenVerifier(const BenchKey& key) : context_(TS_VERIFY_CTX_new()) {
  X509_STORE* anchors = X509_STORE_new();
  X509* certificate = parsedCertificate(key);
  if (context_ == nullptr || anchors == nullptr || X509_STORE_add_cert(anchors, certificate) != 1)
    std::abort();
  X509_free(certificate);
  TS_VERIFY_CTX_set_flags(context_, TS_VFY_SIGNATURE);
  TS_VERIFY_CTX_set_store(context_, anchors);  // the context frees it
}

OpenSslTokenVerifier::~OpenSslTokenVerifier() {
  TS_VERIFY_CTX_free(context_);
}

bool OpenSslTokenVerifier::verify(PKCS7* token) const {
  return TS_RESP_verify_token(context_, token) == 1;
}

std::vector<unsigned char> rawSign(EVP_PKEY* key) {
  std::vector<unsigned char> signature(EVP_PKEY_get_size(key));
  std::size_t size = signature.size();
  EVP_MD_CTX* ctx = EVP_MD_CTX_new();
  if (EVP_DigestSignInit(ctx, nullptr, EVP_sha256(), nullptr, key) != 1 ||
      EVP_DigestSign(ctx, signature.data(), &size, kSignedAttributes.data(),
                     kSignedAttributes.size()) != 1)
    std::abort();
  EVP_MD_CTX_free(ctx);
  signature.resize(size);
  return signature;
}

bool rawVerify(EVP_PKEY* key, const std::vector<unsigned char>& signature) {
  EVP_MD_CTX* ctx = EVP_MD_CTX_new();
  const bool verified = EVP_DigestVerifyInit(ctx, nullptr, EVP_sha256(), nullptr, key) == 1 &&
                        EVP_DigestVerify(ctx, signature.data(), signature.size(),
                                         kSignedAttributes.data(), kSignedAttributes.size()) == 1;
  EVP_MD_CTX_free(ctx);
  return verified;
}
