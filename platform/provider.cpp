#include "platform/provider.h"

#include <openssl/pem.h>

#include <cstring>

#include "platform/api_guard.h"
#include "platform/key_provider.h"
#include "platform/openssl_ptr.h"
#include "platform/signature.h"

namespace Zanthorel {
namespace Platform {

Provider::Provider(EVP_PKEY* key) noexcept : key_(key) {}

Provider::~Provider() {
  magic_ = 0;
  EVP_PKEY_free(key_);
}

Provider* Provider::fromHandle(HCRYPTPROV handle) noexcept {
  auto* provider = reinterpret_cast<Provider*>(handle);
  return provider != nullptr && provider->magic_ == kMagic ? provider : nullptr;
}

void Provider::addRef() noexcept {
  references_.fetch_add(1);
}

void Provider::release() noexcept {
  if (references_.fetch_sub(1) == 1) delete this;
}

EVP_PKEY* Provider::key(DWORD keySpec) const {
  if (keySpec != 0 && keySpec != AT_SIGNATURE && keySpec != AT_KEYEXCHANGE) fail(NTE_NO_KEY);
  return key_;
}

EvpPkeyCtxPtr Provider::signingContext(DWORD keySpec, const EVP_MD* md) {
  EVP_PKEY* signer = key(keySpec);
  const std::lock_guard<std::mutex> lock(preparedMutex_);
  auto prepared = prepared_.begin();
  while (prepared != prepared_.end() && prepared->first != md)
    ++prepared;
  if (prepared == prepared_.end()) {
    prepared_.emplace_back(md, Platform::signingContext(signer, md));
    prepared = prepared_.end() - 1;
  }
  EvpPkeyCtxPtr copy(EVP_PKEY_CTX_dup(prepared->second.get()));
  if (!copy) fail(E_OUTOFMEMORY);
  return copy;
}

namespace {

bool looksLikePem(const BYTE* bytes, DWORD size) {
  static const char kBegin[] = "-----BEGIN";
  DWORD i = 0;
  while (i < size && (bytes[i] == ' ' || bytes[i] == '\t' || bytes[i] == '\r' || bytes[i] == '\n'))
    ++i;
  return size - i >= sizeof kBegin - 1 && std::memcmp(bytes + i, kBegin, sizeof kBegin - 1) == 0;
}

// PKCS #8 PrivateKeyInfo only, DER or PEM "PRIVATE KEY": never a password prompt, never the
// traditional per-algorithm formats.
Pkcs8Ptr readPkcs8(const BYTE* bytes, DWORD size) {
  if (looksLikePem(bytes, size)) {
    BioPtr bio(BIO_new_mem_buf(bytes, static_cast<int>(size)));
    if (!bio) fail(E_OUTOFMEMORY);
    return Pkcs8Ptr(PEM_read_bio_PKCS8_PRIV_KEY_INFO(bio.get(), nullptr, nullptr, nullptr));
  }
  const unsigned char* cursor = bytes;
  Pkcs8Ptr info(d2i_PKCS8_PRIV_KEY_INFO(nullptr, &cursor, static_cast<long>(size)));
  if (info && cursor != bytes + size) info.reset();  // trailing bytes: not one key
  return info;
}

bool isSupportedKey(EVP_PKEY* key) {
  if (EVP_PKEY_is_a(key, "RSA")) {
    const int bits = EVP_PKEY_get_bits(key);
    return bits >= 2048 && bits <= 4096;
  }
  if (EVP_PKEY_is_a(key, "EC")) {
    char group[32] = {};
    if (!EVP_PKEY_get_group_name(key, group, sizeof group, nullptr)) return false;
    return std::strcmp(group, "prime256v1") == 0 || std::strcmp(group, "secp384r1") == 0 ||
           std::strcmp(group, "secp521r1") == 0;
  }
  return false;
}

}  // namespace
}  // namespace Platform
}  // namespace Zanthorel

using Zanthorel::Platform::EvpPkeyPtr;
using Zanthorel::Platform::fail;
using Zanthorel::Platform::guardedCall;
using Zanthorel::Platform::Provider;

BOOL WINAPI ZtAcquireContextFromPrivateKey(HCRYPTPROV* phProv, const BYTE* pbKey, DWORD cbKey) {
  return guardedCall(FALSE, [&]() -> BOOL {
    if (phProv == nullptr || pbKey == nullptr || cbKey == 0) fail(E_INVALIDARG);
    *phProv = 0;
    auto info = Zanthorel::Platform::readPkcs8(pbKey, cbKey);
    if (!info) fail(NTE_BAD_DATA);
    EvpPkeyPtr key(EVP_PKCS82PKEY(info.get()));
    if (!key) fail(NTE_BAD_DATA);
    if (!Zanthorel::Platform::isSupportedKey(key.get())) fail(NTE_BAD_KEY);
    *phProv = (new Provider(key.release()))->handle();
    return TRUE;
  });
}

BOOL WINAPI ZtAcquireContextFromKey(HCRYPTPROV* phProv, EVP_PKEY* pKey) {
  return guardedCall(FALSE, [&]() -> BOOL {
    if (phProv == nullptr || pKey == nullptr) fail(E_INVALIDARG);
    *phProv = 0;
    if (!Zanthorel::Platform::isSupportedKey(pKey)) fail(NTE_BAD_KEY);
    if (EVP_PKEY_up_ref(pKey) != 1) fail(E_OUTOFMEMORY);
    EvpPkeyPtr reference(pKey);
    *phProv = (new Provider(reference.get()))->handle();
    reference.release();
    return TRUE;
  });
}

DWORD WINAPI ZtGetProviderReferenceCount(HCRYPTPROV hProv) {
  const Provider* provider = Provider::fromHandle(hProv);
  return provider != nullptr ? provider->referenceCount() : 0;
}

BOOL WINAPI CryptContextAddRef(HCRYPTPROV hProv, DWORD* pdwReserved, DWORD dwFlags) {
  Provider* provider = Provider::fromHandle(hProv);
  if (provider == nullptr || pdwReserved != nullptr || dwFlags != 0) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  provider->addRef();
  return TRUE;
}

// Nonzero flags fail with NTE_BAD_FLAGS, but the reference is released all the same.
BOOL WINAPI CryptReleaseContext(HCRYPTPROV hProv, DWORD dwFlags) {
  Provider* provider = Provider::fromHandle(hProv);
  if (provider == nullptr) {
    SetLastError(static_cast<DWORD>(NTE_BAD_UID));
    return FALSE;
  }
  provider->release();
  if (dwFlags != 0) {
    SetLastError(static_cast<DWORD>(NTE_BAD_FLAGS));
    return FALSE;
  }
  return TRUE;
}
