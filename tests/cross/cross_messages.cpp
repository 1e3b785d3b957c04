#include "tests/cross/cross_messages.h"

#include <sstream>

#include "authenticode/ms_stamp.h"
#include "outside/ztasn1/octet_string.h"
#include "rfc3161/token.h"
#include "tests/support/test_support.h"

using Zanthorel::CBlob;
using Zanthorel::CDateTime;
using Zanthorel::PKI::TSP::CMSStamp;
using Zanthorel::PKI::TSP::CToken;

namespace cross_test {
namespace {

std::size_t certificateCount(const Zanthorel::CBlobList* certificates) {
  return certificates != nullptr ? certificates->size() : 0;
}

}  // namespace

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
  std::ostringstream text;
  text << "policy " << token.get_policy() << ", imprint "
       << zttsp_test::toHex(token.get_hashedMessage()) << ", serial "
       << token.get_serialNumber().toString().c_str() << ", time " << token.get_genTimeZ()
       << ", nonce " << (token.get_nonce() ? token.get_nonce()->toString().c_str() : "none")
       << ", certificates " << certificateCount(token.get_certificates()) << ", verified "
       << token.verify(certificate);
  return text.str();
}

std::string readStamp(const CBlob& encoded, const CBlob& certificate) {
  CMSStamp stamp;
  stamp.decode(encoded);
  std::ostringstream text;
  text << "content " << zttsp_test::toHex(stamp.get_content()) << ", signing time "
       << stamp.get_signingTime().getGeneralizedTime().c_str() << ", certificates "
       << certificateCount(stamp.get_certificates()) << ", verified " << stamp.verify(certificate);
  return text.str();
}

}  // namespace cross_test
