#include "platform/algorithms.h"

#include "sdk/wincrypt.h"

namespace Zanthorel {
namespace Platform {

namespace {

struct DigestEntry {
  const char* digestOid;
  const char* rsaOid;
  const char* ecdsaOid;
  const char* name;
  const EVP_MD* (*builtIn)();

  // The digest fetched once from the default provider: OpenSSL 3 fetches a built-in EVP_MD again
  // at every use, which cost as much as a P-256 signature's hashing. The built-in one when the
  // fetch fails.
  const EVP_MD* digest() const noexcept;
};

constexpr DigestEntry kDigests[] = {
    {szOID_OIWSEC_sha1, szOID_RSA_SHA1RSA, szOID_ECDSA_SHA1, "SHA1", EVP_sha1},
    {szOID_NIST_sha256, szOID_RSA_SHA256RSA, szOID_ECDSA_SHA256, "SHA256", EVP_sha256},
    {szOID_NIST_sha384, szOID_RSA_SHA384RSA, szOID_ECDSA_SHA384, "SHA384", EVP_sha384},
    {szOID_NIST_sha512, szOID_RSA_SHA512RSA, szOID_ECDSA_SHA512, "SHA512", EVP_sha512},
};
constexpr std::size_t kDigestCount = sizeof kDigests / sizeof kDigests[0];

const EVP_MD* DigestEntry::digest() const noexcept {
  // Fetched for the life of the process, like the built-in digests themselves.
  static const struct Fetched {
    const EVP_MD* digests[kDigestCount];
    Fetched() noexcept {
      for (std::size_t i = 0; i < kDigestCount; ++i) {
        const EVP_MD* fetched = EVP_MD_fetch(nullptr, kDigests[i].name, nullptr);
        digests[i] = fetched != nullptr ? fetched : kDigests[i].builtIn();
      }
    }
  } fetched;
  return fetched.digests[this - kDigests];
}

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
