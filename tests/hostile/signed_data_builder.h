// Signed messages with every part under the test's control, for the hostile catalogue: the
// attributes that OpenSSL and the platform layer always write correctly (contentType,
// messageDigest, their order) are here whatever a row asks, and the signature is made over them
// as written, so that each row tests one rule and not a broken signature.
#pragma once

#include <string>
#include <vector>

#include "outside/ztlib/blob.h"
#include "tests/support/tsa_fixture.h"

namespace hostile_test {

// An attribute as written: its identifier and complete DER values.
struct RawAttribute {
  std::string oid;
  std::vector<Zanthorel::CBlob> values;
};

struct SignedDataRecipe {
  Zanthorel::CBlob content;  // the eContent octets
  bool bareContent =
      false;  // the content element itself under [0] (PKCS #7), not in an OCTET STRING
  std::string contentType = "1.2.840.113549.1.9.16.1.4";
  // What a correct signer writes (contentType, signingTime, messageDigest of the content),
  // changed by this if set; signed in the order they end up in, or DER order if sorted.
  void (*editAttributes)(std::vector<RawAttribute>&) = nullptr;
  bool signedAttributes = true;  // false: the signature is over the content itself
  bool sortAttributes = true;
  const tsa_test::Authority* signer = &tsa_test::pki().rsa;  // whose key signs
  const tsa_test::Authority* named = nullptr;  // whose certificate the signer id names; signer's
  bool bySubjectKeyId = false;                 // signer id: subjectKeyIdentifier
  std::string digestOid = "2.16.840.1.101.3.4.2.1";  // declared; SHA-256 is used regardless
  std::string signatureOid;                          // empty: the signer key's own algorithm
  int signerCount = 1;                               // further signers repeat the first
  std::vector<Zanthorel::CBlob> certificates;
};

// The ContentInfo around the SignedData of `recipe`.
Zanthorel::CBlob buildSignedData(const SignedDataRecipe& recipe);

// DER helpers for the rows.
Zanthorel::CBlob derObjectId(const std::string& oid);
Zanthorel::CBlob sha256(const Zanthorel::CBlob& bytes);

// A TSTInfo with the given genTime text and optional raw accuracy and [0] tsa elements.
Zanthorel::CBlob tstInfo(const std::string& genTime, const Zanthorel::CBlob& accuracy = {},
                         const Zanthorel::CBlob& tsa = {});

}  // namespace hostile_test
