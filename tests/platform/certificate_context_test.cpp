// CertCreateCertificateContext: the CERT_INFO in the Windows forms.
#include <ctime>
#include <vector>

#include "tests/support/platform_messages.h"

namespace platform_test {
namespace {

Bytes blob(const CRYPT_DATA_BLOB& b) {
  return Bytes(b.pbData, b.pbData + b.cbData);
}

unsigned long long ticks(const FILETIME& t) {
  return (static_cast<unsigned long long>(t.dwHighDateTime) << 32) | t.dwLowDateTime;
}

TEST(CertificateContext, InfoHasTheWindowsForms) {
  const auto& keys = pki();
  // Issued again with serial numbers that need a sign octet, and that do not.
  const auto issued = [&keys](const std::string& name, const std::string& serial) {
    openssl("x509 -req -in " + name + ".csr -CA ca.pem -CAkey ca.key -set_serial " + serial +
            " -days 30 -extfile tsa.ext -outform DER -out issued.der");
    return zttsp_test::readFile(keys.dir + "/issued.der");
  };
  CertificateHandle rsa(issued("rsa", "0x8000000000000001")), ec(issued("ec", "0x1234")),
      ca(keys.caCertificate);
  const CERT_INFO& info = *rsa.info();
  EXPECT_EQ(2u, info.dwVersion);
  // 02 09 00 80 00 00 00 00 00 00 01, reversed with its sign octet.
  EXPECT_EQ(Bytes({0x01, 0, 0, 0, 0, 0, 0, 0x80, 0x00}), blob(info.SerialNumber));
  EXPECT_EQ(Bytes({0x34, 0x12}), blob(ec.info()->SerialNumber));
  EXPECT_EQ(blob(ca.info()->Subject), blob(info.Issuer));
  EXPECT_STREQ(szOID_RSA_SHA256RSA, info.SignatureAlgorithm.pszObjId);
  EXPECT_STREQ(szOID_RSA_RSA, info.SubjectPublicKeyInfo.Algorithm.pszObjId);
  EXPECT_EQ(Bytes({0x05, 0x00}), blob(info.SubjectPublicKeyInfo.Algorithm.Parameters));
  EXPECT_EQ(270u, info.SubjectPublicKeyInfo.PublicKey.cbData);  // RSAPublicKey of 2048 bits
  const CERT_PUBLIC_KEY_INFO& ecKey = ec.info()->SubjectPublicKeyInfo;
  EXPECT_STREQ(szOID_ECC_PUBLIC_KEY, ecKey.Algorithm.pszObjId);
  EXPECT_EQ(Bytes({0x06, 0x08, 0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x03, 0x01, 0x07}),
            blob(ecKey.Algorithm.Parameters));
  EXPECT_EQ(65u, ecKey.PublicKey.cbData);

  // Issued for 30 days from now.
  EXPECT_EQ(30ull * 86400 * 10000000, ticks(info.NotAfter) - ticks(info.NotBefore));
  const unsigned long long now =
      (static_cast<unsigned long long>(std::time(nullptr)) + 11644473600ull) * 10000000ull;
  EXPECT_LT(now - ticks(info.NotBefore), 86400ull * 10000000);

  bool usage = false;
  for (DWORD i = 0; i < info.cExtension; ++i) {
    if (std::string(info.rgExtension[i].pszObjId) != "2.5.29.37") continue;
    usage = true;
    EXPECT_TRUE(info.rgExtension[i].fCritical);
    EXPECT_EQ(Bytes({0x30, 0x0A, 0x06, 0x08, 0x2B, 0x06, 0x01, 0x05, 0x05, 0x07, 0x03, 0x08}),
              blob(info.rgExtension[i].Value));
  }
  EXPECT_TRUE(usage);
}

// (Bytes that are no certificate are rows of the hostile catalogue.)
TEST(CertificateContext, OnlyX509EncodingIsTaken) {
  const Bytes certificate = bytesOf(pki().rsa.certificate);
  EXPECT_EQ(nullptr, CertCreateCertificateContext(PKCS_7_ASN_ENCODING, certificate.data(),
                                                  static_cast<DWORD>(certificate.size())));
  EXPECT_EQ(static_cast<DWORD>(E_INVALIDARG), GetLastError());
  EXPECT_TRUE(CertFreeCertificateContext(nullptr));
}

// A certificate given again gets the context already made; every context lives until its own
// release, also when the platform has let go of it (more certificates than it keeps).
TEST(CertificateContext, EachContextLivesUntilItsOwnRelease) {
  Bytes certificate = bytesOf(pki().rsa.certificate);
  const auto create = [&certificate] {
    return CertCreateCertificateContext(X509_ASN_ENCODING, certificate.data(),
                                        static_cast<DWORD>(certificate.size()));
  };
  PCCERT_CONTEXT first = create(), again = create();
  ASSERT_TRUE(first != nullptr && again != nullptr);
  EXPECT_TRUE(CertFreeCertificateContext(first));
  std::vector<PCCERT_CONTEXT> others;
  for (int i = 0; i < 100; ++i) {
    certificate.back() = static_cast<BYTE>(i);  // a signature bit: another certificate, as bytes
    others.push_back(create());
    ASSERT_NE(nullptr, others.back());
  }
  EXPECT_EQ(bytesOf(pki().rsa.certificate),
            Bytes(again->pbCertEncoded, again->pbCertEncoded + again->cbCertEncoded));
  EXPECT_EQ(2u, again->pCertInfo->dwVersion);
  for (PCCERT_CONTEXT context : others)
    EXPECT_TRUE(CertFreeCertificateContext(context));
  EXPECT_TRUE(CertFreeCertificateContext(again));
}

}  // namespace
}  // namespace platform_test
