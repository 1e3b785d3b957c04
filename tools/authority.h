// The time-stamp authority: answers RFC 3161 requests with signed tokens or reasoned rejections,
// and Authenticode requests with signed stamps. One authority serves many threads at once.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "authenticode/ms_request.h"
#include "outside/ztasn1/general_name.h"
#include "rfc3161/request.h"
#include "rfc3161/response.h"
#include "tools/ess.h"
#include "tools/hash_algorithms.h"
#include "tools/signer_identity.h"
#include "tools/tool_error.h"

namespace Zanthorel {
namespace Tools {

// The type of an Authenticode time-stamp request (Windows' SPC_TIME_STAMP_REQUEST_OBJID).
extern const char* const kAuthenticodeRequestOid;

// The example arc of X.660: a placeholder until -policy names the authority's own policy.
extern const char* const kDefaultPolicy;

struct AuthoritySettings {
  std::string policy = kDefaultPolicy;     // given to requests that ask for none
  std::vector<std::string> otherPolicies;  // also granted to requests that ask for one
  std::vector<const HashAlgorithm*> digests = allHashAlgorithms();  // the imprints accepted
  std::optional<PKI::TSP::CAccuracy> accuracy;
  bool ordering = false;
  bool tsaName = false;  // name the authority (its certificate's subject) in every token
  EssVersion ess = EssVersion::v2;
};

// What the log may want to know of an answer beyond the answer itself.
struct AnswerNotes {
  bool notDer = false;  // the request was BER, not DER: answered all the same
};

// An Authenticode request that cannot be stamped; the message says why.
struct RequestRefused : ToolError {
  using ToolError::ToolError;
};

class TimeStampAuthority {
 public:
  TimeStampAuthority(SignerIdentity identity, AuthoritySettings settings);

  const SignerIdentity& identity() const noexcept { return identity_; }
  const AuthoritySettings& settings() const noexcept { return settings_; }

  // A granted response with a new token, or a rejection whose failInfo and statusString say what
  // is wrong with the request (RFC 3161 2.4.2). Never throws for what a client sends. `notes`,
  // when given, learns what the log may want to know.
  PKI::TSP::CResponse answer(const CBlob& request, AnswerNotes* notes = nullptr) const;
  // The DER PKCS #7 stamp of the request's content, signed now. Throws RequestRefused for a
  // request that is no Authenticode time-stamp request of data.
  CBlob stamp(const PKI::TSP::CMSRequest& request) const;

 private:
  PKI::TSP::CToken tokenFor(const PKI::TSP::CRequest& request) const;
  std::optional<PKI::TSP::CResponse> refusalOf(const PKI::TSP::CRequest& request) const;
  bool accepts(const std::string& policy) const;

  SignerIdentity identity_;
  AuthoritySettings settings_;
  ASN1::CAttributes essAttributes_;  // the same for every token
  ASN1::CGeneralName tsaName_;
  ASN1::CAlgorithmIdentifierEx signatureDigest_;
};

}  // namespace Tools
}  // namespace Zanthorel
