// Signing keys for the benchmarks: an OpenSSL key, its PKCS #8 encoding and a self-signed
// time-stamping certificate for it, made once per key type on first use. Benchmarks that run for
// each key take a KeyOf and register with BENCHMARK_EACH_KEY, so that a filtered run makes only
// the keys it needs.
#pragma once

#include <openssl/evp.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <cstdlib>
#include <vector>

struct BenchKey {
  EVP_PKEY* key = nullptr;
  std::vector<unsigned char> pkcs8;
  std::vector<unsigned char> certificate;

  // Takes `generated`, which must not be null.
  explicit BenchKey(EVP_PKEY* generated) : key(generated) {
    if (key == nullptr) std::abort();
    PKCS8_PRIV_KEY_INFO* info = EVP_PKEY2PKCS8(key);
    unsigned char* der = nullptr;
    int length = i2d_PKCS8_PRIV_KEY_INFO(info, &der);
    pkcs8.assign(der, der + length);
    OPENSSL_free(der);
    PKCS8_PRIV_KEY_INFO_free(info);

    X509* cert = X509_new();
    X509_set_version(cert, X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(cert), 0x1234);
    X509_NAME* name = X509_get_subject_name(cert);
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>("bench"), -1, -1, 0);
    X509_set_issuer_name(cert, name);
    X509_gmtime_adj(X509_getm_notBefore(cert), -3600);
    X509_gmtime_adj(X509_getm_notAfter(cert), 86400);
    X509_set_pubkey(cert, key);
    // What OpenSSL's token verification asks of a time-stamping signer.
    X509_EXTENSION* usage =
        X509V3_EXT_conf_nid(nullptr, nullptr, NID_ext_key_usage, "critical,timeStamping");
    if (usage == nullptr || X509_add_ext(cert, usage, -1) != 1) std::abort();
    X509_EXTENSION_free(usage);
    X509_sign(cert, key, EVP_sha256());
    der = nullptr;
    length = i2d_X509(cert, &der);
    certificate.assign(der, der + length);
    OPENSSL_free(der);
    X509_free(cert);
    if (pkcs8.empty() || certificate.empty()) std::abort();
  }
};

// RSA-2048.
inline const BenchKey& benchKey() {
  static const BenchKey key(EVP_RSA_gen(2048));
  return key;
}

inline const BenchKey& benchKeyRsa3072() {
  static const BenchKey key(EVP_RSA_gen(3072));
  return key;
}

inline const BenchKey& benchKeyP256() {
  static const BenchKey key(EVP_EC_gen("P-256"));
  return key;
}

using KeyOf = const BenchKey& (*)();

#define BENCHMARK_EACH_KEY(function)                      \
  BENCHMARK_CAPTURE(function, rsa2048, &benchKey);        \
  BENCHMARK_CAPTURE(function, rsa3072, &benchKeyRsa3072); \
  BENCHMARK_CAPTURE(function, p256, &benchKeyP256)
