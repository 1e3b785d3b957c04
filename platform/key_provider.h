// The Linux build's way to a provider: Windows callers acquire one with CryptAcquireContext;
// here a provider is made from a private key, and then used and released like a Windows one
// (CMSG_SIGNER_ENCODE_INFO.hCryptProv, CryptContextAddRef, CryptReleaseContext).
//
//   HCRYPTPROV provider = 0;
//   if (!ZtAcquireContextFromPrivateKey(&provider, key.data(), key.size())) { ... GetLastError() }
//   token.sign(provider, AT_SIGNATURE, certificate, sha256);
//   CryptReleaseContext(provider, 0);
#pragma once

#include "sdk/wincrypt.h"

extern "C" {

// Linux only. Makes a provider holding one PKCS #8 private key, DER or PEM: RSA of 2048 to 4096
// bits, or ECDSA on P-256, P-384 or P-521. The provider serves the key under AT_SIGNATURE and
// AT_KEYEXCHANGE, starts with one reference and is released with CryptReleaseContext. Returns
// FALSE with the last error set on failure: E_INVALIDARG (no key given), NTE_BAD_DATA (no PKCS #8
// key), NTE_BAD_KEY (another algorithm or size), E_OUTOFMEMORY.
ZTTSP_API BOOL WINAPI ZtAcquireContextFromPrivateKey(HCRYPTPROV* phProv, const BYTE* pbKey,
                                                     DWORD cbKey);
// Linux only, for tests: the provider's current reference count, 0 for an invalid handle.
ZTTSP_API DWORD WINAPI ZtGetProviderReferenceCount(HCRYPTPROV hProv);

}  // extern "C"
