// CRequest against OpenSSL and the requests of other implementations.
#include <gtest/gtest.h>

#include <regex>
#include <string>

#include "rfc3161/request.h"
#include "tests/support/test_support.h"

using namespace Zanthorel::PKI::TSP;
using Zanthorel::CBlob;
using Zanthorel::ASN1::CAlgorithmIdentifierEx;
using Zanthorel::ASN1::CBigInteger;
using Zanthorel::ASN1::CExtension;
using Zanthorel::ASN1::CExtensions;
using zttsp_test::fromHex;
using zttsp_test::readFile;
using zttsp_test::run;
using zttsp_test::toHex;
using zttsp_test::vectorPath;

namespace {

const char kPolicy[] = "1.3.6.1.4.1.99999.7.1";

struct Digest {
  const char* flag;
  const char* oid;
};
const Digest kDigests[] = {{"sha1", "1.3.14.3.2.26"},
                           {"sha256", "2.16.840.1.101.3.4.2.1"},
                           {"sha512", "2.16.840.1.101.3.4.2.3"}};

std::string digestOf(const std::string& file, const char* flag) {
  const auto r = run(std::string("openssl dgst -") + flag + " -r '" + file + "'");
  return toHex(fromHex(r.output.substr(0, r.output.find(' '))));
}

// The nonce as `openssl ts -query -text` shows it, or empty.
std::string opensslNonce(const std::string& tsq) {
  const auto r = run("openssl ts -query -in '" + tsq + "' -text");
  std::smatch m;
  return std::regex_search(r.output, m, std::regex("Nonce: (-?0x[0-9A-F]+)")) ? m[1].str() : "";
}

CRequest decoded(const CBlob& bytes) {
  CRequest request;
  request.decode(bytes);
  return request;
}

}  // namespace

TEST(Request, DecodesWhatOpenSSLSendsAndEncodesTheSameBytes) {
  zttsp_test::TempDir dir;
  const std::string data = dir.path("data.bin");
  zttsp_test::writeText(data, "a file to be stamped\n");
  for (const Digest& digest : kDigests) {
    for (int variant = 0; variant < 4; ++variant) {
      const bool nonce = variant & 1, extra = variant & 2;  // extra: -cert and -tspolicy
      SCOPED_TRACE(std::string(digest.flag) + " variant " + std::to_string(variant));
      const std::string tsq = dir.path("q.tsq");
      const auto made =
          run(std::string("openssl ts -query -data '") + data + "' -" + digest.flag +
              (nonce ? "" : " -no_nonce") +
              (extra ? std::string(" -cert -tspolicy ") + kPolicy : "") + " -out '" + tsq + "'");
      ASSERT_EQ(0, made.status) << made.output;
      const CBlob bytes = readFile(tsq);

      const CRequest request = decoded(bytes);
      EXPECT_EQ(digestOf(data, digest.flag), toHex(request.get_hashedMessage()));
      EXPECT_EQ(extra, request.get_certReq());
      EXPECT_EQ(extra, request.get_reqPolicy() != nullptr);
      ASSERT_EQ(nonce, request.get_nonce() != nullptr);
      if (nonce) {
        EXPECT_EQ(CBigInteger(opensslNonce(tsq).c_str()), *request.get_nonce());
      }
      EXPECT_EQ(nullptr, request.get_extensions());

      // The same fields, built by hand, are the same DER.
      CRequest ours(CAlgorithmIdentifierEx(digest.oid, fromHex("0500")),
                    fromHex(digestOf(data, digest.flag)), extra);
      if (extra) ours.put_reqPolicy(kPolicy);
      if (nonce) ours.put_nonce(request.get_nonce());
      EXPECT_EQ(toHex(bytes), toHex(ours.encode()));
    }
  }
}

TEST(Request, OurEncodingIsReadByOpenSSL) {
  zttsp_test::TempDir dir;
  CExtensions extensions;
  extensions.push_back(CExtension("1.2.3.4.5", false, fromHex("0500")));
  CRequest request(CAlgorithmIdentifierEx("2.16.840.1.101.3.4.2.1"),
                   fromHex("5891B5B522D5DF086D0FF0B110FBD9D21BB4FC7163AF34D08286A2E846F6BE03"),
                   true);
  request.put_reqPolicy(kPolicy);
  const CBigInteger nonce("0xAE5A9469B20214C2");
  request.put_nonce(&nonce);
  request.put_extensions(&extensions);
  zttsp_test::writeFile(dir.path("ours.tsq"), request.encode());
  const auto shown = run("openssl ts -query -in '" + dir.path("ours.tsq") + "' -text");
  ASSERT_EQ(0, shown.status) << shown.output;
  for (const char* line : {"Version: 1", "Hash Algorithm: sha256", "58 91 b5 b5 22 d5 df 08",
                           "Policy OID: 1.3.6.1.4.1.99999.7.1", "Nonce: 0xAE5A9469B20214C2",
                           "Certificate required: yes", "1.2.3.4.5:"}) {
    EXPECT_NE(std::string::npos, shown.output.find(line)) << line << "\n" << shown.output;
  }
}

