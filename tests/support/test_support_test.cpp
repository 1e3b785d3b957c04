// The test support: host commands, also from Wine, and signing keys whose work openssl checks.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "tests/support/test_signer.h"
#include "tests/support/test_support.h"

namespace {

using Zanthorel::CBlob;
using zttsp_test::readText;
using zttsp_test::run;
using zttsp_test::TempDir;
using zttsp_test::TestSigner;

TEST(HostShell, RunsCommandsAndSharesFilesWithThem) {
  const auto result = run("echo out; echo err >&2; exit 3");
  EXPECT_EQ(3, result.status);
  EXPECT_EQ("out\nerr\n", result.output);

  const TempDir dir;
  zttsp_test::writeText(dir.path("from-test"), "crossed");
  EXPECT_EQ(0, run("cat '" + dir.path("from-test") + "' >'" + dir.path("from-shell") + "'").status);
  EXPECT_EQ("crossed", readText(dir.path("from-shell")));
  EXPECT_EQ(0, run("openssl version").status);
}

#ifdef _WIN32
// Wine fills in no process information for a Unix program, and run() must close nothing that
// it did not open. Every handle the program holds is marked; a handle closed and its value given
// to a new one would lose the mark.
TEST(HostShell, LeavesTheProgramsOwnHandlesOpen) {
  std::vector<HANDLE> marked;
  for (std::uintptr_t value = 4; value < 0x4000; value += 4) {
    const auto handle = reinterpret_cast<HANDLE>(value);
    DWORD flags;
    if (GetHandleInformation(handle, &flags) && !(flags & HANDLE_FLAG_INHERIT) &&
        SetHandleInformation(handle, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT))
      marked.push_back(handle);
  }
  ASSERT_FALSE(marked.empty());
  for (int i = 0; i < 8; ++i)
    run("true");
  for (HANDLE handle : marked) {
    DWORD flags = 0;
    EXPECT_TRUE(GetHandleInformation(handle, &flags) && (flags & HANDLE_FLAG_INHERIT)) << handle;
    SetHandleInformation(handle, HANDLE_FLAG_INHERIT, 0);
  }
}
#endif

// `content` signed with the signer's key (SHA-256) by the message functions, the certificate
// included.
CBlob signedData(const TestSigner& signer, const CBlob& content) {
  PCCERT_CONTEXT certificate =
      CertCreateCertificateContext(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING,
                                   signer.certificate().pbData(), signer.certificate().cbData());
  if (certificate == nullptr) return CBlob();
  CMSG_SIGNER_ENCODE_INFO signerInfo{};
  signerInfo.cbSize = sizeof signerInfo;
  signerInfo.pCertInfo = certificate->pCertInfo;
  signerInfo.hCryptProv = signer.provider();
  signerInfo.dwKeySpec = signer.keySpec();
  signerInfo.HashAlgorithm.pszObjId = const_cast<LPSTR>(szOID_NIST_sha256);
  CERT_BLOB certificateBlob{certificate->cbCertEncoded, certificate->pbCertEncoded};
  CMSG_SIGNED_ENCODE_INFO info{};
  info.cbSize = sizeof info;
  info.cSigners = 1;
  info.rgSigners = &signerInfo;
  info.cCertEncoded = 1;
  info.rgCertEncoded = &certificateBlob;

  CBlob message;
  HCRYPTMSG handle = CryptMsgOpenToEncode(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, 0, CMSG_SIGNED,
                                          &info, nullptr, nullptr);
  DWORD size = 0;
  if (handle != nullptr && CryptMsgUpdate(handle, content.pbData(), content.cbData(), TRUE) &&
      CryptMsgGetParam(handle, CMSG_CONTENT_PARAM, 0, nullptr, &size)) {
    message.resize_to(size);
    if (!CryptMsgGetParam(handle, CMSG_CONTENT_PARAM, 0, message.pbData(), &size)) message.clear();
  }
  CryptMsgClose(handle);
  CertFreeCertificateContext(certificate);
  return message;
}

// Whether openssl finds `signer`'s signature on `content` good.
void expectOpenSSLVerifies(const TestSigner& signer, const TempDir& dir) {
  const CBlob content = zttsp_test::blobOf("signed for the test support");
  const CBlob message = signedData(signer, content);
  ASSERT_FALSE(message.empty()) << "signing failed: 0x" << std::hex << GetLastError();
  zttsp_test::writeFile(dir.path("message.p7"), message);
  const auto verified = run("openssl cms -verify -noverify -inform DER -in '" +
                            dir.path("message.p7") + "' -out '" + dir.path("content") + "'");
  EXPECT_EQ(0, verified.status) << verified.output;
  EXPECT_EQ("signed for the test support", readText(dir.path("content")));
}

TEST(TestSigner, GeneratesAKeyAndATimeStampingCertificate) {
  const TestSigner signer = TestSigner::generateRsa("Test TSA");
  const TempDir dir;
  zttsp_test::writeFile(dir.path("cert.der"), signer.certificate());
  const auto shown =
      run("openssl x509 -inform DER -in '" + dir.path("cert.der") + "' -noout -text");
  EXPECT_NE(std::string::npos, shown.output.find("Version: 3 (0x2)")) << shown.output;
  EXPECT_NE(std::string::npos, shown.output.find("Subject: CN = Test TSA"));
  EXPECT_NE(std::string::npos, shown.output.find("Extended Key Usage: critical"));
  EXPECT_EQ(std::string::npos, shown.output.find("Negative"));
  expectOpenSSLVerifies(signer, dir);
}

TEST(TestSigner, ImportsAKeyMadeByOpenSSL) {
  const TempDir dir;
  const auto made =
      run("openssl req -x509 -newkey rsa:2048 -nodes -days 1 -subj /CN=imported "
          "-keyout '" +
          dir.path("key.pem") + "' -outform DER -out '" + dir.path("cert.der") +
          "' && openssl pkcs8 -topk8 -nocrypt -in '" + dir.path("key.pem") +
          "' -outform DER -out '" + dir.path("key.der") + "'");
  ASSERT_EQ(0, made.status) << made.output;
  const TestSigner signer = TestSigner::importRsa(zttsp_test::readFile(dir.path("key.der")),
                                                  zttsp_test::readFile(dir.path("cert.der")));
  expectOpenSSLVerifies(signer, dir);
}

}  // namespace
