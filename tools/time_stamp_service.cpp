#include "tools/time_stamp_service.h"

#include <cctype>

#include "outside/asn1rt/ber_reader.h"
#include "tools/files.h"
#include "tools/report_values.h"

namespace Zanthorel {
namespace Tools {
namespace {

const char kQuery[] = "application/timestamp-query";
const char kOldQuery[] = "application/timestamp-request";
const char kReply[] = "application/timestamp-reply";
const char kOldReply[] = "application/timestamp-response";
const char kOctetStream[] = "application/octet-stream";
const char kText[] = "text/plain; charset=utf-8";

const char kHowTo[] =
    "send RFC 3161 requests as application/timestamp-query and Authenticode requests as "
    "application/octet-stream";

HttpResponse text(unsigned status, const std::string& line) {
  return {status, kText, line + "\n", {}, {}};
}

CBlob blobOf(const std::string& bytes) {
  return CBlob(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
}

bool isTimeStampReq(const std::string& body) {
  if (body.empty()) return false;
  try {
    PKI::TSP::CRequest request;
    request.decode(blobOf(body));
    return true;
  } catch (const ATL::CAtlException&) {
    return false;
  }
}

// For a body under a media type that is neither: which of the two it looks like.
std::string guessedEndpoint(const std::string& body) {
  PKI::TSP::CMSRequest authenticodeRequest;
  if (isTimeStampReq(body))
    return "the body is an RFC 3161 request: send it as application/timestamp-query";
  if (authenticodeRequestIn(body, authenticodeRequest))
    return "the body is an Authenticode time-stamp request: send it as application/octet-stream";
  return kHowTo;
}

}  // namespace

std::string mediaType(const std::string& header) {
  std::string type;
  for (const char c : header.substr(0, header.find(';')))
    if (!std::isspace(static_cast<unsigned char>(c)))
      type.push_back(static_cast<char>(std::tolower(static_cast<unsigned char>(c))));
  return type;
}

std::string replyTypeFor(const std::string& contentType, const std::string& accept) {
  bool response = mediaType(contentType) == kOldReply;
  std::size_t begin = 0;
  while (begin <= accept.size()) {
    const std::size_t end = std::min(accept.find(',', begin), accept.size());
    const std::string type = mediaType(accept.substr(begin, end - begin));
    if (type == kReply) return kReply;
    response = response || type == kOldReply;
    begin = end + 1;
  }
  return response ? kOldReply : kReply;
}

bool authenticodeRequestIn(const std::string& body, PKI::TSP::CMSRequest& request) {
  CBlob der;
  ASN1TAG tag;
  if (BER::BerReader::tagOf(reinterpret_cast<const OSOCTET*>(body.data()), body.size(), tag) &&
      tag == kTagSequence)
    der = blobOf(body);
  else if (!fromBase64(body.data(), body.size(), der))
    return false;
  try {
    request.decode(der);
    return true;
  } catch (const ATL::CAtlException&) {
    return false;
  }
}

HttpResponse TimeStampService::handle(const HttpRequest& request) const {
  if (request.path != "/") return text(404, "not found: zttsp serves time stamps at /");
  if (request.method != "POST") {
    HttpResponse refused = text(405, std::string("zttsp time-stamp server: ") + kHowTo + " to /");
    refused.headers.emplace_back("Allow", "POST");
    return refused;
  }
  const std::string type = mediaType(request.contentType);
  // Held to the end of the request: a reload meanwhile does not take it away.
  const std::shared_ptr<const TimeStampAuthority> authority = authority_.get();
  if (type == kQuery || type == kOldQuery || type == kOldReply) return rfc3161(request, *authority);
  if (type == kOctetStream) return authenticode(request, *authority);
  return text(415, "unsupported media type " +
                       (type.empty() ? std::string("(none)") : request.contentType) + ": " +
                       guessedEndpoint(request.body));
}

HttpResponse TimeStampService::rfc3161(const HttpRequest& request,
                                       const TimeStampAuthority& authority) const {
  try {
    AnswerNotes notes;
    const PKI::TSP::CResponse response = authority.answer(blobOf(request.body), &notes);
    const CBlob der = response.encode();
    return {200,
            replyTypeFor(request.contentType, request.accept),
            std::string(reinterpret_cast<const char*>(der.pbData()), der.cbData()),
            {},
            notes.notDer ? "request in BER, not DER" : ""};
  } catch (const ATL::CAtlException& error) {
    return text(500, "cannot encode the response (" + hresultText(error.m_hr) + ")");
  }
}

HttpResponse TimeStampService::authenticode(const HttpRequest& request,
                                            const TimeStampAuthority& authority) const {
  PKI::TSP::CMSRequest stampRequest;
  if (!authenticodeRequestIn(request.body, stampRequest)) {
    if (isTimeStampReq(request.body))
      return text(400, "the body is an RFC 3161 request: send it as application/timestamp-query");
    return text(400, request.body.empty()
                         ? "empty body: expected the base64 of an Authenticode time-stamp request"
                         : "the body is no base64 or DER Authenticode time-stamp request");
  }
  try {
    // osslsigncode's OpenSSL 3 client insists on this exact type, without parameters.
    return {200, kOctetStream, toBase64(authority.stamp(stampRequest)), {}, {}};
  } catch (const RequestRefused& refused) {
    return text(400, refused.what());
  } catch (const ATL::CAtlException& error) {
    return text(500, "signing failed (" + hresultText(error.m_hr) + ")");
  }
}

}  // namespace Tools
}  // namespace Zanthorel
