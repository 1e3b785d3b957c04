#include "platform/signature.h"

#include <openssl/rsa.h>
#include <openssl/x509.h>

#include <string>

#include "outside/asn1rt/der_writer.h"
#include "outside/ztasn1/object_identifier.h"
#include "platform/api_guard.h"

using Zanthorel::BER::DerWriter;

namespace Zanthorel {
namespace Platform {

Digest computeDigest(const EVP_MD* md, std::initializer_list<ByteSpan> parts) {
  EvpMdCtxPtr ctx(EVP_MD_CTX_new());
  if (!ctx) fail(E_OUTOFMEMORY);
  Digest digest;
  bool ok = EVP_DigestInit_ex(ctx.get(), md, nullptr) == 1;
  for (const ByteSpan& part : parts) {
    ok = ok && EVP_DigestUpdate(ctx.get(), part.data, part.size) == 1;
  }
  if (!ok || EVP_DigestFinal_ex(ctx.get(), digest.value, &digest.size) != 1) fail(NTE_BAD_HASH);
  return digest;
}

namespace {

// A signing or verifying context for `key` with the padding and digest of `scheme`.
bool prepare(EVP_PKEY_CTX* ctx, EVP_PKEY* key, SignatureScheme scheme, const EVP_MD* md) {
  if (scheme == SignatureScheme::RsaPkcs1) {
    if (!EVP_PKEY_is_a(key, "RSA") || EVP_PKEY_CTX_set_rsa_padding(ctx, RSA_PKCS1_PADDING) != 1)
      return false;
  } else if (!EVP_PKEY_is_a(key, "EC")) {
    return false;
  }
  return EVP_PKEY_CTX_set_signature_md(ctx, md) == 1;
}

SignatureScheme schemeOf(EVP_PKEY* key) {
  return EVP_PKEY_is_a(key, "EC") ? SignatureScheme::Ecdsa : SignatureScheme::RsaPkcs1;
}

}  // namespace

EvpPkeyCtxPtr signingContext(EVP_PKEY* key, const EVP_MD* md) {
  EvpPkeyCtxPtr ctx(EVP_PKEY_CTX_new(key, nullptr));
  if (!ctx || EVP_PKEY_sign_init(ctx.get()) != 1 || !prepare(ctx.get(), key, schemeOf(key), md))
    fail(NTE_BAD_KEY);
  return ctx;
}

std::vector<BYTE> signDigest(EVP_PKEY_CTX* context, const Digest& digest) {
  std::size_t size = 0;
  if (EVP_PKEY_sign(context, nullptr, &size, digest.value, digest.size) != 1) fail(NTE_BAD_KEY);
  std::vector<BYTE> signature(size);
  if (EVP_PKEY_sign(context, signature.data(), &size, digest.value, digest.size) != 1)
    fail(NTE_BAD_KEY);
  signature.resize(size);
  return signature;
}

EvpPkeyCtxPtr verifyingContext(EVP_PKEY* key, SignatureScheme scheme, const EVP_MD* md) {
  EvpPkeyCtxPtr ctx(EVP_PKEY_CTX_new(key, nullptr));
  if (!ctx || EVP_PKEY_verify_init(ctx.get()) != 1 || !prepare(ctx.get(), key, scheme, md))
    return nullptr;
  return ctx;
}

bool verifyDigest(EVP_PKEY_CTX* context, const Digest& digest, ByteSpan signature) {
  return context != nullptr &&
         EVP_PKEY_verify(context, signature.data, signature.size, digest.value, digest.size) == 1;
}

namespace {

// RSA and EC keys straight from their key octets: OpenSSL's generic SubjectPublicKeyInfo decoder
// costs some 200 microseconds a call, several times the verification itself.
EvpPkeyPtr directPublicKey(const CERT_PUBLIC_KEY_INFO& info) {
  const std::string oid = info.Algorithm.pszObjId;
  const CRYPT_OBJID_BLOB& parameters = info.Algorithm.Parameters;
  const unsigned char* key = info.PublicKey.pbData;
  const long keySize = static_cast<long>(info.PublicKey.cbData);
  if (info.PublicKey.cUnusedBits != 0) return nullptr;
  if (oid == szOID_RSA_RSA) return EvpPkeyPtr(d2i_PublicKey(EVP_PKEY_RSA, nullptr, &key, keySize));
  if (oid != szOID_ECC_PUBLIC_KEY || parameters.cbData == 0) return nullptr;
  const unsigned char* curve = parameters.pbData;
  EVP_PKEY* ec = d2i_KeyParams(EVP_PKEY_EC, nullptr, &curve, static_cast<long>(parameters.cbData));
  if (ec != nullptr && d2i_PublicKey(EVP_PKEY_EC, &ec, &key, keySize) == nullptr) {
    EVP_PKEY_free(ec);
    ec = nullptr;
  }
  return EvpPkeyPtr(ec);
}

// Any other key through its SubjectPublicKeyInfo.
EvpPkeyPtr decodedPublicKey(const CERT_PUBLIC_KEY_INFO& info) {
  const CRYPT_OBJID_BLOB& parameters = info.Algorithm.Parameters;
  // SubjectPublicKeyInfo ::= SEQUENCE { algorithm AlgorithmIdentifier, subjectPublicKey BIT STRING
  // }
  ASN1CTXT ctxt;
  ASN1OBJID algorithm{};
  try {
    ASN1::ASN1TObjId_traits::set(&ctxt, algorithm, info.Algorithm.pszObjId);
  } catch (const ATL::CAtlException&) {
    fail(CRYPT_E_ASN1_BADTAG);
  }
  DerWriter out(&ctxt);
  const std::size_t spki = out.open(kTagSequence);
  const std::size_t algorithmId = out.open(kTagSequence);
  out.putObjId(algorithm);
  if (parameters.cbData != 0) out.putOpenType({parameters.cbData, parameters.pbData});
  out.close(algorithmId);
  out.putBitString({info.PublicKey.cbData * 8 - info.PublicKey.cUnusedBits, info.PublicKey.pbData});
  out.close(spki);
  if (!out.ok()) fail(CRYPT_E_ASN1_BADTAG);
  const unsigned char* cursor = out.data();
  return EvpPkeyPtr(d2i_PUBKEY(nullptr, &cursor, static_cast<long>(out.size())));
}

}  // namespace

std::shared_ptr<VerifyingKey> publicKeyOf(const CERT_PUBLIC_KEY_INFO& info) {
  if (info.Algorithm.pszObjId == nullptr || info.PublicKey.cbData == 0 ||
      info.PublicKey.pbData == nullptr)
    fail(CRYPT_E_ASN1_EOD);
  const CRYPT_OBJID_BLOB& parameters = info.Algorithm.Parameters;
  if (info.PublicKey.cUnusedBits > 7 || info.PublicKey.cbData > UINT32_MAX / 8 ||
      (parameters.cbData != 0 && parameters.pbData == nullptr))
    fail(CRYPT_E_ASN1_BADTAG);
  // Everything the key is made of, as the cache's key.
  std::string id = info.Algorithm.pszObjId;
  id.push_back('\0');
  if (parameters.cbData != 0)
    id.append(reinterpret_cast<const char*>(parameters.pbData), parameters.cbData);
  id.push_back(static_cast<char>(info.PublicKey.cUnusedBits));
  id.append(reinterpret_cast<const char*>(info.PublicKey.pbData), info.PublicKey.cbData);
  PublicKeyCache& cache = PublicKeyCache::instance();
  if (std::shared_ptr<VerifyingKey> kept = cache.find(id)) return kept;

  EvpPkeyPtr key = directPublicKey(info);
  if (!key) key = decodedPublicKey(info);
  if (!key) fail(CRYPT_E_ASN1_BADTAG);
  auto verifying = std::make_shared<VerifyingKey>(std::move(key));
  cache.add(id, verifying);
  return verifying;
}

}  // namespace Platform
}  // namespace Zanthorel
