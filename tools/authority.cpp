#include "tools/authority.h"

#include <algorithm>
#include <cstring>

#include "authenticode/ms_stamp.h"
#include "outside/asn1rt/ber_reader.h"
#include "tools/hash_algorithms.h"
#include "tools/random_numbers.h"
#include "tools/report_values.h"

namespace Zanthorel {
namespace Tools {

const char* const kAuthenticodeRequestOid = "1.3.6.1.4.1.311.3.2.1";
const char* const kDefaultPolicy = "2.999.1";

namespace {

using ASN1::CPKIStatusInfo;
using PKI::TSP::CMSRequest;
using PKI::TSP::CMSStamp;
using PKI::TSP::CRequest;
using PKI::TSP::CResponse;
using PKI::TSP::CToken;

CResponse rejection(std::uint32_t failInfo, const std::string& text) {
  CPKIStatusInfo status(ASN1::rejection);
  status.put_failInfo(failInfo);
  status.add_statusString(text.c_str());
  CResponse response;
  response.put_status(status);
  return response;
}

bool nullOrAbsent(const CBlob& parameters) {
  ASN1CTXT ctxt;
  BER::BerReader in(parameters.pbData(), parameters.cbData(), &ctxt);
  return parameters.empty() || (in.readNull() && in.finish());
}

// genTime carries milliseconds: finer would claim more than the clock is worth.
CDateTime nowInMilliseconds() {
  const CDateTime now = CDateTime::now();
  return CDateTime(now.get_seconds(), now.get_nanoseconds() / 1000000 * 1000000);
}

// The longest nonce granted: 256 bits are more than enough to make a request unique, and a longer
// one is more likely a mistake or a probe.
constexpr std::uint32_t kMaxNonceBytes = 32;

std::uint32_t magnitudeLength(const ASN1::CBigInteger& integer) {
  const CBlob& octets = integer.get_value();
  return octets.cbData() > 1 && octets.pbData()[0] == 0 ? octets.cbData() - 1 : octets.cbData();
}

// Whether `encoded`, which decoded to `request`, is its DER: what our encoder writes again.
bool isDer(const CRequest& request, const CBlob& encoded) noexcept {
  try {
    return request.encode() == encoded;
  } catch (...) {
    return false;
  }
}

}  // namespace

bool TimeStampAuthority::accepts(const std::string& policy) const {
  return policy == settings_.policy ||
         std::find(settings_.otherPolicies.begin(), settings_.otherPolicies.end(), policy) !=
             settings_.otherPolicies.end();
}

// Why the request cannot be granted, in the order RFC 3161 2.4.2 lists the failures; a null
// result when it can.
std::optional<CResponse> TimeStampAuthority::refusalOf(const CRequest& request) const {
  if (request.get_version() != 1)
    return rejection(
        ASN1::badDataFormat,
        "request version " + std::to_string(request.get_version()) + " is not supported (only 1)");
  const char* oid = request.get_hashAlgorithm().get_algorithm();
  const HashAlgorithm* algorithm = hashAlgorithmOf(oid);
  const auto& digests = settings_.digests;
  if (algorithm == nullptr)
    return rejection(ASN1::badAlg, "hash algorithm " + oidText(oid) + " is not supported (" +
                                       hashAlgorithmNames() + ")");
  if (std::find(digests.begin(), digests.end(), algorithm) == digests.end())
    return rejection(ASN1::badAlg, std::string("hash algorithm ") + algorithm->name +
                                       " is not accepted here (" + hashAlgorithmNames(digests) +
                                       ")");
  if (!nullOrAbsent(request.get_hashAlgorithm().get_parameters()))
    return rejection(ASN1::badAlg,
                     std::string("the ") + algorithm->name + " identifier carries parameters");
  if (request.get_hashedMessage().cbData() != algorithm->length)
    return rejection(ASN1::badDataFormat, std::string("a ") + algorithm->name + " imprint is " +
                                              std::to_string(algorithm->length) + " bytes, not " +
                                              std::to_string(request.get_hashedMessage().cbData()));
  if (request.get_nonce() != nullptr && magnitudeLength(*request.get_nonce()) > kMaxNonceBytes)
    return rejection(ASN1::badRequest, "the nonce is " +
                                           std::to_string(magnitudeLength(*request.get_nonce())) +
                                           " bytes long; nonces of up to " +
                                           std::to_string(kMaxNonceBytes) + " bytes are accepted");
  if (request.get_reqPolicy() != nullptr && !accepts(request.get_reqPolicy())) {
    std::vector<std::string> policies = {settings_.policy};
    policies.insert(policies.end(), settings_.otherPolicies.begin(), settings_.otherPolicies.end());
    return rejection(ASN1::unacceptedPolicy, std::string("policy ") + request.get_reqPolicy() +
                                                 " is not accepted (" + joined(policies) + ")");
  }
  const ASN1::CExtensions* extensions = request.get_extensions();
  if (extensions != nullptr && !extensions->empty())
    return rejection(ASN1::unacceptedExtension, std::string("extension ") +
                                                    extensions->begin()->get_extnID() +
                                                    " is not supported (none is)");
  return std::nullopt;
}

TimeStampAuthority::TimeStampAuthority(SignerIdentity identity, AuthoritySettings settings)
    : identity_(std::move(identity)),
      settings_(std::move(settings)),
      tsaName_(ASN1::CGeneralName::fromDirectoryName(identity_.certificate().subjectName())),
      signatureDigest_(identifierOf(sha256())) {
  if (settings_.ess != EssVersion::v2)
    essAttributes_.push_back(signingCertificateAttribute(identity_.certificate(), false));
  if (settings_.ess != EssVersion::v1)
    essAttributes_.push_back(signingCertificateAttribute(identity_.certificate(), true));
}

CToken TimeStampAuthority::tokenFor(const CRequest& request) const {
  const CDateTime genTime = nowInMilliseconds();
  const char* policy =
      request.get_reqPolicy() != nullptr ? request.get_reqPolicy() : settings_.policy.c_str();
  CToken token(policy, request.get_hashAlgorithm(), request.get_hashedMessage(),
               randomSerialNumber(), genTime, settings_.ordering);
  token.put_nonce(request.get_nonce());
  if (settings_.accuracy) token.put_accuracy(&*settings_.accuracy);
  if (settings_.tsaName) token.put_tsa(&tsaName_);
  // OpenSSL's authority signs the time too; clients take it as a matter of course.
  ASN1::CAttributes signedAttributes = essAttributes_;
  const ASN1::CAttrSigningTime signingTime(CDateTime(genTime.get_seconds(), 0));
  ASN1::CAttribute signingTimeAttribute(signingTime.get_oid());
  signingTimeAttribute.add(signingTime);
  signedAttributes.push_back(signingTimeAttribute);
  token.put_signedAttributes(&signedAttributes);
  if (request.get_certReq()) token.put_certificates(&identity_.certificates());
  const auto turn = identity_.signingTurn();
  token.sign(identity_.provider(), AT_SIGNATURE, identity_.certificate().der(), signatureDigest_);
  return token;
}

CResponse TimeStampAuthority::answer(const CBlob& encoded, AnswerNotes* notes) const {
  CRequest request;
  try {
    request.decode(encoded);
  } catch (const ATL::CAtlException&) {
    return rejection(ASN1::badDataFormat,
                     encoded.empty() ? "the request is empty" : "the request is no TimeStampReq");
  }
  // BER that is not DER is read all the same, as clients of old wrote it; the log says so.
  if (notes != nullptr) notes->notDer = !isDer(request, encoded);
  if (auto refusal = refusalOf(request)) return *refusal;
  try {
    const CToken token = tokenFor(request);
    CResponse response;
    response.put_status(CPKIStatusInfo(ASN1::granted));
    response.put_timeStampToken(&token);
    return response;
  } catch (const ATL::CAtlException& error) {
    return rejection(ASN1::systemFailure, "signing failed (" + hresultText(error.m_hr) + ")");
  } catch (const ToolError& error) {
    return rejection(ASN1::systemFailure, error.what());
  }
}

CBlob TimeStampAuthority::stamp(const CMSRequest& request) const {
  if (std::strcmp(request.get_timeStampAlgorithm(), kAuthenticodeRequestOid) != 0)
    throw RequestRefused(std::string("the request type ") + request.get_timeStampAlgorithm() +
                         " is not " + kAuthenticodeRequestOid);
  const ASN1::CContentInfo& content = request.get_contentInfo();
  // The OCTET STRING holding the signature, in either BER form.
  const CBlob& octets = content.get_content();
  ASN1TAG tag;
  if (std::strcmp(content.get_contentType(), szOID_RSA_data) != 0 ||
      !BER::BerReader::tagOf(octets.pbData(), octets.cbData(), tag) ||
      asn1Primitive(tag) != kTagOctetString)
    throw RequestRefused("the request's content is no PKCS #7 data");
  // The signing time is in whole seconds, as the message carries it.
  CMSStamp stamp(content.get_content(), CDateTime(CDateTime::now().get_seconds(), 0));
  stamp.put_certificates(&identity_.certificates());
  const auto turn = identity_.signingTurn();
  stamp.sign(identity_.provider(), AT_SIGNATURE, identity_.certificate().der(), signatureDigest_);
  return stamp.encode();
}

}  // namespace Tools
}  // namespace Zanthorel
