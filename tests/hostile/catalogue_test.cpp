// The catalogue of hostile inputs: one row per named case, with the entry point it goes through,
// the HRESULT it must end with and the state the object is left in. Where a row's answer differs
// from what the usual hostile-input lists suggest, its reason says why.
#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

#include "sdk/win32.h"
#include "tests/hostile/der_pieces.h"
#include "tests/hostile/entry_points.h"
#include "tests/hostile/signed_data_builder.h"
#include "tests/support/test_support.h"
#include "tests/support/vectors.h"

using Zanthorel::CBlob;
using zttsp_test::fromHex;

namespace hostile_test {
namespace {

CBlob vector(const char* name) {
  return zttsp_test::vector(name).bytes();
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

// Signed messages made by the builder, signed by the RSA authority unless `change` says otherwise.
const CBlob& content() {
  static const CBlob info = tstInfo("20240621071205Z");
  return info;
}
CBlob token(void (*change)(SignedDataRecipe&) = nullptr) {
  SignedDataRecipe recipe;
  recipe.content = content();
  if (change != nullptr) change(recipe);
  return buildSignedData(recipe);
}
CBlob tokenWithTstInfo(const CBlob& info) {
  SignedDataRecipe recipe;
  recipe.content = info;
  return buildSignedData(recipe);
}
// A token whose signed attributes were changed by `change`.
CBlob tokenWithAttributes(void (*change)(std::vector<RawAttribute>&)) {
  SignedDataRecipe recipe;
  recipe.content = content();
  recipe.editAttributes = change;
  return buildSignedData(recipe);
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
// Attribute changes used by more than one row.
void noMessageDigest(std::vector<RawAttribute>& a) {
  erase(a, szOID_RSA_messageDigest);
}
void dataContentType(std::vector<RawAttribute>& a) {
  attribute(a, szOID_RSA_contentType).values = {derObjectId(szOID_RSA_data)};
}

// An Authenticode stamp: data content with contentType, signingTime and messageDigest.
CBlob stamp(void (*change)(std::vector<RawAttribute>&) = nullptr) {
  SignedDataRecipe recipe;
  recipe.content = CBlob("stamped signature", 17);
  recipe.contentType = szOID_RSA_data;
  recipe.editAttributes = change;
  return buildSignedData(recipe);
}

CBlob rsaCertificate() {
  return tsa_test::pki().rsa.certificate;
}
CBlob otherCertificate() {
  return tsa_test::pki().other.certificate;
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
  {"request cut at every offset", +[] { return vector("req-dotnet-sha512-policy-nonce-extensions.tsq"); },
   everyPrefix<requestDecode>, CRYPT_E_ASN1_INTERNAL, "default request", "a refused request is a default one"},
  {"length 2^31 claimed in 10 bytes", +[] { return fromHex("30848000000002010100"); }, requestDecode,
   CRYPT_E_ASN1_INTERNAL, "default request", "nothing is allocated for a claimed length"},
  {"indefinite lengths with their end-of-contents", +[] {
     return fromHex("3080020101308030800605" "2B0E03021A" "0000" "0400" "0000" "0000"); },
   requestDecode, S_OK, "decoded", "BER: accepted"},
  {"missing end-of-contents", +[] { return fromHex("3080020101300B300706052B0E03021A0400"); },
   requestDecode, CRYPT_E_ASN1_INTERNAL, "default request", ""},
  {"hash parameters nested to the depth cap", +[] { return requestWithParameters(nested(61)); },
   requestDecode, S_OK, "decoded", "64 levels with the request's own three"},
  {"hash parameters one level deeper than the cap", +[] { return requestWithParameters(nested(62)); },
   requestDecode, CRYPT_E_ASN1_INTERNAL, "default request", "100,000 levels: DecodeBounds"},
  {"INTEGER without content", +[] { return fromHex("300F0200300B300706052B0E03021A0400"); },
   requestDecode, CRYPT_E_ASN1_INTERNAL, "default request", ""},
  {"OID arc of 2^64", +[] { return requestWith(sequence({fromHex("060B2B8280808080808080808000")})); },
   requestDecode, CRYPT_E_ASN1_INTERNAL, "default request", "arcs are held to 64 bits"},
  {"100 KB OID", +[] { return requestWith(sequence({primitive(kTagObjectId, join({fromHex("2B"),
     repeated(fromHex("01"), 100000)}))})); }, requestDecode, CRYPT_E_ASN1_INTERNAL, "default request",
   "refused at 512 octets, before any arc is read"},
  {"bytes after the request", +[] { return join({minimalRequest(), fromHex("00")}); }, requestDecode,
   CRYPT_E_ASN1_INTERNAL, "default request", "the codec takes one whole TimeStampReq"},
  {"imprint shorter than its hash algorithm", +[] { return requestWith(sequence({fromHex(
     "0609608648016503040201")}), fromHex("04050102030405")); }, requestDecode, S_OK, "decoded",
   "the request class checks no imprint; a server answers badDataFormat (tools)"},
  {"Authenticode request cut at every offset", +[] { return vector("authenticode-tsreq-signtool.der"); },
   everyPrefix<msRequestDecode>, CRYPT_E_ASN1_INTERNAL, "unchanged", "a refused request changes nothing"},

  // Responses.
  {"response cut at every offset", +[] { return vector("resp-symantec-sha256-nonce-nocerts.tsr"); },
   everyPrefix<responseDecode>, CRYPT_E_ASN1_INTERNAL, "status 2, no token", "a default response"},
  {"empty response", +[] { return CBlob(); }, responseDecode, E_INVALIDARG, "unchanged",
   "refused before anything is released"},
  {"granted without a token", +[] { return fromHex("30053003020100"); }, responseDecode, S_OK,
   "status 0, no token", "status and token are independent"},
  {"rejection with a token", +[] { return sequence({fromHex("3003020102"), token()}); },
   responseDecode, S_OK, "status 2, token", "status and token are independent"},
  {"status string of 1 MB", +[] { return sequence({sequence({fromHex("020102"), sequence({
     primitive(kTagUTF8String, repeated(fromHex("41"), 1 << 20))})})}); }, responseDecode, S_OK,
   "status 2, no token", "kept; memory stays bounded (DecodeBounds)"},
  {"response whose token is of data content", +[] { return sequence({fromHex("3003020100"), stamp()}); },
   responseDecode, CRYPT_E_BAD_MSG, "status 0, token without message",
   "the token keeps the failed decode's state"},

  // CMS structure, through CToken::decode.
  {"token cut at every offset", +[] { return vector("tst-freetsa-sha384-micros-ordering-nocerts.der"); },
   everyPrefix<tokenDecode>, CRYPT_E_ASN1_EOD, "input kept, no message", ""},
  {"certificate set nested 100,000 deep", +[] { return token([](SignedDataRecipe& r) {
     r.certificates = {nested(100000)}; }); }, tokenDecode, CRYPT_E_ASN1_LARGE, "input kept, no message",
   "the platform's cap, as Windows names it"},
  {"signedData without content", +[] { return fromHex("300B06092A864886F70D010702"); }, tokenDecode,
   CRYPT_E_ASN1_EOD, "input kept, no message", ""},
  {"no SignerInfo", +[] { return token([](SignedDataRecipe& r) { r.signerCount = 0; }); }, tokenDecode,
   CRYPT_E_INVALID_INDEX, "input kept, no message", ""},
  {"content of another type", +[] { return stamp(); }, tokenDecode, CRYPT_E_BAD_MSG,
   "input kept, no message", ""},
  {"genTime in month 13", +[] { return tokenWithTstInfo(tstInfo("20241321071205Z")); }, tokenDecode,
   S_OK, "decoded, genTime '20241321071205Z' kept unparsed", ""},
  {"accuracy millis 1000", +[] { return tokenWithTstInfo(tstInfo("20240621071205Z",
     fromHex("30048002 03E8"))); }, tokenDecode, S_OK, "decoded, accuracy 0/1000/0",
   "kept as sent, as the codec promises"},
  {"tsa as EDIPartyName", +[] { return tokenWithTstInfo(tstInfo("20240621071205Z", {},
     fromHex("A009A507A1050C03454449"))); }, tokenDecode, S_OK, "decoded, tsa", ""},

  // Signatures, through CToken::verify after a successful decode.
  {"well-formed token", +[] { return token(); }, tokenVerify, S_OK, "verifies", "the baseline of the rows below"},
  {"signed attributes in non-DER order", +[] { return token([](SignedDataRecipe& r) {
     r.sortAttributes = false; }); }, tokenVerify, S_OK, "verifies", "the signature covers the bytes as received"},
  {"no signed attributes", +[] { return token([](SignedDataRecipe& r) { r.signedAttributes = false; }); },
   tokenVerify, S_OK, "verifies", "the signature is over the content itself"},
  {"verify after a failed decode", +[] { return fromHex("3000"); }, tokenVerifyAfterFailedDecode, E_FAIL,
   "input kept, no message", ""},
  {"verify with bytes that are no certificate", +[] { return token(); }, tokenVerify, CRYPT_E_ASN1_CORRUPT,
   "no answer", "the platform's reason, as an error", notACertificate},
  {"certificate nested 100,000 deep", +[] { return token(); }, tokenVerify, CRYPT_E_ASN1_LARGE, "no answer", "",
   +[] { return nested(100000); }},
  {"two signers", +[] { return token([](SignedDataRecipe& r) { r.signerCount = 2; }); }, tokenVerify, S_OK,
   "does not verify", "only a single signer is verified"},
  {"signer by subjectKeyIdentifier", +[] { return token([](SignedDataRecipe& r) { r.bySubjectKeyId = true; }); },
   tokenVerify, S_OK, "does not verify",
   "the certificate is matched by issuer and serial number only: CRYPT_E_SIGNER_NOT_FOUND below"},
  {"signer id naming B, signed with A's key", +[] { return token([](SignedDataRecipe& r) {
     r.named = &tsa_test::pki().other; }); }, tokenVerify, S_OK, "does not verify", "", otherCertificate},
  {"unknown digest algorithm", +[] { return token([](SignedDataRecipe& r) { r.digestOid = "1.2.3.4.5"; }); },
   tokenVerify, S_OK, "does not verify", ""},
  {"unknown signature algorithm", +[] { return token([](SignedDataRecipe& r) {
     r.signatureOid = "1.2.3.4.5"; }); }, tokenVerify, S_OK, "does not verify", ""},
  {"messageDigest missing", +[] { return tokenWithAttributes(noMessageDigest); }, tokenVerify, S_OK,
   "does not verify", ""},
  {"messageDigest twice", +[] { return tokenWithAttributes([](std::vector<RawAttribute>& a) {
     a.push_back(attribute(a, szOID_RSA_messageDigest)); }); }, tokenVerify, S_OK, "does not verify", ""},
  {"messageDigest with two values", +[] { return tokenWithAttributes([](std::vector<RawAttribute>& a) {
     auto& digest = attribute(a, szOID_RSA_messageDigest); digest.values.push_back(digest.values[0]); }); },
   tokenVerify, S_OK, "does not verify", ""},
  {"messageDigest not an OCTET STRING", +[] { return tokenWithAttributes([](std::vector<RawAttribute>& a) {
     attribute(a, szOID_RSA_messageDigest).values = {primitive(kTagInteger, sha256(content()))}; }); },
   tokenVerify, S_OK, "does not verify", ""},
  {"messageDigest one octet short", +[] { return tokenWithAttributes([](std::vector<RawAttribute>& a) {
     attribute(a, szOID_RSA_messageDigest).values = {primitive(kTagOctetString,
     CBlob(sha256(content()).pbData(), 31))}; }); }, tokenVerify, S_OK, "does not verify", ""},
  {"contentType missing", +[] { return tokenWithAttributes([](std::vector<RawAttribute>& a) {
     erase(a, szOID_RSA_contentType); }); }, tokenVerify, S_OK, "does not verify", ""},
  {"contentType twice", +[] { return tokenWithAttributes([](std::vector<RawAttribute>& a) {
     a.push_back(attribute(a, szOID_RSA_contentType)); }); }, tokenVerify, S_OK, "does not verify", ""},
  {"contentType other than the eContentType", +[] { return tokenWithAttributes(dataContentType); },
   tokenVerify, S_OK, "does not verify", "a data signature passed off as a time stamp"},

  // The same through the platform layer, with the codes Windows gives.
  {"platform: signer by subjectKeyIdentifier", +[] { return token([](SignedDataRecipe& r) {
     r.bySubjectKeyId = true; }); }, platformVerify, CRYPT_E_SIGNER_NOT_FOUND, "does not verify", "a clear error"},
  {"platform: signed with another key", +[] { return token([](SignedDataRecipe& r) {
     r.named = &tsa_test::pki().other; }); }, platformVerify, NTE_BAD_SIGNATURE, "does not verify", "",
   otherCertificate},
  {"platform: unknown digest algorithm", +[] { return token([](SignedDataRecipe& r) {
     r.digestOid = "1.2.3.4.5"; }); }, platformVerify, CRYPT_E_UNKNOWN_ALGO, "does not verify", ""},
  {"platform: messageDigest missing", +[] { return tokenWithAttributes(noMessageDigest); }, platformVerify,
   CRYPT_E_AUTH_ATTR_MISSING, "does not verify", ""},
  {"platform: contentType other than the eContentType", +[] { return tokenWithAttributes(dataContentType); },
   platformVerify, CRYPT_E_UNEXPECTED_ENCODING, "does not verify", ""},
  {"platform: update after the final one", +[] { return token(); }, platformUpdateAfterFinal,
   CRYPT_E_MSG_ERROR, "closes cleanly", ""},
  {"platform: garbage, then control", +[] { return fromHex("0401AA"); }, platformVerify,
   CRYPT_E_ASN1_BADTAG, "control refused, closes cleanly", "a failed decode leaves a handle to close"},
  {"platform: nothing", +[] { return CBlob(); }, platformVerify, CRYPT_E_ASN1_EOD,
   "control refused, closes cleanly", ""},
  {"platform: an identifier octet alone", +[] { return fromHex("30"); }, platformVerify,
   CRYPT_E_ASN1_CORRUPT, "control refused, closes cleanly", ""},
  {"platform: message cut after 40 octets", +[] { return CBlob(token().pbData(), 40); },
   platformVerify, CRYPT_E_ASN1_EOD, "control refused, closes cleanly", ""},
  {"platform: signedData with empty content", +[] { return fromHex("300D06092A864886F70D010702A000"); },
   platformVerify, CRYPT_E_ASN1_CORRUPT, "control refused, closes cleanly", ""},
  {"platform: a data message", +[] { return fromHex("300F06092A864886F70D010701A0020400"); },
   platformVerify, CRYPT_E_INVALID_MSG_TYPE, "control refused, closes cleanly", "only SignedData is read"},
  {"platform: certificate of nothing", +[] { return CBlob(); }, platformCertificate, CRYPT_E_ASN1_EOD,
   "no context", ""},
  {"platform: certificate of three octets", +[] { return fromHex("3003010203"); }, platformCertificate,
   CRYPT_E_ASN1_CORRUPT, "no context", ""},
  {"platform: certificate of another tag", +[] { return fromHex("04020000"); }, platformCertificate,
   CRYPT_E_ASN1_BADTAG, "no context", ""},
  {"platform: certificate one octet short", +[] { CBlob cut = rsaCertificate();
     cut.resize_to(cut.cbData() - 1); return cut; }, platformCertificate, CRYPT_E_ASN1_EOD, "no context", ""},
  {"platform: buffer one octet short", +[] { return token(); }, platformShortBuffer, kMoreData,
   "size set to what is needed", ""},
  {"platform: signer index out of range", +[] { return token(); }, platformSignerOutOfRange,
   CRYPT_E_INVALID_INDEX, "closes cleanly", ""},

  // Authenticode stamps.
  {"well-formed stamp", +[] { return stamp(); }, msStampVerify, S_OK, "verifies", ""},
  {"stamp without certificates", +[] { return stamp(); }, msStampDecode, S_OK,
   "time replaced, certificates kept", "certificates are replaced only by a message's own"},
  {"stamp without signingTime", +[] { return stamp([](std::vector<RawAttribute>& a) {
     erase(a, szOID_RSA_signingTime); }); }, msStampDecode, CRYPT_E_BAD_MSG, "time kept, certificates kept", ""},
  {"stamp whose signingTime is in month 13", +[] { return stamp([](std::vector<RawAttribute>& a) {
     attribute(a, szOID_RSA_signingTime).values = {primitive(kTagUTCTime, CBlob("241321071205Z", 13))}; }); },
   msStampDecode, CRYPT_E_ASN1_INTERNAL, "time kept, certificates kept", "the value library's error, passed on"},
  {"stamp cut at every offset", +[] { return vector("authenticode-tsresp-digicert.p7b"); },
   everyPrefix<msStampDecode>, CRYPT_E_ASN1_EOD, "time kept, certificates kept, error kept",
   "verify and get_signerInfo give the decode's error"},
  {"stamp of garbage", +[] { return fromHex("0401AA"); }, msStampDecode, CRYPT_E_ASN1_BADTAG,
   "time kept, certificates kept, error kept", ""},
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
}

}  // namespace
}  // namespace hostile_test
