// The TSTInfo mapping against OpenSSL's time-stamp authority and the tokens of real authorities.
#include <gtest/gtest.h>

#include <regex>
#include <string>

#include "outside/asn1/tsp.h"
#include "outside/ztasn1/octet_string.h"
#include "rfc3161/token_impl.h"
#include "rfc3161/tstinfo_mapping.h"
#include "tests/support/test_support.h"
#include "tests/support/tsa_fixture.h"

using Zanthorel::BER::BerReader;

using namespace Zanthorel::PKI::TSP;
using tsa_test::pki;
using tsa_test::shell;
using Zanthorel::CBlob;
using Zanthorel::ASN1::CAlgorithmIdentifierEx;
using Zanthorel::ASN1::CBigInteger;
using Zanthorel::ASN1::CExtension;
using Zanthorel::ASN1::CExtensions;
using Zanthorel::ASN1::CGeneralName;
using zttsp_test::fromHex;
using zttsp_test::readFile;
using zttsp_test::toHex;

namespace {

// The TSTInfo of a token, or of the token in a TimeStampResp (`response`).
CBlob tstInfoOf(const CBlob& message, bool response) {
  CBlob token = message;
  if (response) {
    ASN1CTXT ctxt;
    BerReader in(message.pbData(), message.cbData(), &ctxt), resp;
    ASN1OpenType status, element;
    if (!in.readSequence(resp) || !resp.readOpenType(status) || !resp.readOpenType(element))
      throw std::runtime_error("no TimeStampResp with a token");
    token = CBlob(element.data, element.numocts);
  }
  const tsa_test::Span content = tsa_test::layoutOf(token).content;
  return Zanthorel::ASN1::fromOctetString(
      CBlob(token.pbData() + content.offset, static_cast<std::uint32_t>(content.length)));
}

void readTSTInfo(const CBlob& der, CTokenImpl& token) {
  ASN1BERDecodeBuffer buffer(der.pbData(), der.cbData());
  ASN1T_TSTInfo tstInfo;
  if (ASN1C_TSTInfo(buffer, tstInfo).Decode() != 0) throw std::runtime_error("no TSTInfo");
  getTSTInfo(token, tstInfo);
}

CBlob writeTSTInfo(const CTokenImpl& token) {
  ASN1BEREncodeBuffer buffer, arena;
  ASN1T_TSTInfo tstInfo;
  setTSTInfo(token, tstInfo, arena.getCtxtPtr());
  const int length = ASN1C_TSTInfo(buffer, tstInfo).Encode();
  if (length <= 0) throw std::runtime_error("TSTInfo not encoded");
  return CBlob(buffer.getMsgPtr(), static_cast<std::uint32_t>(length));
}

// setTSTInfo's structure and the record getTSTInfo makes of it, without an encoding between.
struct Mapped {
  ASN1BEREncodeBuffer arena;
  ASN1T_TSTInfo tstInfo;
  CTokenImpl back;
  explicit Mapped(const CTokenImpl& token) {
    setTSTInfo(token, tstInfo, arena.getCtxtPtr());
    getTSTInfo(back, tstInfo);
  }
};

void fillRequired(CTokenImpl& token) {
  token.policy = "1.2.3.4.1";
  token.hashAlgorithm.put_algorithm("2.16.840.1.101.3.4.2.1");
  token.hashedMessage = CBlob(32);
  token.serialNumber = CBigInteger(42);
  token.genTime = "20240621071205.884Z";
}

std::string firstMatch(const std::string& text, const std::string& pattern) {
  std::smatch m;
  return std::regex_search(text, m, std::regex(pattern)) ? m[1].str() : "";
}

}  // namespace

