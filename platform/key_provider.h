// The Linux build's way to a provider: Windows callers acquire one with CryptAcquireContext;
// here a provider is made from a private key, and then used and released like a Windows one
// (CMSG_SIGNER_ENCODE_INFO.hCryptProv, CryptContextAddRef, CryptReleaseContext).
//
//   HCRYPTPROV provider = 0;
//   if (!ZtAcquireContextFromPrivateKey(&provider, key.data(), key.size())) { ... GetLastError() }
//   token.sign(provider, AT_SIGNATURE, certificate, sha256);
//   CryptReleaseContext(provider, 0);
//
// A key that must not leave a hardware module comes as an OpenSSL key object instead, which
// signs through the module (libp11, or OpenSSL's PKCS #11 engine, which stands on it):
//
//   EVP_PKEY* key = PKCS11_get_private_key(found);          // or ENGINE_load_private_key(...)
//   if (!ZtAcquireContextFromKey(&provider, key)) { ... GetLastError() }
//   EVP_PKEY_free(key);                                      // the provider keeps its own
//   reference token.sign(provider, AT_SIGNATURE, certificate, sha256);
//   CryptReleaseContext(provider, 0);                        // then the module may be unloaded
#pragma once

#include "sdk/wincrypt.h"

// OpenSSL's key object, as <openssl/types.h> declares it.
typedef struct evp_pkey_st EVP_PKEY;

extern "C" {

// Linux only. Makes a provider holding one PKCS #8 private key, DER or PEM: RSA of 2048 to 4096
// bits, or ECDSA on P-256, P-384 or P-521. The provider serves the key under AT_SIGNATURE and
// AT_KEYEXCHANGE, starts with one reference and is released with CryptReleaseContext. Returns
// FALSE with the last error set on failure: E_INVALIDARG (no key given), NTE_BAD_DATA (no PKCS #8
// key), NTE_BAD_KEY (another algorithm or size), E_OUTOFMEMORY.
ZTTSP_API BOOL WINAPI ZtAcquireContextFromPrivateKey(HCRYPTPROV* phProv, const BYTE* pbKey,
                                                     DWORD cbKey);
// Linux only. Makes a provider for an OpenSSL key object that holds a private key: one in memory,
// or one whose signatures a PKCS #11 module makes (libp11 or the PKCS #11 engine). The same keys
// as above: RSA of 2048 to 4096 bits, or ECDSA on P-256, P-384 or P-521. The provider takes its
// own reference on the key (EVP_PKEY_up_ref) and signs with it through the EVP functions, from any
// number of threads at once: the key must allow that, as libp11's keys do (a session per signing
// thread). A key in a module works only while the module stays loaded, so unload it only after
// the provider's last reference is released (a CMSStamp holds one as long as it lives). Returns
// FALSE with the last error set on failure: E_INVALIDARG (no key given), NTE_BAD_KEY (another
// algorithm or size), E_OUTOFMEMORY.
ZTTSP_API BOOL WINAPI ZtAcquireContextFromKey(HCRYPTPROV* phProv, EVP_PKEY* pKey);
// Linux only, for tests: the provider's current reference count, 0 for an invalid handle.
ZTTSP_API DWORD WINAPI ZtGetProviderReferenceCount(HCRYPTPROV hProv);

}  // extern "C"
