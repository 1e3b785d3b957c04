// CToken as a value (defaults, writers, deep copies), CAccuracy, and the hash algorithm's bound
// value.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "rfc3161/token.h"
#include "tests/support/test_support.h"

using namespace Zanthorel::PKI::TSP;
using Zanthorel::CBlobList;
using Zanthorel::CDateTime;
using Zanthorel::ASN1::CAlgorithmIdentifierEx;
using Zanthorel::ASN1::CAttribute;
using Zanthorel::ASN1::CAttributes;
using Zanthorel::ASN1::CBigInteger;
using Zanthorel::ASN1::CExtension;
using Zanthorel::ASN1::CExtensions;
using Zanthorel::ASN1::CGeneralName;
using zttsp_test::fromHex;
using zttsp_test::toHex;

namespace {

const char kPolicy[] = "1.3.6.1.4.1.99999.7.1";

CAlgorithmIdentifierEx sha256() {
  CAlgorithmIdentifierEx algorithm("2.16.840.1.101.3.4.2.1", fromHex("0500"));
  algorithm.put_oidBoundValue(0x800C);
  return algorithm;
}

CToken stampedToken() {
  return CToken(kPolicy, sha256(), fromHex(std::string(64, '5')), CBigInteger("0x0A1B2C3D"),
                CDateTime(1718953925, 884000000), true);
}

CAttributes oneAttribute(const char* oid) {
  CAttributes attributes;
  CAttribute attribute(oid);
  attribute.add(fromHex("0500"));
  attributes.push_back(attribute);
  return attributes;
}

// A token with every optional field.
CToken fullToken() {
  CToken token = stampedToken();
  const CAccuracy accuracy(1, 500, 100);
  const CBigInteger nonce("0x0123456789ABCDEF");
  const CGeneralName tsa(CGeneralName::dNSName, "tsa.example");
  CExtensions extensions;
  extensions.push_back(CExtension("1.2.3.4.5", false, fromHex("0500")));
  const CAttributes signedAttributes = oneAttribute("1.2.840.113549.1.9.16.2.47");
  const CAttributes unsignedAttributes = oneAttribute("1.2.840.113549.1.9.16.2.14");
  CBlobList certificates;
  certificates.push_back(fromHex("3003020101"));
  certificates.push_back(fromHex("3003020102"));
  token.put_accuracy(&accuracy);
  token.put_nonce(&nonce);
  token.put_tsa(&tsa);
  token.put_extensions(&extensions);
  token.put_signedAttributes(&signedAttributes);
  token.put_unsignedAttributes(&unsignedAttributes);
  token.put_certificates(&certificates);
  return token;
}

// The fields of fullToken() that a token holds apart from its TSTInfo record.
void expectFullToken(const CToken& token) {
  EXPECT_STREQ(kPolicy, token.get_policy());
  EXPECT_STREQ("20240621071205.884Z", token.get_genTimeZ());
  ASSERT_TRUE(token.get_accuracy() && token.get_nonce() && token.get_tsa() &&
              token.get_extensions() && token.get_signedAttributes() &&
              token.get_unsignedAttributes() && token.get_certificates());
  EXPECT_EQ(CAccuracy(1, 500, 100), *token.get_accuracy());
  EXPECT_EQ(CBigInteger("0x0123456789ABCDEF"), *token.get_nonce());
  EXPECT_STREQ("tsa.example", token.get_tsa()->get_text());
  EXPECT_STREQ("1.2.3.4.5", token.get_extensions()->front().get_extnID());
  EXPECT_TRUE(oneAttribute("1.2.840.113549.1.9.16.2.47") == *token.get_signedAttributes());
  EXPECT_TRUE(oneAttribute("1.2.840.113549.1.9.16.2.14") == *token.get_unsignedAttributes());
  ASSERT_EQ(2u, token.get_certificates()->size());
  EXPECT_EQ("3003020102", toHex(token.get_certificates()->back()));
}

}  // namespace

TEST(Accuracy, CarriesOnConstructionOnly) {
  const struct {
    CAccuracy accuracy;
    CAccuracy carried;
  } table[] = {
      {CAccuracy(1, 1500, 2500), CAccuracy(2, 502, 500)},
      {CAccuracy(0, 999, 1000), CAccuracy(1, 0, 0)},
      {CAccuracy(0, 0, 1234567), CAccuracy(1, 234, 567)},
      {CAccuracy(4294967295u, 1000, 0), CAccuracy(0, 0, 0)},
      {CAccuracy(7, 999, 999), CAccuracy(7, 999, 999)},
  };
  for (const auto& row : table)
    EXPECT_EQ(row.carried, row.accuracy);
  CAccuracy written;
  written.millis = 1000;
  EXPECT_TRUE(CAccuracy(1) != written);
  EXPECT_EQ(1000u, CAccuracy(written).millis) << "copies do not carry";
  EXPECT_TRUE(CAccuracy(0, 0, 1) != CAccuracy(0, 1, 0)) << "compared field by field";
}

