// A time stamp for one digest from the first of several authorities that gives a good one: the
// request (random nonce, certReq), the POST, retries with backoff while an authority is down or
// slow, and every check of the answer before it counts.
#pragma once

#include <string>
#include <vector>

#include "outside/ztlib/blob.h"
#include "tools/hash_algorithms.h"
#include "tools/http_client.h"
#include "tools/trust_store.h"

namespace Zanthorel {
namespace Tools {

struct TimeStampClientSettings {
  std::vector<std::string> authorities;  // URLs, tried in this order
  std::string policy;                    // asked for and required when not empty
  TrustStore trust;
  std::vector<CBlob> untrusted;  // more certificates for the signer's chain
  unsigned retries = 2;          // more tries of an authority after a failure that may pass
  long backoffMs = 1000;         // before the first of them; doubled for each next one
};

// Why an authority gave no time stamp.
struct AuthorityFailure {
  std::string authority;
  std::string why;
  unsigned tries = 1;
};

struct TimeStampResult {
  bool stamped = false;
  CBlob response;         // the TimeStampResp as received, when stamped
  std::string authority;  // that gave it
  std::string genTime, serialNumber;
  std::vector<AuthorityFailure> failures;  // of the authorities tried before, in order
};

// Never throws for what an authority answers; every failure is in the result.
TimeStampResult requestTimeStamp(HttpClient& http, const TimeStampClientSettings& settings,
                                 const HashAlgorithm& hash, const CBlob& digest);

}  // namespace Tools
}  // namespace Zanthorel
