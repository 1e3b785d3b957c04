// The TSTInfo mapping against OpenSSL's time-stamp authority and the tokens of real authorities.
#include <gtest/gtest.h>

#include <regex>
#include <string>

#include "outside/asn1/tsp.h"
#include "rfc3161/token_impl.h"
#include "rfc3161/tstinfo_mapping.h"
#include "tests/support/test_support.h"

using namespace Zanthorel::PKI::TSP;
using Zanthorel::CBlob;
using Zanthorel::ASN1::CAlgorithmIdentifierEx;
using Zanthorel::ASN1::CBigInteger;
using Zanthorel::ASN1::CExtension;
using Zanthorel::ASN1::CExtensions;
using Zanthorel::ASN1::CGeneralName;
using zttsp_test::fromHex;
using zttsp_test::readFile;
using zttsp_test::run;
using zttsp_test::toHex;
using zttsp_test::vectorPath;

namespace {

// The encapsulated content of a SignedData element: the TSTInfo of a TimeStampToken.
CBlob tstInfoInSignedData(const ASN1OpenType& element, ASN1CTXT* ctxt) {
  BerReader in(element.data, element.numocts, ctxt), signedData, skipped, encapsulated, explicit0;
  const char* version;
  ASN1TAG tag;
  ASN1OBJID contentType;
  ASN1DynOctStr content;
  if (!in.readSequence(signedData) || !signedData.readInteger(version) ||
      !signedData.readElement(tag, skipped) || !signedData.readSequence(encapsulated) ||
      !encapsulated.readObjId(contentType) ||
      !encapsulated.readConstructed(asn1ContextTag(0, true), explicit0) ||
      !explicit0.readOctetString(content))
    throw std::runtime_error("no SignedData with content");
  return CBlob(content.data, content.numocts);
}

CBlob tstInfoOfToken(const CBlob& token) {
  ASN1BERDecodeBuffer buffer(token.pbData(), token.cbData());
  ASN1T_ContentInfo contentInfo;
  if (ASN1C_TimeStampToken(buffer, contentInfo).Decode() != 0)
    throw std::runtime_error("no TimeStampToken");
  return tstInfoInSignedData(contentInfo.content, buffer.getCtxtPtr());
}

CBlob tstInfoOfResponse(const CBlob& response) {
  ASN1BERDecodeBuffer buffer(response.pbData(), response.cbData());
  ASN1T_TimeStampResp decoded;
  if (ASN1C_TimeStampResp(buffer, decoded).Decode() != 0 || !decoded.m.timeStampTokenPresent)
    throw std::runtime_error("no TimeStampResp with a token");
  return tstInfoInSignedData(decoded.timeStampToken.content, buffer.getCtxtPtr());
}

// getTSTInfo of the decoded bytes, into a fresh record.
void readTSTInfo(const CBlob& der, CTokenImpl& token) {
  ASN1BERDecodeBuffer buffer(der.pbData(), der.cbData());
  ASN1T_TSTInfo tstInfo;
  if (ASN1C_TSTInfo(buffer, tstInfo).Decode() != 0) throw std::runtime_error("no TSTInfo");
  getTSTInfo(token, tstInfo);
}

// The encoding of setTSTInfo's structure.
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

const char kTsaExtensions[] =
    "basicConstraints=CA:FALSE\n"
    "extendedKeyUsage=critical,timeStamping\n";
// Two authorities: one that fills every optional field it can, one that fills none.
const char kTsaConfig[] =
    "[tsa]\n"
    "default_tsa = full\n"
    "[full]\n"
    "serial = serial.txt\n"
    "signer_cert = tsa.pem\n"
    "signer_key = tsa.key\n"
    "signer_digest = sha256\n"
    "default_policy = 1.3.6.1.4.1.99999.7.1\n"
    "digests = sha1, sha256, sha512\n"
    "accuracy = secs:1, millisecs:500, microsecs:100\n"
    "clock_precision_digits = 6\n"
    "ordering = yes\n"
    "tsa_name = yes\n"
    "ess_cert_id_chain = no\n"
    "[bare]\n"
    "serial = serial.txt\n"
    "signer_cert = tsa.pem\n"
    "signer_key = tsa.key\n"
    "signer_digest = sha256\n"
    "default_policy = 1.2.3.4.1\n"
    "digests = sha1, sha256, sha512\n";

// An `openssl ts` authority with a P-256 key, made once for the tests that use it.
class OpenSSLAuthority : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    dir_ = new zttsp_test::TempDir;
    zttsp_test::writeText(path("tsa.ext"), kTsaExtensions);
    zttsp_test::writeText(path("ts.cnf"), kTsaConfig);
    zttsp_test::writeText(path("serial.txt"), "0A1B2C3D4E5F60718293\n");
    zttsp_test::writeText(path("data.txt"), "a file to be stamped\n");
    const std::string newKey = " -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes";
    const auto made = run(
        "cd '" + dir_->path() + "' && openssl req -x509" + newKey +
        " -subj /CN=Test\\ CA -days 2 -keyout ca.key -out ca.pem && openssl req -new" + newKey +
        " -subj '/O=Zanthorel Test/CN=Test TSA' -keyout tsa.key -out tsa.csr && openssl x509 -req"
        " -in tsa.csr -CA ca.pem -CAkey ca.key -CAcreateserial -days 2 -extfile tsa.ext -out "
        "tsa.pem");
    ASSERT_EQ(0, made.status) << made.output;
  }
  static void TearDownTestSuite() {
    delete dir_;
    dir_ = nullptr;
  }

  static std::string path(const std::string& name) { return dir_->path(name); }
  // openssl in the authority's folder.
  static zttsp_test::CommandResult openssl(const std::string& arguments) {
    return run("cd '" + dir_->path() + "' && openssl " + arguments);
  }

  static zttsp_test::TempDir* dir_;
};

