// Everything that makes a time stamp trustworthy, checked one by one so that every failure can be
// named: the response status, the imprint (and the request's nonce and policy), the signature, the
// ESS signing-certificate attributes and the signer's chain for time stamping.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "outside/ztlib/blob.h"
#include "rfc3161/request.h"
#include "tools/trust_store.h"

namespace Zanthorel {
namespace Tools {

struct VerificationInput {
  CBlob message;  // DER TimeStampResp, or TimeStampToken when tokenIn
  bool tokenIn = false;
  // What the token must stamp: exactly one of the three.
  std::string dataPath;
  std::optional<CBlob> digest;
  std::optional<PKI::TSP::CRequest> query;
  // Where the signer's chain must end; none means the system's store.
  std::optional<TrustStore> trust;
  std::vector<CBlob> untrusted;
  bool atNow = false;  // check the chain now rather than at genTime
};

struct VerificationOutcome {
  // How far the message was read: not at all, to a status other than granted, or to a token.
  enum class Reading { unreadable, notGranted, token };
  Reading reading = Reading::unreadable;
  std::string summary;  // what the token says, once it is read
  std::string genTime, serialNumber;
  std::vector<std::string> failures;  // "check: why", in the order checked
};

// Throws ToolError only when the data file cannot be read.
VerificationOutcome verifyTimeStamp(const VerificationInput& input);

}  // namespace Tools
}  // namespace Zanthorel