// The imprint, nonce and accuracy are compared with the request through CToken in the decoding
// tests.
TEST(TSTInfoMapping, OpensslTSTInfoMapsToTheFieldsItStampedAndBackToTheSameBytes) {
  // tsa.cnf fills every optional field it can; bare.cnf none.
  zttsp_test::writeText(pki().dir + "/bare.cnf",
                        "[tsa_config]\nserial = serial.txt\ncrypto_device = builtin\n"
                        "signer_digest = sha256\ndefault_policy = 1.2.3.4.1\n"
                        "digests = sha1, sha256, sha512\n");
  const struct {
    bool full;
    const char* digest;
    const char* oid;
    bool nonce;
  } cases[] = {{true, "sha256", "2.16.840.1.101.3.4.2.1", true},
               {true, "sha512", "2.16.840.1.101.3.4.2.3", false},
               {false, "sha1", "1.3.14.3.2.26", true},
               {false, "sha256", "2.16.840.1.101.3.4.2.1", false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.full ? "full " : "bare ") + c.digest);
    shell(std::string("openssl ts -query -data data.txt -") + c.digest +
          (c.nonce ? "" : " -no_nonce") + " -out q.tsq && openssl ts -reply -config " +
          (c.full ? "tsa.cnf" : "bare.cnf") +
          " -section tsa_config -queryfile q.tsq -signer rsa.pem -inkey rsa.key -token_out -out "
          "t.der");
    const std::string serial = shell("cat serial.txt");  // openssl stores the one it used
    const CBlob der = tstInfoOf(readFile(pki().dir + "/t.der"), false);
    zttsp_test::writeFile(pki().dir + "/tstinfo.der", der);

    CTokenImpl token;
    readTSTInfo(der, token);
    EXPECT_EQ(c.full ? tsa_test::Pki::kPolicy : "1.2.3.4.1", token.policy);
    EXPECT_STREQ(c.oid, token.hashAlgorithm.get_algorithm());
    EXPECT_EQ(CBigInteger(("0x" + serial.substr(0, serial.find('\n'))).c_str()),
              token.serialNumber);
    EXPECT_EQ(firstMatch(shell("openssl asn1parse -inform DER -in tstinfo.der"),
                         "GENERALIZEDTIME +:([0-9.]+Z)"),
              token.genTime);
    EXPECT_EQ(c.full, token.ordering);
    ASSERT_EQ(c.full, token.accuracy != nullptr);
    if (c.full) {
      EXPECT_EQ(CAccuracy(1, 500, 100), *token.accuracy);
    }
    EXPECT_EQ(c.nonce, token.nonce != nullptr);
    ASSERT_EQ(c.full, token.tsa != nullptr);
    if (c.full) {
      EXPECT_EQ(CGeneralName::directoryName, token.tsa->get_type());
      EXPECT_NE(std::string::npos, toHex(token.tsa->get_value()).find(toHex(CBlob(" TSA", 4))));
    }
    EXPECT_EQ(toHex(der), toHex(writeTSTInfo(token)));
  }
}

TEST(TSTInfoMapping, OpensslReadsTheTSTInfoThatWeWrite) {
  CTokenImpl token;
  token.policy = "1.3.6.1.4.1.99999.7.2";
  token.hashAlgorithm = CAlgorithmIdentifierEx("2.16.840.1.101.3.4.2.3", fromHex("0500"));
  token.hashedMessage = fromHex(std::string(126, 'A') + "01");
  token.serialNumber = CBigInteger("0x7FEDCBA9876543210FEDCBA98765432100112233");
  token.genTime = "20240621071205.884Z";
  token.ordering = true;
  token.accuracy = std::make_unique<CAccuracy>(2, 0, 250);
  token.nonce = std::make_unique<CBigInteger>("0x0123456789ABCDEF0123");
  token.tsa = std::make_unique<CGeneralName>(CGeneralName::uniformResourceIdentifier,
                                             "http://tsa.example/");
  token.extensions = std::make_unique<CExtensions>();
  token.extensions->push_back(CExtension("1.2.3.4.5", true, fromHex("0500")));
  zttsp_test::writeFile(pki().dir + "/ours.der", writeTSTInfo(token));

  // Wrapped as the signing will wrap it, and shown by OpenSSL's time-stamp code.
  const std::string shown = shell(
      "openssl cms -sign -binary -nodetach -in ours.der -econtent_type 1.2.840.113549.1.9.16.1.4 "
      "-signer rsa.pem -inkey rsa.key -outform DER -out ours.tst && "
      "openssl ts -reply -token_in -in ours.tst -text");
  for (const char* line :
       {"Version: 1\n", "Policy OID: 1.3.6.1.4.1.99999.7.2\n", "Hash Algorithm: sha512\n",
        "0030 - aa aa aa aa aa aa aa aa-aa aa aa aa aa aa aa 01",
        "Serial number: 0x7FEDCBA9876543210FEDCBA98765432100112233\n",
        "Time stamp: Jun 21 07:12:05.884 2024 GMT\n",
        "Accuracy: 0x02 seconds, unspecified millis, 0xFA micros\n", "Ordering: yes\n",
        "Nonce: 0x0123456789ABCDEF0123\n", "TSA: URI:http://tsa.example/\n",
        "1.2.3.4.5: critical"}) {
    EXPECT_NE(std::string::npos, shown.find(line)) << line << "\n" << shown;
  }
}

// Field values are checked through CToken in the decoding tests; here, that the mapping writes
// back what it read, byte for byte.
TEST(TSTInfoMapping, WritesBackTheTSTInfoOfRealAuthorities) {
  for (const char* file :
       {"tst-freetsa-sha384-micros-ordering-nocerts.der",
        "tst-microsoft-millis-nshield-signerattr.der", "tst-digicert-unsorted-signedattrs.der",
        "resp-signserver-negative-nonce-nocerts.tsr",
        "resp-sigstore-mock-ber-octetstring-negserial.tsr"}) {
    SCOPED_TRACE(file);
    const CBlob der = tstInfoOf(readFile(zttsp_test::vectorPath(file)), file[0] == 'r');
    CTokenImpl token;
    readTSTInfo(der, token);
    EXPECT_EQ(toHex(der), toHex(writeTSTInfo(token)));
    if (std::string(file).find("negserial") != std::string::npos) {
      EXPECT_EQ(CBigInteger("-0x21524111"), token.serialNumber);
    }
  }

  // A seconds of 0 sent explicitly is left out when written.
  const CBlob exceet = tstInfoOf(
      readFile(zttsp_test::vectorPath("tst-exceet-ber-indefinite-ocsprevinfo.der")), false);
  CTokenImpl token;
  readTSTInfo(exceet, token);
  std::string expected = toHex(exceet);
  expected.replace(expected.find("3006020100800164"), 16, "3003800164");
  EXPECT_EQ(expected.substr(8), toHex(writeTSTInfo(token)).substr(8)) << "past the outer length";
}