zttsp_test::TempDir* OpenSSLAuthority::dir_ = nullptr;

}  // namespace

TEST_F(OpenSSLAuthority, ItsTSTInfoMapsToTheFieldsItStampedAndBackToTheSameBytes) {
  const struct {
    const char* section;
    const char* digest;
    const char* oid;
    bool nonce;
  } cases[] = {{"full", "sha256", "2.16.840.1.101.3.4.2.1", true},
               {"full", "sha512", "2.16.840.1.101.3.4.2.3", false},
               {"bare", "sha1", "1.3.14.3.2.26", true},
               {"bare", "sha256", "2.16.840.1.101.3.4.2.1", false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.section) + " " + c.digest);
    const bool full = std::string(c.section) == "full";
    ASSERT_EQ(0, openssl(std::string("ts -query -data data.txt -") + c.digest +
                         (c.nonce ? "" : " -no_nonce") + " -out q.tsq")
                     .status);
    const auto replied = openssl(std::string("ts -reply -config ts.cnf -section ") + c.section +
                                 " -queryfile q.tsq -out r.tsr");
    ASSERT_EQ(0, replied.status) << replied.output;
    const CBlob der = tstInfoOfResponse(readFile(path("r.tsr")));
    zttsp_test::writeFile(path("tstinfo.der"), der);
    const std::string parsed = openssl("asn1parse -inform DER -in tstinfo.der").output;
    const std::string digest = openssl(std::string("dgst -r -") + c.digest + " data.txt").output;
    const std::string nonce =
        firstMatch(openssl("ts -query -in q.tsq -text").output, "Nonce: (0x[0-9A-F]+)");

    CTokenImpl token;
    readTSTInfo(der, token);
    EXPECT_EQ(1u, token.version);
    EXPECT_EQ(full ? "1.3.6.1.4.1.99999.7.1" : "1.2.3.4.1", token.policy);
    EXPECT_STREQ(c.oid, token.hashAlgorithm.get_algorithm());
    EXPECT_EQ("0500", toHex(token.hashAlgorithm.get_parameters()));
    EXPECT_EQ(toHex(fromHex(digest.substr(0, digest.find(' ')))), toHex(token.hashedMessage));
    const std::string serial = zttsp_test::readText(path("serial.txt"));
    EXPECT_EQ(CBigInteger(("0x" + serial.substr(0, serial.find('\n'))).c_str()),
              token.serialNumber);
    EXPECT_EQ(firstMatch(parsed, "GENERALIZEDTIME +:([0-9.]+Z)"), token.genTime);
    EXPECT_EQ(full, token.ordering);
    ASSERT_EQ(full, token.accuracy != nullptr);
    if (full) {
      EXPECT_EQ(CAccuracy(1, 500, 100), *token.accuracy);
    }
    ASSERT_EQ(c.nonce, token.nonce != nullptr);
    if (c.nonce) {
      EXPECT_EQ(CBigInteger(nonce.c_str()), *token.nonce);
    }
    ASSERT_EQ(full, token.tsa != nullptr);
    if (full) {
      EXPECT_EQ(CGeneralName::directoryName, token.tsa->get_type());
      EXPECT_NE(std::string::npos, toHex(token.tsa->get_value()).find(toHex(CBlob("Test TSA", 8))));
    }
    EXPECT_EQ(nullptr, token.extensions);

    EXPECT_EQ(toHex(der), toHex(writeTSTInfo(token)));
  }
}

