#include "platform/algorithms.h"

#include "sdk/wincrypt.h"

namespace Zanthorel {
namespace Platform {

namespace {

struct DigestEntry {
  const char* digestOid;
  const char* rsaOid;
  const char* ecdsaOid;
  const EVP_MD* (*digest)();
};

constexpr DigestEntry kDigests[] = {
    {szOID_OIWSEC_sha1, szOID_RSA_SHA1RSA, szOID_ECDSA_SHA1, EVP_sha1},
    {szOID_NIST_sha256, szOID_RSA_SHA256RSA, szOID_ECDSA_SHA256, EVP_sha256},
    {szOID_NIST_sha384, szOID_RSA_SHA384RSA, szOID_ECDSA_SHA384, EVP_sha384},
    {szOID_NIST_sha512, szOID_RSA_SHA512RSA, szOID_ECDSA_SHA512, EVP_sha512},
};

}  // namespace

const EVP_MD* digestByOid(const std::string& oid) noexcept {
  for (const DigestEntry& entry : kDigests) {
    if (oid == entry.digestOid) return entry.digest();
  }
  return nullptr;
}

bool signatureAlgorithmByOid(const std::string& oid, SignatureAlgorithm& algorithm) noexcept {
  if (oid == szOID_RSA_RSA || oid == szOID_ECC_PUBLIC_KEY) {
    algorithm = {oid == szOID_RSA_RSA ? SignatureScheme::RsaPkcs1 : SignatureScheme::Ecdsa,
                 nullptr};
    return true;
  }
  for (const DigestEntry& entry : kDigests) {
    if (oid == entry.rsaOid || oid == entry.ecdsaOid) {
      algorithm = {oid == entry.rsaOid ? SignatureScheme::RsaPkcs1 : SignatureScheme::Ecdsa,
                   entry.digest()};
      return true;
    }
  }
  return false;
}

const char* ecdsaOidFor(const EVP_MD* digest) noexcept {
  for (const DigestEntry& entry : kDigests) {
    if (entry.digest() == digest) return entry.ecdsaOid;
  }
  return nullptr;
}

}  // namespace Platform
}  // namespace Zanthorel