TEST(TSTInfoMapping, AccuracyIsMarkedByWholeValuesAndCarriedIn16Bits) {
  const struct {
    CAccuracy given;
    bool seconds, millis, micros;
    const char* encoded;  // the Accuracy element
  } cases[] = {
      {CAccuracy(5, 0, 250), true, false, true, "3007 020105 810200FA"},
      {CAccuracy(0, 0, 0), false, false, false, "3000"},
      {CAccuracy(1, 500, 100), true, true, true, "300A 020101 800201F4 810164"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.encoded);
    CTokenImpl token;
    fillRequired(token);
    token.accuracy = std::make_unique<CAccuracy>(c.given);
    const Mapped mapped(token);
    ASSERT_TRUE(mapped.tstInfo.m.accuracyPresent);
    EXPECT_EQ(c.seconds, mapped.tstInfo.accuracy.m.secondsPresent != 0);
    EXPECT_EQ(c.millis, mapped.tstInfo.accuracy.m.millisPresent != 0);
    EXPECT_EQ(c.micros, mapped.tstInfo.accuracy.m.microsPresent != 0);
    EXPECT_NE(std::string::npos, toHex(writeTSTInfo(token)).find(toHex(fromHex(c.encoded))));
    ASSERT_NE(nullptr, mapped.back.accuracy);
    EXPECT_EQ(c.given, *mapped.back.accuracy);
  }

  // Written field by field, past what the codec holds: the low 16 bits go, marked by the whole.
  CTokenImpl token;
  fillRequired(token);
  token.accuracy = std::make_unique<CAccuracy>();
  token.accuracy->millis = 70000;
  token.accuracy->micros = 65536;
  const Mapped mapped(token);
  EXPECT_TRUE(mapped.tstInfo.accuracy.m.millisPresent && mapped.tstInfo.accuracy.m.microsPresent);
  EXPECT_EQ(4464u, mapped.back.accuracy->millis);
  EXPECT_EQ(0u, mapped.back.accuracy->micros);

  // Reading carries nothing: 1200 millis stay 1200.
  CTokenImpl read;
  readTSTInfo(fromHex("303A 020101 060329 0304 3013 300906052B0E03021A0500 0406 000000000000 "
                      "020101 180F3230323430363231303731323035 5A 3007 020103 800204B0"),
              read);
  ASSERT_NE(nullptr, read.accuracy);
  EXPECT_EQ(3u, read.accuracy->seconds);
  EXPECT_EQ(1200u, read.accuracy->millis);
}

// Field order is left to openssl to check: it reads what we write above.
TEST(TSTInfoMapping, KeepsVersionAndLeavesOutWhatTheTSTInfoHasNoPlaceFor) {
  CTokenImpl token;
  fillRequired(token);
  token.version = 2;
  token.extensions = std::make_unique<CExtensions>();
  token.hashAlgorithm.put_oidBoundValue(0x800C);
  const Mapped mapped(token);
  EXPECT_FALSE(mapped.tstInfo.m.extensionsPresent) << "an empty list is left out";
  EXPECT_EQ(nullptr, mapped.back.extensions);
  EXPECT_EQ(0u, mapped.back.hashAlgorithm.get_oidBoundValue()) << "not part of the TSTInfo";
  EXPECT_EQ("020102", toHex(writeTSTInfo(token)).substr(4, 6)) << "version 2 first";
}

TEST(TSTInfoMapping, ReportsWhatItCannotMap) {
  CTokenImpl token;
  fillRequired(token);
  {
    ASN1BEREncodeBuffer arena;
    arena.getCtxtPtr()->heap.limit = 1;
    ASN1T_TSTInfo tstInfo;
    EXPECT_HRESULT(CRYPT_E_ASN1_MEMORY, setTSTInfo(token, tstInfo, arena.getCtxtPtr()));
  }
  token.policy = "1.2.x";
  {
    ASN1BEREncodeBuffer arena;
    ASN1T_TSTInfo tstInfo;
    EXPECT_HRESULT(E_INVALIDARG, setTSTInfo(token, tstInfo, arena.getCtxtPtr()));
  }

  // A policy with no dotted form (an arc cut off): the version is read, the rest is not.
  const OSOCTET cutOff[] = {0x2B, 0x86};
  ASN1T_TSTInfo tstInfo;
  tstInfo.version = "0x02";
  tstInfo.policy = {sizeof cutOff, cutOff};
  CTokenImpl fresh;
  EXPECT_HRESULT(E_INVALIDARG, getTSTInfo(fresh, tstInfo));
  EXPECT_EQ(2u, fresh.version);
  EXPECT_EQ("", fresh.policy);
}