TEST_F(OpenSSLAuthority, ReadsTheTSTInfoThatWeWrite) {
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
  zttsp_test::writeFile(path("ours.der"), writeTSTInfo(token));

  // Wrapped as the signing will wrap it, and shown by OpenSSL's time-stamp code.
  const auto wrapped = openssl(
      "cms -sign -binary -nodetach -in ours.der -econtent_type 1.2.840.113549.1.9.16.1.4 "
      "-signer tsa.pem -inkey tsa.key -outform DER -out ours.tst");
  ASSERT_EQ(0, wrapped.status) << wrapped.output;
  const auto shown = openssl("ts -reply -token_in -in ours.tst -text");
  ASSERT_EQ(0, shown.status) << shown.output;
  for (const char* line :
       {"Version: 1\n", "Policy OID: 1.3.6.1.4.1.99999.7.2\n", "Hash Algorithm: sha512\n",
        "0030 - aa aa aa aa aa aa aa aa-aa aa aa aa aa aa aa 01",
        "Serial number: 0x7FEDCBA9876543210FEDCBA98765432100112233\n",
        "Time stamp: Jun 21 07:12:05.884 2024 GMT\n",
        "Accuracy: 0x02 seconds, unspecified millis, 0xFA micros\n", "Ordering: yes\n",
        "Nonce: 0x0123456789ABCDEF0123\n", "TSA: URI:http://tsa.example/\n",
        "1.2.3.4.5: critical"}) {
    EXPECT_NE(std::string::npos, shown.output.find(line)) << line << "\n" << shown.output;
  }
}

TEST(TSTInfoMapping, MapsTheTokensOfRealAuthorities) {
  const CAccuracy full(1, 500, 100), millis(0, 500, 0), oneSecond(1), explicitZero(0, 100, 0);
  const struct {
    const char* file;
    const char* policy;
    const char* hashAlgorithm;
    const char* serialNumber;
    const char* genTime;
    const CAccuracy* accuracy;
    bool ordering;
    const char* nonce;
    bool tsa, extensions;
  } expected[] = {
      {"tst-freetsa-sha384-micros-ordering-nocerts.der", "1.2.3.4.1", "2.16.840.1.101.3.4.2.2",
       "0x064F64", "20171218173416.800812Z", &full, true, "0x9631D170EA3B92D4", true, false},
      {"tst-microsoft-millis-nshield-signerattr.der", "1.3.6.1.4.1.601.10.3.1",
       "2.16.840.1.101.3.4.2.1", "0x667043C04AEC", "20240621071205.884Z", &millis, false,
       "0x15AAAB578C28473B48F1B38279021D750060F432", true, false},
      {"tst-exceet-ber-indefinite-ocsprevinfo.der", "1.3.6.1.4.1.12655.3.2",
       "2.16.840.1.101.3.4.2.1", "0x802B413B0000015A2859FDD9FB2B359B", "20170210140752.5Z",
       &explicitZero, false, "0xBAD116079B975F2FD5BF893EE7A95426", true, true},
      {"resp-signserver-negative-nonce-nocerts.tsr", "1.2.3", "1.3.14.3.2.26", "0x767138AC5F9D0F08",
       "20140401092104Z", nullptr, false, "-0x4CC7C80C", false, false},
      {"resp-sigstore-mock-ber-octetstring-negserial.tsr", "1.3.6.1.4.1.57264.2",
       "2.16.840.1.101.3.4.2.1", "-0x21524111", "20230201000000Z", &oneSecond, false, "0x499602D2",
       false, false},
  };
  for (const auto& e : expected) {
    SCOPED_TRACE(e.file);
    const CBlob file = readFile(vectorPath(e.file));
    const CBlob der = e.file[0] == 't' ? tstInfoOfToken(file) : tstInfoOfResponse(file);
    CTokenImpl token;
    readTSTInfo(der, token);
    EXPECT_EQ(1u, token.version);
    EXPECT_EQ(e.policy, token.policy);
    EXPECT_STREQ(e.hashAlgorithm, token.hashAlgorithm.get_algorithm());
    EXPECT_EQ(CBigInteger(e.serialNumber), token.serialNumber);
    EXPECT_EQ(e.genTime, token.genTime);
    ASSERT_EQ(e.accuracy != nullptr, token.accuracy != nullptr);
    EXPECT_TRUE(e.accuracy == nullptr || *e.accuracy == *token.accuracy);
    EXPECT_EQ(e.ordering, token.ordering);
    ASSERT_NE(nullptr, token.nonce);
    EXPECT_EQ(CBigInteger(e.nonce), *token.nonce);
    EXPECT_EQ(e.tsa, token.tsa != nullptr);
    EXPECT_EQ(e.extensions, token.extensions != nullptr);

    // Written back byte for byte, but for a seconds of 0 sent explicitly, which is left out.
    const CBlob again = writeTSTInfo(token);
    if (e.accuracy != &explicitZero) {
      EXPECT_EQ(toHex(der), toHex(again));
    } else {
      EXPECT_EQ(der.cbData() - 3, again.cbData());
      EXPECT_NE(std::string::npos, toHex(der).find("3006020100800164"));
      EXPECT_NE(std::string::npos, toHex(again).find("3003800164"));
    }
  }
}

