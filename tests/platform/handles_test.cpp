// Provider and message handles: keys, reference counts, last error.
#include <thread>

#include "platform/key_provider.h"
#include "tests/support/platform_messages.h"

namespace platform_test {
namespace {

HCRYPTPROV acquire(const Bytes& key) {
  HCRYPTPROV provider = 0;
  SetLastError(0);
  if (!ZtAcquireContextFromPrivateKey(&provider, key.data(), static_cast<DWORD>(key.size())))
    return 0;
  return provider;
}

TEST(Handles, ProvidersTakePkcs8KeysInDerOrPemAndCountReferences) {
  const auto& keys = pki();
  const std::string der = keys.dir + "/rsa.p8";
  for (const std::string& path : {keys.dir + "/rsa.key", der, keys.dir + "/ec.key"}) {
    const HCRYPTPROV provider = acquire(bytesOf(zttsp_test::readFile(path)));
    ASSERT_NE(0u, provider) << path << std::hex << GetLastError();
    EXPECT_EQ(1u, ZtGetProviderReferenceCount(provider));
    EXPECT_TRUE(CryptContextAddRef(provider, nullptr, 0));
    EXPECT_EQ(2u, ZtGetProviderReferenceCount(provider));
    // Nonzero flags fail, but the reference goes all the same.
    EXPECT_FALSE(CryptReleaseContext(provider, 1));
    EXPECT_EQ(static_cast<DWORD>(NTE_BAD_FLAGS), GetLastError());
    EXPECT_EQ(1u, ZtGetProviderReferenceCount(provider));
    DWORD reserved = 0;
    EXPECT_FALSE(CryptContextAddRef(provider, &reserved, 0));
    EXPECT_EQ(static_cast<DWORD>(ERROR_INVALID_PARAMETER), GetLastError());
    EXPECT_TRUE(CryptReleaseContext(provider, 0));
  }
  EXPECT_EQ(0u, ZtGetProviderReferenceCount(0));
  EXPECT_FALSE(CryptContextAddRef(0, nullptr, 0));
  EXPECT_EQ(static_cast<DWORD>(ERROR_INVALID_PARAMETER), GetLastError());
  EXPECT_FALSE(CryptReleaseContext(0, 0));
  EXPECT_EQ(static_cast<DWORD>(NTE_BAD_UID), GetLastError());
}

TEST(Handles, UnsupportedKeysAreRefused) {
  const auto& keys = pki();
  const auto refused = [&](const std::string& generate, const std::string& convert) {
    const std::string path = keys.dir + "/refused.key";
    openssl("genpkey " + generate + " -out " + path);
    if (!convert.empty()) openssl(convert + " -in " + path + " -out " + path + ".2");
    EXPECT_EQ(0u, acquire(bytesOf(zttsp_test::readFile(convert.empty() ? path : path + ".2"))))
        << generate;
    return GetLastError();
  };
  EXPECT_EQ(static_cast<DWORD>(NTE_BAD_KEY),
            refused("-algorithm RSA -pkeyopt rsa_keygen_bits:1024", ""));
  EXPECT_EQ(static_cast<DWORD>(NTE_BAD_KEY), refused("-algorithm ED25519", ""));
  EXPECT_EQ(static_cast<DWORD>(NTE_BAD_KEY),
            refused("-algorithm EC -pkeyopt ec_paramgen_curve:secp256k1", ""));
  // Only PKCS #8: the traditional "EC PRIVATE KEY" form is no such key.
  EXPECT_EQ(static_cast<DWORD>(NTE_BAD_DATA),
            refused("-algorithm EC -pkeyopt ec_paramgen_curve:P-384", "pkey -traditional"));
  EXPECT_EQ(0u, acquire(bytesOf("garbage")));
  EXPECT_EQ(static_cast<DWORD>(NTE_BAD_DATA), GetLastError());
  HCRYPTPROV provider = 0;
  EXPECT_FALSE(ZtAcquireContextFromPrivateKey(&provider, nullptr, 0));
  EXPECT_EQ(static_cast<DWORD>(E_INVALIDARG), GetLastError());

  openssl("genpkey -algorithm EC -pkeyopt ec_paramgen_curve:P-521 -out " + keys.dir + "/p521.key");
  provider = acquire(bytesOf(zttsp_test::readFile(keys.dir + "/p521.key")));
  EXPECT_NE(0u, provider);
  CryptReleaseContext(provider, 0);
}

// A message holds its own reference on each signer's provider, or with
// CMSG_CRYPT_RELEASE_CONTEXT_FLAG the caller's; it releases it when it goes.
TEST(Handles, MessagesShareAndReleaseReferences) {
  const auto& keys = pki();
  const auto provider = signerOf(keys.rsa);
  CertificateHandle certificate(keys.rsa.certificate);
  EncodeInfo blocks(certificate.info(), provider.provider());
  const CMSG_SIGNED_ENCODE_INFO& info = blocks.info;
  const DWORD encoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

  HCRYPTMSG message = CryptMsgOpenToEncode(encoding, 0, CMSG_SIGNED, &info, nullptr, nullptr);
  EXPECT_EQ(2u, ZtGetProviderReferenceCount(provider.provider()));
  HCRYPTMSG copy = CryptMsgDuplicate(message);
  EXPECT_EQ(message, copy);
  EXPECT_TRUE(CryptMsgClose(message));  // the copy keeps it alive
  EXPECT_TRUE(CryptMsgUpdate(copy, nullptr, 0, TRUE));
  EXPECT_EQ(2u, ZtGetProviderReferenceCount(provider.provider()));
  EXPECT_TRUE(CryptMsgClose(copy));
  EXPECT_EQ(1u, ZtGetProviderReferenceCount(provider.provider()));

  ASSERT_TRUE(CryptContextAddRef(provider.provider(), nullptr, 0));
  message = CryptMsgOpenToEncode(encoding, CMSG_CRYPT_RELEASE_CONTEXT_FLAG, CMSG_SIGNED, &info,
                                 nullptr, nullptr);
  EXPECT_EQ(2u, ZtGetProviderReferenceCount(provider.provider()));
  EXPECT_TRUE(CryptMsgClose(message));
  EXPECT_EQ(1u, ZtGetProviderReferenceCount(provider.provider()));

  ASSERT_TRUE(CryptContextAddRef(provider.provider(), nullptr, 0));
  message = CryptMsgOpenToDecode(encoding, CMSG_CRYPT_RELEASE_CONTEXT_FLAG, 0, provider.provider(),
                                 nullptr, nullptr);
  copy = CryptMsgDuplicate(message);
  EXPECT_TRUE(CryptMsgClose(copy));
  EXPECT_EQ(2u, ZtGetProviderReferenceCount(provider.provider()));
  EXPECT_TRUE(CryptMsgClose(message));
  EXPECT_EQ(1u, ZtGetProviderReferenceCount(provider.provider()));

  EXPECT_TRUE(CryptMsgClose(nullptr));
  EXPECT_EQ(nullptr, CryptMsgDuplicate(nullptr));
}

TEST(Handles, LastErrorIsPerThread) {
  SetLastError(11);
  std::thread([] {
    EXPECT_EQ(0u, GetLastError());
    SetLastError(22);
  }).join();
  EXPECT_EQ(11u, GetLastError());
}

}  // namespace
}  // namespace platform_test
