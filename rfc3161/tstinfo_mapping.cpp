#include "rfc3161/tstinfo_mapping.h"

#include <memory>
#include <string>

#include "frame/errors.h"
#include "outside/ztasn1/algorithm_conversions.h"
#include "outside/ztasn1/integer_conversions.h"
#include "outside/ztasn1/object_identifier.h"
#include "outside/ztasn1/ztasn1_errors.h"
#include "rfc3161/token_impl.h"

namespace Zanthorel {
namespace PKI {
namespace TSP {

namespace {

ASN1T_Accuracy accuracyOf(const CAccuracy& accuracy) {
  ASN1T_Accuracy result{};
  result.seconds = accuracy.seconds;
  // The codec holds millis and micros in 16 bits; presence follows the whole value.
  result.millis = static_cast<OSUINT16>(accuracy.millis);
  result.micros = static_cast<OSUINT16>(accuracy.micros);
  result.m.secondsPresent = accuracy.seconds != 0;
  result.m.millisPresent = accuracy.millis != 0;
  result.m.microsPresent = accuracy.micros != 0;
  return result;
}

// As received: no carry between the components.
CAccuracy accuracyOf(const ASN1T_Accuracy& accuracy) {
  CAccuracy result;
  if (accuracy.m.secondsPresent) result.seconds = accuracy.seconds;
  if (accuracy.m.millisPresent) result.millis = accuracy.millis;
  if (accuracy.m.microsPresent) result.micros = accuracy.micros;
  return result;
}

}  // namespace

void setTSTInfo(const CTokenImpl& token, ASN1T_TSTInfo& tstInfo, ASN1CTXT* ctxt) {
  tstInfo = ASN1T_TSTInfo{};
  tstInfo.version = ASN1::DWORDToASN1BigInteger(ctxt, token.version);
  ASN1::ASN1TObjId_traits::set(ctxt, tstInfo.policy, token.policy.c_str());
  tstInfo.messageImprint.hashAlgorithm = ASN1::ASN1T_AlgorithmIdentifier_set(
      ctxt, token.hashAlgorithm.get_algorithm(), &token.hashAlgorithm.get_parameters());

  const CBlob& hash = token.hashedMessage;
  tstInfo.messageImprint.hashedMessage = {hash.cbData(),
                                          ASN1::copyToContext(ctxt, hash.pbData(), hash.cbData())};

  tstInfo.serialNumber = ASN1::BigIntegerToASN1String(ctxt, token.serialNumber);

  const std::size_t timeSize = token.genTime.size() + 1;
  auto* time = static_cast<char*>(ASN1::allocOrThrow(ctxt, timeSize));
  CheckCrtError(strcpy_s(time, timeSize, token.genTime.c_str()));
  tstInfo.genTime = time;

  tstInfo.ordering = token.ordering ? TRUE : FALSE;
  if (token.accuracy) {
    tstInfo.m.accuracyPresent = 1;
    tstInfo.accuracy = accuracyOf(*token.accuracy);
  }
  if (token.nonce) {
    tstInfo.m.noncePresent = 1;
    tstInfo.nonce = ASN1::BigIntegerToASN1String(ctxt, *token.nonce);
  }
  if (token.tsa) {
    tstInfo.m.tsaPresent = 1;
    ASN1::ASN1T_GeneralName_traits::set(ctxt, tstInfo.tsa, *token.tsa);
  }
  if (token.extensions && !token.extensions->empty()) {
    tstInfo.m.extensionsPresent = 1;
    ASN1::ASN1T_Extensions_traits::set(ctxt, tstInfo.extensions, *token.extensions);
  }
}

void getTSTInfo(CTokenImpl& token, const ASN1T_TSTInfo& tstInfo) {
  token.version = ASN1::ASN1BigIntegerToDWORD(tstInfo.version);
  std::string policy;
  if (!ASN1::oid2str(policy, &tstInfo.policy)) ThrowHResult(E_INVALIDARG);
  token.policy = std::move(policy);
  ASN1::ASN1T_AlgorithmIdentifier_get(token.hashAlgorithm, tstInfo.messageImprint.hashAlgorithm);
  token.hashedMessage.assign(tstInfo.messageImprint.hashedMessage.data,
                             tstInfo.messageImprint.hashedMessage.numocts);
  token.serialNumber = ASN1::ASN1StringToBigInteger(tstInfo.serialNumber);
  token.genTime = tstInfo.genTime != nullptr ? tstInfo.genTime : "";
  token.ordering = tstInfo.ordering != 0;
  if (tstInfo.m.accuracyPresent) {
    token.accuracy = std::make_unique<CAccuracy>(accuracyOf(tstInfo.accuracy));
  }
  if (tstInfo.m.noncePresent) {
    token.nonce = std::make_unique<ASN1::CBigInteger>(ASN1::ASN1StringToBigInteger(tstInfo.nonce));
  }
  if (tstInfo.m.tsaPresent) {
    auto tsa = std::make_unique<ASN1::CGeneralName>();
    ASN1::ASN1T_GeneralName_traits::get(tstInfo.tsa, *tsa);
    token.tsa = std::move(tsa);
  }
  if (tstInfo.m.extensionsPresent) {
    auto extensions = std::make_unique<ASN1::CExtensions>();
    ASN1::ASN1T_Extensions_traits::get(tstInfo.extensions, *extensions);
    token.extensions = std::move(extensions);
  }
}

}  // namespace TSP
}  // namespace PKI
}  // namespace Zanthorel
