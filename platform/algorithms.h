// The digest and signature algorithms that signers use, by their dotted object identifiers.
#pragma once

#include <openssl/evp.h>

#include <string>

namespace Zanthorel {
namespace Platform {

// SHA-1, SHA-256, SHA-384 or SHA-512; nullptr for any other identifier.
const EVP_MD* digestByOid(const std::string& oid) noexcept;

enum class SignatureScheme { RsaPkcs1, Ecdsa };

struct SignatureAlgorithm {
  SignatureScheme scheme;
  const EVP_MD* digest;  // the digest the identifier names; nullptr: the signer's digest
};

// rsaEncryption, sha-n-WithRSAEncryption, id-ecPublicKey or ecdsa-with-SHA-n. False for others.
bool signatureAlgorithmByOid(const std::string& oid, SignatureAlgorithm& algorithm) noexcept;

// The ecdsa-with-SHA-n identifier that matches `digest`.
const char* ecdsaOidFor(const EVP_MD* digest) noexcept;

}  // namespace Platform
}  // namespace Zanthorel
