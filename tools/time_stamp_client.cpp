#include "tools/time_stamp_client.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <thread>

#include "rfc3161/request.h"
#include "sdk/atl_exception.h"
#include "tools/random_numbers.h"
#include "tools/report_values.h"
#include "tools/token_verification.h"
#include "tools/tool_error.h"

namespace Zanthorel {
namespace Tools {
namespace {

const std::vector<std::string> kHeaders = {
    "Content-Type: application/timestamp-query",
    // Both names of the reply are in use; any answer is read for what it holds.
    "Accept: application/timestamp-reply, application/timestamp-response"};

constexpr long kLongestBackoffMs = 60000;
// Of what an authority says (status texts, headers): enough to tell why, not a flood.
constexpr std::size_t kLongestReason = 400;

struct Judgement {
  enum { good, tryAgain, giveUp } verdict;
  std::string why;
};

// What an authority said, fit for one line of a terminal: no control characters (a status text
// may hold line breaks or escape sequences), no more than kLongestReason characters.
std::string oneLine(const std::string& text) {
  std::string line;
  for (const char c : text.substr(0, kLongestReason))
    line += std::iscntrl(static_cast<unsigned char>(c)) ? ' ' : c;
  return text.size() > kLongestReason ? line + "..." : line;
}

// An unreadable answer in a few words: its type, size and start, printable or in hex.
std::string describeBody(const HttpAnswer& answer) {
  const CBlob& body = answer.body;
  std::string text = (answer.contentType.empty() ? "no Content-Type" : answer.contentType) + ", " +
                     std::to_string(body.cbData()) + " bytes";
  if (body.empty()) return text;
  const std::size_t shown = std::min<std::size_t>(body.cbData(), 48);
  const auto* bytes = body.pbData();
  const bool printable = std::all_of(bytes, bytes + shown, [](unsigned char c) {
    return std::isprint(c) || std::isspace(c) || c >= 0x80;
  });
  if (!printable) return text + " starting " + hexText(CBlob(bytes, 16 < shown ? 16 : shown));
  std::string start;
  for (std::size_t i = 0; i < shown; ++i)
    start += std::isspace(bytes[i]) ? ' ' : bytes[i] >= 0x80 ? '?' : static_cast<char>(bytes[i]);
  return text + ": \"" + start + (shown < body.cbData() ? "...\"" : "\"");
}

Judgement judgeHttp(const HttpAnswer& answer) {
  if (!answer.failure.empty())
    return {answer.worthRetrying ? Judgement::tryAgain : Judgement::giveUp, answer.failure};
  const std::string status = "HTTP " + std::to_string(answer.status);
  if (answer.status >= 300 && answer.status < 400)
    return {Judgement::giveUp,
            status + ", a redirect to " +
                (answer.location.empty() ? std::string("nowhere") : answer.location) +
                ", which is not followed: give the authority's own URL"};
  if (answer.status >= 500 || answer.status == 429 || answer.status == 408)
    return {Judgement::tryAgain, status};
  if (answer.status < 200 || answer.status >= 300)
    return {Judgement::giveUp, status + " (" + describeBody(answer) + ")"};
  return {Judgement::good, ""};
}

Judgement judgeResponse(const HttpAnswer& answer, const PKI::TSP::CRequest& request,
                        const TimeStampClientSettings& settings, TimeStampResult& result) {
  VerificationInput input;
  input.message = answer.body;
  input.query = request;
  input.trust = settings.trust;
  input.untrusted = settings.untrusted;
  const VerificationOutcome outcome = verifyTimeStamp(input);
  if (outcome.failures.empty()) {
    result.genTime = outcome.genTime;
    result.serialNumber = outcome.serialNumber;
    return {Judgement::good, ""};
  }
  switch (outcome.reading) {
    case VerificationOutcome::Reading::unreadable:
      return {Judgement::giveUp, "the answer is no TimeStampResp (" + describeBody(answer) + ")"};
    case VerificationOutcome::Reading::notGranted:
      return {Judgement::giveUp,
              "not granted: " + outcome.failures.front().substr(std::string("status: ").size())};
    case VerificationOutcome::Reading::token:
      break;
  }
  return {Judgement::giveUp, "the time stamp fails the checks: " + joined(outcome.failures, "; ")};
}

// One authority, tried again after failures that may pass, waiting longer each time.
Judgement ask(HttpClient& http, const std::string& authority, const CBlob& query,
              const PKI::TSP::CRequest& request, const TimeStampClientSettings& settings,
              TimeStampResult& result, unsigned& tries) {
  long backoffMs = settings.backoffMs;
  for (tries = 1;; ++tries) {
    const HttpAnswer answer = http.post(authority, query, kHeaders);
    Judgement judgement = judgeHttp(answer);
    if (judgement.verdict == Judgement::good) {
      judgement = judgeResponse(answer, request, settings, result);
      if (judgement.verdict == Judgement::good) result.response = answer.body;
    }
    if (judgement.verdict != Judgement::tryAgain || tries > settings.retries) return judgement;
    std::this_thread::sleep_for(std::chrono::milliseconds(backoffMs));
    backoffMs = std::min(2 * backoffMs, kLongestBackoffMs);
  }
}

}  // namespace

TimeStampResult requestTimeStamp(HttpClient& http, const TimeStampClientSettings& settings,
                                 const HashAlgorithm& hash, const CBlob& digest) {
  PKI::TSP::CRequest request(identifierOf(hash), digest, /*certReq=*/true);
  if (!settings.policy.empty()) request.put_reqPolicy(settings.policy.c_str());
  const ASN1::CBigInteger nonce = randomNonce();
  request.put_nonce(&nonce);
  const CBlob query = request.encode();

  TimeStampResult result;
  for (const std::string& authority : settings.authorities) {
    unsigned tries = 0;
    Judgement judgement;
    try {
      judgement = ask(http, authority, query, request, settings, result, tries);
    } catch (const ToolError& error) {
      judgement = {Judgement::giveUp, error.what()};
    } catch (const ATL::CAtlException& error) {
      judgement = {Judgement::giveUp, "the library failed with HRESULT " + hresultText(error.m_hr)};
    }
    if (judgement.verdict == Judgement::good) {
      result.stamped = true;
      result.authority = authority;
      return result;
    }
    result.failures.push_back({authority, oneLine(judgement.why), tries});
  }
  return result;
}

}  // namespace Tools
}  // namespace Zanthorel
