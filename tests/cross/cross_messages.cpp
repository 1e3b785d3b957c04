#include "tests/cross/cross_messages.h"

#include <string>

#include "authenticode/ms_stamp.h"
#include "outside/ztasn1/octet_string.h"
#include "rfc3161/token.h"
#include "tests/support/test_support.h"
#include "tests/support/vectors.h"

using Zanthorel::CBlob;
using Zanthorel::CDateTime;
using Zanthorel::PKI::TSP::CMSStamp;
using Zanthorel::PKI::TSP::CToken;

namespace cross_test {
CBlob signedToken(const tsa_test::Authority& authority) {
  CToken token = tsa_test::tokenFor(authority, "signed in one build, read in the other");
  const auto signer = tsa_test::rsaSigner(authority);
  token.sign(signer.provider(), signer.keySpec(), signer.certificate(), tsa_test::sha256());
  return token.encode();
}

CBlob signedStamp(const tsa_test::Authority& authority) {
  CMSStamp stamp(Zanthorel::ASN1::toOctetString(zttsp_test::blobOf("the signature to stamp")),
                 CDateTime("20260621071205Z"));
  Zanthorel::CBlobList certificates;
  certificates.push_back(authority.certificate);
  stamp.put_certificates(&certificates);
  const auto signer = tsa_test::rsaSigner(authority);
  stamp.sign(signer.provider(), signer.keySpec(), signer.certificate(), tsa_test::sha256());
  return stamp.encode();
}

std::string readToken(const CBlob& encoded, const CBlob& certificate) {
  CToken token;
  token.decode(encoded);
  return zttsp_test::describe(token) + ", verified " + std::to_string(token.verify(certificate));
}

std::string readStamp(const CBlob& encoded, const CBlob& certificate) {
  CMSStamp stamp;
  stamp.decode(encoded);
  return zttsp_test::describe(stamp) + ", verified " + std::to_string(stamp.verify(certificate));
}

}  // namespace cross_test
