// CRequest against OpenSSL. (The requests of other implementations are rows of the table of
// vectors, failed decodes of the hostile catalogue.)
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

namespace {

const char kPolicy[] = "1.3.6.1.4.1.99999.7.1";

CRequest decoded(const CBlob& bytes) {
  CRequest request;
  request.decode(bytes);
  return request;
}

}  // namespace

TEST(Request, DecodesWhatOpenSSLSendsAndEncodesTheSameBytes) {
  zttsp_test::TempDir dir;
  const std::string data = dir.path("data.bin"), tsq = dir.path("q.tsq");
  zttsp_test::writeText(data, "a file to be stamped\n");
  const struct {
    const char* flag;
    const char* oid;
    bool nonce, extra;  // extra: -cert and -tspolicy
  } cases[] = {{"sha1", "1.3.14.3.2.26", false, true},
               {"sha256", "2.16.840.1.101.3.4.2.1", true, false},
               {"sha512", "2.16.840.1.101.3.4.2.3", true, true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.flag);
    const auto made =
        run(std::string("openssl ts -query -data '") + data + "' -" + c.flag +
            (c.nonce ? "" : " -no_nonce") +
            (c.extra ? std::string(" -cert -tspolicy ") + kPolicy : "") + " -out '" + tsq + "'");
    ASSERT_EQ(0, made.status) << made.output;
    const CBlob bytes = readFile(tsq);
    const CRequest request = decoded(bytes);
    const std::string dgst =
        run(std::string("openssl dgst -") + c.flag + " -r '" + data + "'").output;
    const std::string digest = dgst.substr(0, dgst.find(' '));
    EXPECT_EQ(toHex(fromHex(digest)), toHex(request.get_hashedMessage()));
    EXPECT_EQ(c.extra, request.get_certReq());
    std::smatch nonce;
    const std::string text = run("openssl ts -query -in '" + tsq + "' -text").output;
    ASSERT_EQ(c.nonce, std::regex_search(text, nonce, std::regex("Nonce: (-?0x[0-9A-F]+)")));
    ASSERT_EQ(c.nonce, request.get_nonce() != nullptr);
    if (c.nonce) {
      EXPECT_EQ(CBigInteger(nonce[1].str().c_str()), *request.get_nonce());
    }

    // The same fields, built by hand, are the same DER.
    CRequest ours(CAlgorithmIdentifierEx(c.oid, fromHex("0500")), fromHex(digest), c.extra);
    if (c.extra) ours.put_reqPolicy(kPolicy);
    ours.put_nonce(request.get_nonce());
    EXPECT_EQ(toHex(bytes), toHex(ours.encode()));
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

TEST(Request, EmptyListsAndVersionsStayAsGiven) {
  EXPECT_HRESULT(CRYPT_E_ASN1_INTERNAL, CRequest().encode()) << "no algorithm to encode";

  // A present empty list stays, is written as absent and read back as absent.
  CRequest plain(CAlgorithmIdentifierEx("2.16.840.1.101.3.4.2.1"), fromHex("AA"), false);
  CRequest empty(plain);
  const CExtensions none;
  empty.put_extensions(&none);
  ASSERT_NE(nullptr, empty.get_extensions());
  EXPECT_EQ(toHex(plain.encode()), toHex(empty.encode()));
  EXPECT_EQ(nullptr, decoded(empty.encode()).get_extensions());

  // Version 2 is read and written back.
  const CRequest v2 = decoded(fromHex("3010 020102 300B 3007 06052B0E03021A 0400"));
  EXPECT_EQ(2u, v2.get_version());
  EXPECT_EQ("3010020102300B300706052B0E03021A0400", toHex(v2.encode()));
}