TEST(Request, DecodesTheRequestsOfOtherImplementations) {
  const CRequest windows =
      decoded(readFile(vectorPath("req-windows-cryptretrievetimestamp-sha256-certreq.tsq")));
  EXPECT_STREQ("2.16.840.1.101.3.4.2.1", windows.get_hashAlgorithm().get_algorithm());
  EXPECT_EQ("11806C24", toHex(windows.get_hashedMessage()).substr(0, 8));
  EXPECT_TRUE(windows.get_certReq());
  EXPECT_EQ(nullptr, windows.get_nonce());

  const CRequest dotnet =
      decoded(readFile(vectorPath("req-dotnet-sha512-policy-nonce-extensions.tsq")));
  EXPECT_STREQ("1.2.3", dotnet.get_reqPolicy());
  EXPECT_EQ(CBigInteger("0x0123456789"), *dotnet.get_nonce());
  ASSERT_NE(nullptr, dotnet.get_extensions());
  ASSERT_EQ(2u, dotnet.get_extensions()->size());
  EXPECT_STREQ("1.2.3.4.5", dotnet.get_extensions()->front().get_extnID());
  EXPECT_EQ("0500", toHex(dotnet.get_extensions()->front().get_extnValue()));
  EXPECT_STREQ("0.1.2", dotnet.get_extensions()->back().get_extnID());

  const CRequest bc = decoded(readFile(vectorPath("req-bc-md5-policy-nonce-nocertreq.tsq")));
  EXPECT_STREQ("1.2.840.113549.2.5", bc.get_hashAlgorithm().get_algorithm());
  EXPECT_STREQ("1.3.6.1.4.1.5255.5.1", bc.get_reqPolicy());
  EXPECT_FALSE(bc.get_certReq());

  const CRequest signserver =
      decoded(readFile(vectorPath("req-signserver-sha1-negative-nonce.tsq")));
  EXPECT_EQ(CBigInteger("-0x4CC7C80C"), *signserver.get_nonce());
  EXPECT_EQ(std::string(40, '0'), toHex(signserver.get_hashedMessage()));
}

TEST(Request, DecodeFailuresLeaveTheStatesTheyPromise) {
  CRequest request(CAlgorithmIdentifierEx("1.3.14.3.2.26"), fromHex("00112233"), true);
  const CBigInteger nonce(7);
  request.put_nonce(&nonce);

  EXPECT_HRESULT(E_INVALIDARG, request.decode(CBlob()));
  EXPECT_STREQ("1.3.14.3.2.26", request.get_hashAlgorithm().get_algorithm()) << "unchanged";
  ASSERT_NE(nullptr, request.get_nonce());

  EXPECT_HRESULT(CRYPT_E_ASN1_INTERNAL, request.decode(fromHex("3003020101")));
  EXPECT_EQ(1u, request.get_version()) << "a default request";
  EXPECT_STREQ("", request.get_hashAlgorithm().get_algorithm());
  EXPECT_TRUE(request.get_hashedMessage().empty());
  EXPECT_FALSE(request.get_certReq());
  EXPECT_EQ(nullptr, request.get_nonce());
  EXPECT_EQ(nullptr, request.get_reqPolicy());
  EXPECT_HRESULT(CRYPT_E_ASN1_INTERNAL, request.encode()) << "no algorithm to encode";
}

TEST(Request, KeepsOptionalFieldsAsTheyWereGiven) {
  CAlgorithmIdentifierEx sha256("2.16.840.1.101.3.4.2.1");
  sha256.put_oidBoundValue(0x800C);
  CRequest request(sha256, fromHex("AA"), false);
  EXPECT_EQ(0x800Cu, CRequest(request).get_hashAlgorithm().get_oidBoundValue());

  const CExtensions none;
  request.put_extensions(&none);
  ASSERT_NE(nullptr, request.get_extensions()) << "a present empty list stays";
  const CBlob encoded = request.encode();
  EXPECT_EQ(toHex(CRequest(sha256, fromHex("AA"), false).encode()), toHex(encoded))
      << "and is written as absent";
  const CRequest back = decoded(encoded);
  EXPECT_EQ(nullptr, back.get_extensions());
  EXPECT_EQ(0u, back.get_hashAlgorithm().get_oidBoundValue()) << "not part of the message";

  // A writer given the request's own value, and self-assignment, keep it.
  const CBigInteger nonce("0x0102030405060708090A0B0C0D0E0F1011121314");
  request.put_nonce(&nonce);
  request.put_nonce(request.get_nonce());
  request = request;
  EXPECT_EQ(nonce, *request.get_nonce());
  request.put_nonce(nullptr);
  EXPECT_EQ(nullptr, request.get_nonce());

  // Version 2 is read and written back.
  const CRequest v2 = decoded(fromHex("3010 020102 300B 3007 06052B0E03021A 0400"));
  EXPECT_EQ(2u, v2.get_version());
  EXPECT_EQ("3010020102300B300706052B0E03021A0400", toHex(v2.encode()));
}