TEST(Token, WritersAndCopiesKeepNoReferenceToTheirSource) {
  EXPECT_STREQ("", CToken(CToken()).get_genTimeZ()) << "a default token copies too";
  EXPECT_EQ(0x800Cu, stampedToken().get_hashAlgorithm().get_oidBoundValue()) << "kept whole";

  // Each writer given the token's own value keeps it.
  auto source = std::make_unique<CToken>(fullToken());
  CToken& full = *source;
  full.put_accuracy(full.get_accuracy());
  full.put_nonce(full.get_nonce());
  full.put_tsa(full.get_tsa());
  full.put_extensions(full.get_extensions());
  full.put_signedAttributes(full.get_signedAttributes());
  full.put_unsignedAttributes(full.get_unsignedAttributes());
  full.put_certificates(full.get_certificates());
  *source = *source;
  expectFullToken(full);

  // Copies outlive their source's changes and the source itself.
  const CToken copy(full);
  CToken assigned = stampedToken();
  assigned = full;
  auto nonce = std::make_unique<CBigInteger>(99);
  full.put_nonce(nonce.get());
  nonce.reset();
  EXPECT_EQ(CBigInteger(99), *full.get_nonce());
  full.put_certificates(nullptr);
  EXPECT_EQ(nullptr, full.get_certificates());
  source.reset();
  expectFullToken(copy);
  expectFullToken(assigned);
}

TEST(Token, CopiesHoldTheFieldsAsTheTSTInfoGivesThemBack) {
  CToken token = stampedToken();
  CAccuracy wide;
  wide.seconds = 3;
  wide.millis = 70000;
  wide.micros = 1500;
  token.put_accuracy(&wide);
  const CExtensions none;
  token.put_extensions(&none);

  const CToken copy(token);
  EXPECT_EQ(0u, copy.get_hashAlgorithm().get_oidBoundValue()) << "rebuilt from the TSTInfo";
  EXPECT_STREQ("2.16.840.1.101.3.4.2.1", copy.get_hashAlgorithm().get_algorithm());
  ASSERT_NE(nullptr, copy.get_accuracy());
  EXPECT_EQ(3u, copy.get_accuracy()->seconds);
  EXPECT_EQ(4464u, copy.get_accuracy()->millis) << "70000 in 16 bits, no carry";
  EXPECT_EQ(1500u, copy.get_accuracy()->micros);
  ASSERT_NE(nullptr, token.get_extensions());
  EXPECT_EQ(nullptr, copy.get_extensions()) << "an empty list is no list";

  // A policy that is no identifier cannot be copied; assignment has already let go.
  CToken bad("not.an.oid", sha256(), fromHex("00"), CBigInteger(1), CDateTime(1, 0), false);
  EXPECT_HRESULT(E_INVALIDARG, CToken{bad});
  CToken target = fullToken();
  EXPECT_HRESULT(E_INVALIDARG, target = bad);
  EXPECT_STREQ("", target.get_policy()) << "a default token is left";
  EXPECT_EQ(nullptr, target.get_nonce());
  target = stampedToken();
  EXPECT_STREQ(kPolicy, target.get_policy());
}

// oidBoundValue belongs to the identifier it came with, and copies carry it.
TEST(AlgorithmIdentifierEx, KeepsItsValueWhileTheIdentifierStaysAndInCopies) {
  CAlgorithmIdentifierEx id = sha256();
  id.put_algorithm("2.16.840.1.101.3.4.2.1");
  EXPECT_EQ(0x800Cu, id.get_oidBoundValue());
  EXPECT_EQ(fromHex("0500"), id.get_parameters()) << "parameters kept as well";
  EXPECT_EQ(0x800Cu, CAlgorithmIdentifierEx(id).get_oidBoundValue());
  CAlgorithmIdentifierEx assigned;
  assigned = id;
  CAlgorithmIdentifierEx& same = assigned;
  assigned = same;
  EXPECT_EQ(0x800Cu, assigned.get_oidBoundValue());

  // Another identifier drops it, also through the base class.
  id.put_algorithm("1.3.14.3.2.26");
  EXPECT_EQ(0u, id.get_oidBoundValue());
  Zanthorel::ASN1::CAlgorithmIdentifier& base = assigned;
  base.put_algorithm("1.3.14.3.2.26");
  EXPECT_EQ(0u, assigned.get_oidBoundValue());
}