TEST(TSTInfoMapping, AccuracyIsMarkedByWholeValuesAndCarriedIn16Bits) {
  const struct {
    CAccuracy given;
    bool seconds, millis, micros;
    const char* encoded;  // the Accuracy element
    CAccuracy back;
  } cases[] = {
      {CAccuracy(5, 0, 250), true, false, true, "3007 020105 810200FA", CAccuracy(5, 0, 250)},
      {CAccuracy(0, 0, 0), false, false, false, "3000", CAccuracy(0, 0, 0)},
      {CAccuracy(1, 500, 100), true, true, true, "300A 020101 800201F4 810164",
       CAccuracy(1, 500, 100)},
  };
  for (const auto& c : cases) {
    CTokenImpl token;
    fillRequired(token);
    token.accuracy = std::make_unique<CAccuracy>(c.given);
    const Mapped mapped(token);
    ASSERT_TRUE(mapped.tstInfo.m.accuracyPresent);
    EXPECT_EQ(c.seconds, mapped.tstInfo.accuracy.m.secondsPresent != 0) << c.encoded;
    EXPECT_EQ(c.millis, mapped.tstInfo.accuracy.m.millisPresent != 0) << c.encoded;
    EXPECT_EQ(c.micros, mapped.tstInfo.accuracy.m.microsPresent != 0) << c.encoded;
    EXPECT_NE(std::string::npos, toHex(writeTSTInfo(token)).find(toHex(fromHex(c.encoded))))
        << c.encoded;
    ASSERT_NE(nullptr, mapped.back.accuracy);
    EXPECT_EQ(c.back, *mapped.back.accuracy) << c.encoded;
  }

  // Written field by field, past what the codec holds: the low 16 bits go, marked by the whole.
  CTokenImpl token;
  fillRequired(token);
  token.accuracy = std::make_unique<CAccuracy>();
  token.accuracy->millis = 70000;
  token.accuracy->micros = 65536;
  const Mapped mapped(token);
  EXPECT_EQ(4464, mapped.tstInfo.accuracy.millis);
  EXPECT_TRUE(mapped.tstInfo.accuracy.m.millisPresent);
  EXPECT_EQ(0, mapped.tstInfo.accuracy.micros);
  EXPECT_TRUE(mapped.tstInfo.accuracy.m.microsPresent);
  EXPECT_EQ(0u, mapped.back.accuracy->seconds);
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
  EXPECT_EQ(0u, read.accuracy->micros);
}

TEST(TSTInfoMapping, KeepsVersionOrderingAndOptionalPartsAsTheRulesSay) {
  CTokenImpl token;
  fillRequired(token);
  token.version = 2;
  token.extensions = std::make_unique<CExtensions>();
  token.nonce = std::make_unique<CBigInteger>("-0x4CC7C80C");
  token.hashAlgorithm.put_oidBoundValue(0x800C);
  {
    const Mapped mapped(token);
    EXPECT_FALSE(mapped.tstInfo.m.extensionsPresent) << "an empty list is left out";
    EXPECT_EQ(0, mapped.tstInfo.ordering);
    EXPECT_FALSE(mapped.tstInfo.m.accuracyPresent);
    EXPECT_FALSE(mapped.tstInfo.m.tsaPresent);
    EXPECT_EQ(2u, mapped.back.version);
    EXPECT_EQ(nullptr, mapped.back.extensions);
    EXPECT_FALSE(mapped.back.ordering);
    EXPECT_EQ(*token.nonce, *mapped.back.nonce);
    EXPECT_EQ(0u, mapped.back.hashAlgorithm.get_oidBoundValue()) << "not part of the TSTInfo";
    EXPECT_EQ(token.genTime, mapped.back.genTime);
  }
  const std::string encoded = toHex(writeTSTInfo(token));
  EXPECT_EQ("020102", encoded.substr(4, 6)) << "version 2 first";

  token.ordering = true;
  token.extensions->push_back(CExtension("1.2.3.4.5", false, fromHex("0500")));
  const Mapped mapped(token);
  EXPECT_EQ(1, mapped.tstInfo.ordering);
  EXPECT_TRUE(mapped.back.ordering);
  ASSERT_NE(nullptr, mapped.back.extensions);
  EXPECT_TRUE(*token.extensions == *mapped.back.extensions);

  // The nonce and extensions follow ordering, in the order of the module.
  const std::string ordered = toHex(writeTSTInfo(token));
  const auto at = [&](const std::string& hex) { return ordered.find(toHex(fromHex(hex))); };
  EXPECT_LT(at("0101FF"), at("0204B33837F4"));
  EXPECT_LT(at("0204B33837F4"), at("A10C"));
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
