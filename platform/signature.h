// Digests, signatures and public keys through OpenSSL libcrypto.
#pragma once

#include <openssl/evp.h>

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <vector>

#include "platform/algorithms.h"
#include "platform/openssl_ptr.h"
#include "platform/public_key_cache.h"
#include "sdk/wincrypt.h"

namespace Zanthorel {
namespace Platform {

struct ByteSpan {
  const BYTE* data;
  std::size_t size;
};

struct Digest {
  BYTE value[EVP_MAX_MD_SIZE];
  unsigned int size = 0;
};

// The digest of the parts, one after the other.
Digest computeDigest(const EVP_MD* md, std::initializer_list<ByteSpan> parts);

// A context that signs digests made with `md` by `key`: PKCS #1 v1.5 for RSA keys, ECDSA for EC
// keys. Throws NTE_BAD_KEY when the key cannot sign so.
EvpPkeyCtxPtr signingContext(EVP_PKEY* key, const EVP_MD* md);

// The signature of `digest` by `context` (from signingContext): for EC keys a DER
// ECDSA-Sig-Value. Throws NTE_BAD_KEY when the key cannot sign.
std::vector<BYTE> signDigest(EVP_PKEY_CTX* context, const Digest& digest);

// A context that verifies signatures by `key` under `scheme` of digests made with `md`; null when
// the key cannot verify so.
EvpPkeyCtxPtr verifyingContext(EVP_PKEY* key, SignatureScheme scheme, const EVP_MD* md);

// Whether `signature` is a signature of `digest` that `context` (from verifyingContext)
// verifies; false for a null context.
bool verifyDigest(EVP_PKEY_CTX* context, const Digest& digest, ByteSpan signature);

// The key of a certificate's SubjectPublicKeyInfo, kept across calls (public_key_cache.h).
// Throws CRYPT_E_ASN1_EOD when there is no key and CRYPT_E_ASN1_BADTAG when it cannot be decoded.
std::shared_ptr<VerifyingKey> publicKeyOf(const CERT_PUBLIC_KEY_INFO& info);

}  // namespace Platform
}  // namespace Zanthorel
