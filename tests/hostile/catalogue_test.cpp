// The catalogue of hostile inputs: one row per named case, with the entry point it goes through,
// the HRESULT it must end with and the state the object is left in. Where a row's answer differs
// from what the usual hostile-input lists suggest, its reason says why.
#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/hostile/der_pieces.h"
#include "tests/hostile/entry_points.h"
#include "tests/hostile/signed_data_builder.h"
#include "tests/support/test_support.h"

using Zanthorel::CBlob;
using zttsp_test::fromHex;

namespace hostile_test {
namespace {

const char kTstInfoType[] = "1.2.840.113549.1.9.16.1.4";
const char kDataType[] = "1.2.840.113549.1.7.1";
const char kContentTypeOid[] = "1.2.840.113549.1.9.3";
const char kSigningTimeOid[] = "1.2.840.113549.1.9.5";
const char kMessageDigestOid[] = "1.2.840.113549.1.9.4";

CBlob vector(const char* name) {
  return zttsp_test::readFile(zttsp_test::vectorPath(name));
}

// TimeStampReq { version 1, MessageImprint { algorithm, hash } }.
const char kSha1[] = "06052B0E03021A";
CBlob requestWith(const CBlob& algorithm, const CBlob& hash = fromHex("0400")) {
  return sequence({fromHex("020101"), sequence({algorithm, hash})});
}
CBlob requestWithParameters(const CBlob& parameters) {
  return requestWith(sequence({fromHex(kSha1), parameters}));
}
CBlob minimalRequest() {
  return requestWith(sequence({fromHex(kSha1)}));
}

// Signed messages made by the builder, signed by the RSA authority unless a row says otherwise.
const CBlob& content() {
  static const CBlob info = tstInfo("20240621071205Z");
  return info;
}
const CBlob& otherContent() {
  static const CBlob info = tstInfo("20240621071206Z");
  return info;
}
CBlob signedWith(std::vector<RawAttribute> attributes, bool sorted = true) {
  SignedDataRecipe recipe;
  recipe.content = content();
  recipe.signedAttributes = &attributes;
  recipe.sortAttributes = sorted;
  return buildSignedData(recipe);
}
CBlob standardToken() {
  return signedWith(standardAttributes(content(), kTstInfoType));
}
CBlob tokenOf(SignedDataRecipe recipe) {
  const auto attributes = standardAttributes(recipe.content, recipe.contentType);
  if (recipe.signedAttributes == nullptr) recipe.signedAttributes = &attributes;
  return buildSignedData(recipe);
}
CBlob tokenWithTstInfo(const CBlob& info) {
  SignedDataRecipe recipe;
  recipe.content = info;
  return tokenOf(recipe);
}
// The standard attributes with one changed by `change`.
template <class Change>
CBlob tokenWithAttributes(Change change) {
  auto attributes = standardAttributes(content(), kTstInfoType);
  change(attributes);
  return signedWith(attributes);
}
RawAttribute& attribute(std::vector<RawAttribute>& attributes, const char* oid) {
  for (RawAttribute& a : attributes) {
    if (a.oid == oid) return a;
  }
  throw std::runtime_error("no such attribute");
}
void erase(std::vector<RawAttribute>& attributes, const char* oid) {
  attributes.erase(std::remove_if(attributes.begin(), attributes.end(),
                                  [&](const RawAttribute& a) { return a.oid == oid; }),
                   attributes.end());
}

// An Authenticode stamp: data content with contentType, signingTime and messageDigest.
const CBlob& stampContent() {
  static const CBlob octets("stamped signature", 17);
  return octets;
}
template <class Change>
CBlob stampWith(Change change) {
  auto attributes = standardAttributes(stampContent(), kDataType);
  change(attributes);
  SignedDataRecipe recipe;
  recipe.content = stampContent();
  recipe.contentType = kDataType;
  recipe.signedAttributes = &attributes;
  return buildSignedData(recipe);
}

CBlob rsaCertificate() {
  return tsa_test::pki().rsa.certificate;
}
CBlob otherCertificate() {
  return tsa_test::pki().other.certificate;
}
CBlob ecCertificate() {
  return tsa_test::pki().ec.certificate;
}
CBlob notACertificate() {
  return fromHex("3003020101");
}

struct Row {
  const char* name;
  CBlob (*input)();
  EntryPoint entry;
  HRESULT hr;
  const char* state;
  const char* reason;
  CBlob (*certificate)() = rsaCertificate;
};

const HRESULT kMoreData = static_cast<HRESULT>(ERROR_MORE_DATA);

// clang-format off
const Row kRows[] = {
  // Codec, through CRequest::decode and CMSRequest::decode.
  {"empty request", +[] { return CBlob(); }, requestDecode, E_INVALIDARG, "unchanged",
   "refused before anything is released"},
  {"minimal request", minimalRequest, requestDecode, S_OK, "decoded", "the baseline of the rows below"},
  {"request cut at every offset", +[] { return vector("req-dotnet-sha512-policy-nonce-extensions.tsq"); },
   everyPrefix<requestDecode>, CRYPT_E_ASN1_INTERNAL, "default request", "a refused request is a default one"},
  {"length 2^31 claimed in 10 bytes", +[] { return fromHex("30848000000002010100"); }, requestDecode,
   CRYPT_E_ASN1_INTERNAL, "default request", "nothing is allocated for a claimed length"},
  {"length of 9 octets", +[] { return fromHex("30890000000000000001"); }, requestDecode,
   CRYPT_E_ASN1_INTERNAL, "default request", "more than 8 length octets cannot be meant"},
  {"indefinite length on a primitive", +[] { return fromHex("3080028001000000"); }, requestDecode,
   CRYPT_E_ASN1_INTERNAL, "default request", ""},
  {"indefinite lengths with their end-of-contents", +[] {
     return fromHex("3080020101308030800605" "2B0E03021A" "0000" "0400" "0000" "0000"); },
   requestDecode, S_OK, "decoded", "BER: accepted"},
  {"missing end-of-contents", +[] { return fromHex("3080020101300B300706052B0E03021A0400"); },
   requestDecode, CRYPT_E_ASN1_INTERNAL, "default request", ""},
  {"hash parameters nested to the depth cap", +[] { return requestWithParameters(nested(61)); },
   requestDecode, S_OK, "decoded", "64 levels with the request's own three"},
  {"hash parameters one level deeper than the cap", +[] { return requestWithParameters(nested(62)); },
   requestDecode, CRYPT_E_ASN1_INTERNAL, "default request", ""},
  {"hash parameters nested 100,000 deep", +[] { return requestWithParameters(nested(100000)); },
   requestDecode, CRYPT_E_ASN1_INTERNAL, "default request", "no recursion past the cap"},
  {"non-minimal high tag 1F 80", +[] { return requestWithParameters(fromHex("1F800100")); },
   requestDecode, CRYPT_E_ASN1_INTERNAL, "default request", ""},
  {"tag number 2^31", +[] { return requestWithParameters(fromHex("1F888080800000")); },
   requestDecode, CRYPT_E_ASN1_INTERNAL, "default request", ""},
  {"INTEGER without content", +[] { return fromHex("300F0200300B300706052B0E03021A0400"); },
   requestDecode, CRYPT_E_ASN1_INTERNAL, "default request", ""},
  {"OID without content", +[] { return requestWith(fromHex("30020600")); }, requestDecode,
   CRYPT_E_ASN1_INTERNAL, "default request", ""},
  {"OID arc starting with 0x80", +[] { return requestWith(sequence({fromHex("06062B800E03021A")})); },
   requestDecode, CRYPT_E_ASN1_INTERNAL, "default request", ""},
  {"OID arc of 2^64", +[] { return requestWith(sequence({fromHex("060B2B8280808080808080808000")})); },
   requestDecode, CRYPT_E_ASN1_INTERNAL, "default request", "arcs are held to 64 bits"},
  {"100 KB OID", +[] { return requestWith(sequence({primitive(kTagObjectId, join({fromHex("2B"),
     repeated(fromHex("01"), 100000)}))})); }, requestDecode, CRYPT_E_ASN1_INTERNAL, "default request",
   "refused at 512 octets, before any arc is read"},
  {"BOOLEAN of two octets", +[] { return join({fromHex("3014"), fromHex("020101300B300706052B0E03021A0400"),
     fromHex("010200FF")}); }, requestDecode, CRYPT_E_ASN1_INTERNAL, "default request", ""},
  {"bytes after the request", +[] { return join({minimalRequest(), fromHex("00")}); }, requestDecode,
   CRYPT_E_ASN1_INTERNAL, "default request", "the codec takes one whole TimeStampReq"},
  {"imprint shorter than its hash algorithm", +[] { return requestWith(sequence({fromHex(
     "0609608648016503040201")}), fromHex("04050102030405")); }, requestDecode, S_OK, "decoded",
   "the request class checks no imprint; a server answers badDataFormat (tools)"},
  {"Authenticode request cut at every offset", +[] { return vector("authenticode-tsreq-signtool.der"); },
   everyPrefix<msRequestDecode>, CRYPT_E_ASN1_INTERNAL, "unchanged", "a refused request changes nothing"},

  // Responses.
  {"empty response", +[] { return CBlob(); }, responseDecode, E_INVALIDARG, "unchanged", ""},
  {"response cut at every offset", +[] { return vector("resp-symantec-sha256-nonce-nocerts.tsr"); },
   everyPrefix<responseDecode>, CRYPT_E_ASN1_INTERNAL, "status 2, no token", "a default response"},
  {"granted without a token", +[] { return fromHex("30053003020100"); }, responseDecode, S_OK,
   "status 0, no token", "status and token are independent"},
  {"rejection with a token", +[] { return sequence({fromHex("3003020102"), standardToken()}); },
   responseDecode, S_OK, "status 2, token", "status and token are independent"},
  {"status 7", +[] { return fromHex("30053003020107"); }, responseDecode, S_OK, "status 7, no token",
   "the status is kept as sent"},
  {"status string of 1 MB", +[] { return sequence({sequence({fromHex("020102"), sequence({
     primitive(kTagUTF8String, repeated(fromHex("41"), 1 << 20))})})}); }, responseDecode, S_OK,
   "status 2, no token", "kept; memory stays bounded (DecodeBounds)"},
  {"response whose token is of data content", +[] { return sequence({fromHex("3003020100"),
     stampWith([](auto&) {})}); }, responseDecode, CRYPT_E_BAD_MSG, "status 0, token without message",
   "the token keeps the failed decode's state"},

  // CMS structure, through CToken::decode.
  {"token cut at every offset", +[] { return vector("tst-freetsa-sha384-micros-ordering-nocerts.der"); },
   everyPrefix<tokenDecode>, CRYPT_E_ASN1_EOD, "input kept, no message", ""},
  {"certificate set nested 100,000 deep", +[] { SignedDataRecipe recipe; recipe.content = content();
     recipe.certificates = {nested(100000)}; return tokenOf(recipe); }, tokenDecode, CRYPT_E_ASN1_LARGE, "input kept, no message",
   "the platform's cap, as Windows names it"},
  {"certificate nested 100,000 deep", standardToken, tokenVerify, CRYPT_E_ASN1_LARGE, "no answer", "",
   +[] { return nested(100000); }},
  {"signedData without content", +[] { return fromHex("300B06092A864886F70D010702"); }, tokenDecode,
   CRYPT_E_ASN1_EOD, "input kept, no message", ""},
  {"no SignerInfo", +[] { SignedDataRecipe recipe; recipe.content = content(); recipe.signerCount = 0;
     return tokenOf(recipe); }, tokenDecode, CRYPT_E_INVALID_INDEX, "input kept, no message", ""},
  {"content of another type", +[] { return stampWith([](auto&) {}); }, tokenDecode, CRYPT_E_BAD_MSG,
   "input kept, no message", ""},
  {"genTime without Z", +[] { return tokenWithTstInfo(tstInfo("20240621071205")); }, tokenDecode, S_OK,
   "decoded", "a local time: the value library reads it, and the token keeps the text as sent"},
  {"genTime in month 13", +[] { return tokenWithTstInfo(tstInfo("20241321071205Z")); }, tokenDecode,
   S_OK, "decoded, genTime '20241321071205Z' kept unparsed", ""},
  {"accuracy millis 1000", +[] { return tokenWithTstInfo(tstInfo("20240621071205Z",
     fromHex("30048002 03E8"))); }, tokenDecode, S_OK, "decoded, accuracy 0/1000/0",
   "kept as sent, as the codec promises"},
  {"tsa as EDIPartyName", +[] { return tokenWithTstInfo(tstInfo("20240621071205Z", {},
     fromHex("A009A507A1050C03454449"))); }, tokenDecode, S_OK, "decoded, tsa", ""},

  // Signatures, through CToken::verify after a successful decode.
  {"well-formed token", standardToken, tokenVerify, S_OK, "verifies", "the baseline of the rows below"},
  {"well-formed token of a P-256 authority", +[] { SignedDataRecipe recipe; recipe.content = content();
     recipe.signer = &tsa_test::pki().ec; return tokenOf(recipe); }, tokenVerify, S_OK, "verifies", "",
   ecCertificate},
  {"signed attributes in non-DER order", +[] { return signedWith(standardAttributes(content(),
     kTstInfoType), false); }, tokenVerify, S_OK, "verifies", "the signature covers the bytes as received"},
  {"no signed attributes", +[] { SignedDataRecipe recipe; recipe.content = content();
     return buildSignedData(recipe); },
   tokenVerify, S_OK, "verifies", "the signature is over the content itself"},
  {"verify after a failed decode", +[] { return fromHex("3000"); }, tokenVerifyAfterFailedDecode, E_FAIL,
   "input kept, no message", ""},
  {"verify with bytes that are no certificate", standardToken, tokenVerify, CRYPT_E_ASN1_CORRUPT,
   "no answer", "the platform's reason, as an error", notACertificate},
  {"two signers", +[] { SignedDataRecipe recipe; recipe.content = content(); recipe.signerCount = 2;
     return tokenOf(recipe); }, tokenVerify, S_OK, "does not verify", "only a single signer is verified"},
  {"signer by subjectKeyIdentifier", +[] { SignedDataRecipe recipe; recipe.content = content();
     recipe.bySubjectKeyId = true; return tokenOf(recipe); }, tokenVerify, S_OK, "does not verify",
   "the certificate is matched by issuer and serial number only: CRYPT_E_SIGNER_NOT_FOUND below"},
  {"signer id naming B, signed with A's key", +[] { SignedDataRecipe recipe; recipe.content = content();
     recipe.named = &tsa_test::pki().other; return tokenOf(recipe); }, tokenVerify, S_OK,
   "does not verify", "", otherCertificate},
  {"unknown digest algorithm", +[] { SignedDataRecipe recipe; recipe.content = content();
     recipe.digestOid = "1.2.3.4.5"; return tokenOf(recipe); }, tokenVerify, S_OK, "does not verify", ""},
  {"unknown signature algorithm", +[] { SignedDataRecipe recipe; recipe.content = content();
     recipe.signatureOid = "1.2.3.4.5"; return tokenOf(recipe); }, tokenVerify, S_OK, "does not verify", ""},
  {"TSTInfo swapped under kept signed attributes", +[] { auto attributes = standardAttributes(content(),
     kTstInfoType); SignedDataRecipe recipe; recipe.content = otherContent(); recipe.signedAttributes = &attributes;
     return buildSignedData(recipe); }, tokenVerify, S_OK, "does not verify", ""},
  {"signature's last octet flipped", +[] { CBlob token = standardToken();
     token.pbData()[token.cbData() - 1] ^= 1; return token; }, tokenVerify, S_OK, "does not verify", ""},
  {"messageDigest missing", +[] { return tokenWithAttributes([](auto& a) { erase(a, kMessageDigestOid); }); },
   tokenVerify, S_OK, "does not verify", ""},
  {"messageDigest twice", +[] { return tokenWithAttributes([](auto& a) {
     a.push_back(attribute(a, kMessageDigestOid)); }); }, tokenVerify, S_OK, "does not verify", ""},
  {"messageDigest with two values", +[] { return tokenWithAttributes([](auto& a) {
     auto& digest = attribute(a, kMessageDigestOid); digest.values.push_back(digest.values[0]); }); },
   tokenVerify, S_OK, "does not verify", ""},
  {"messageDigest not an OCTET STRING", +[] { return tokenWithAttributes([](auto& a) {
     attribute(a, kMessageDigestOid).values = {primitive(kTagInteger, sha256(content()))}; }); },
   tokenVerify, S_OK, "does not verify", ""},
  {"messageDigest one octet short", +[] { return tokenWithAttributes([](auto& a) {
     const CBlob digest = sha256(content());
     attribute(a, kMessageDigestOid).values = {derOctetString(CBlob(digest.pbData(), 31))}; }); },
   tokenVerify, S_OK, "does not verify", ""},
  {"contentType missing", +[] { return tokenWithAttributes([](auto& a) { erase(a, kContentTypeOid); }); },
   tokenVerify, S_OK, "does not verify", ""},
  {"contentType twice", +[] { return tokenWithAttributes([](auto& a) {
     a.push_back(attribute(a, kContentTypeOid)); }); }, tokenVerify, S_OK, "does not verify", ""},
  {"contentType other than the eContentType", +[] { return tokenWithAttributes([](auto& a) {
     attribute(a, kContentTypeOid).values = {derObjectId(kDataType)}; }); }, tokenVerify, S_OK,
   "does not verify", "a data signature passed off as a time stamp"},

  // The same through the platform layer, with the codes Windows gives.
  {"platform: well-formed token", standardToken, platformVerify, S_OK, "verifies", ""},
  {"platform: signer by subjectKeyIdentifier", +[] { SignedDataRecipe recipe; recipe.content = content();
     recipe.bySubjectKeyId = true; return tokenOf(recipe); }, platformVerify, CRYPT_E_SIGNER_NOT_FOUND,
   "does not verify", "a clear error"},
  {"platform: signed with another key", +[] { SignedDataRecipe recipe; recipe.content = content();
     recipe.named = &tsa_test::pki().other; return tokenOf(recipe); }, platformVerify, NTE_BAD_SIGNATURE,
   "does not verify", "", otherCertificate},
  {"platform: unknown digest algorithm", +[] { SignedDataRecipe recipe; recipe.content = content();
     recipe.digestOid = "1.2.3.4.5"; return tokenOf(recipe); }, platformVerify, CRYPT_E_UNKNOWN_ALGO,
   "does not verify", ""},
  {"platform: TSTInfo swapped", +[] { auto attributes = standardAttributes(content(), kTstInfoType);
     SignedDataRecipe recipe; recipe.content = otherContent(); recipe.signedAttributes = &attributes;
     return buildSignedData(recipe); }, platformVerify, CRYPT_E_HASH_VALUE, "does not verify", ""},
  {"platform: messageDigest missing", +[] { return tokenWithAttributes([](auto& a) {
     erase(a, kMessageDigestOid); }); }, platformVerify, CRYPT_E_AUTH_ATTR_MISSING, "does not verify", ""},
  {"platform: messageDigest twice", +[] { return tokenWithAttributes([](auto& a) {
     a.push_back(attribute(a, kMessageDigestOid)); }); }, platformVerify, CRYPT_E_HASH_VALUE,
   "does not verify", ""},
  {"platform: contentType other than the eContentType", +[] { return tokenWithAttributes([](auto& a) {
     attribute(a, kContentTypeOid).values = {derObjectId(kDataType)}; }); }, platformVerify,
   CRYPT_E_UNEXPECTED_ENCODING, "does not verify", ""},
  {"platform: contentType missing", +[] { return tokenWithAttributes([](auto& a) {
     erase(a, kContentTypeOid); }); }, platformVerify, CRYPT_E_AUTH_ATTR_MISSING, "does not verify", ""},
  {"platform: update after the final one", standardToken, platformUpdateAfterFinal, CRYPT_E_MSG_ERROR,
   "closes cleanly", ""},
  {"platform: garbage", +[] { return fromHex("0401AA"); }, platformVerify, CRYPT_E_ASN1_BADTAG,
   "decode failed", ""},
  {"platform: buffer one octet short", standardToken, platformShortBuffer, kMoreData,
   "size set to what is needed", ""},
  {"platform: control on a message that failed to decode", +[] { return fromHex("0401AA"); },
   platformControlAfterFailure, CRYPT_E_MSG_ERROR, "closes cleanly", ""},
  {"platform: signer index out of range", standardToken, platformSignerOutOfRange,
   CRYPT_E_INVALID_INDEX, "closes cleanly", ""},

  // Authenticode stamps.
  {"well-formed stamp", +[] { return stampWith([](auto&) {}); }, msStampVerify, S_OK, "verifies", ""},
  {"stamp without signingTime", +[] { return stampWith([](auto& a) { erase(a, kSigningTimeOid); }); },
   msStampDecode, CRYPT_E_BAD_MSG, "time kept, certificates kept", ""},
  {"stamp whose signingTime has no value", +[] { return stampWith([](auto& a) {
     attribute(a, kSigningTimeOid).values.clear(); }); }, msStampDecode, CRYPT_E_BAD_MSG,
   "time kept, certificates kept", ""},
  {"stamp whose signingTime is in month 13", +[] { return stampWith([](auto& a) {
     attribute(a, kSigningTimeOid).values = {derUtcTime("241321071205Z")}; }); }, msStampDecode,
   CRYPT_E_ASN1_INTERNAL, "time kept, certificates kept", "the value library's error, passed on"},
  {"stamp of garbage", +[] { return fromHex("0401AA"); }, msStampDecode, CRYPT_E_ASN1_BADTAG,
   "time kept, certificates kept", ""},
  {"stamp without certificates", +[] { return stampWith([](auto&) {}); }, msStampDecode, S_OK,
   "time replaced, certificates kept", "certificates are replaced only by a message's own"},
};
// clang-format on

TEST(HostileCatalogue, EveryNamedInputEndsAsItsRowSays) {
  for (const Row& row : kRows) {
    SCOPED_TRACE(std::string(row.name) +
                 (row.reason[0] ? std::string(" (") + row.reason + ")" : ""));
    const Outcome outcome = row.entry(row.input(), row.certificate());
    EXPECT_EQ(zttsp_test::hresultText(row.hr), zttsp_test::hresultText(outcome.hr));
    EXPECT_EQ(row.state, outcome.state);
  }
  EXPECT_GE(sizeof kRows / sizeof kRows[0], 30u);
}

}  // namespace
}  // namespace hostile_test
