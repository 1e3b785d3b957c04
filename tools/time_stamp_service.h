// The HTTP face of the authority: one URL (POST /) for both protocols, chosen by Content-Type.
//
//   application/timestamp-query (or -request,  RFC 3161: DER TimeStampReq in, DER TimeStampResp
//   or the -response spelling of RFC 3161      out as application/timestamp-reply, or
//   3.4)                                       application/timestamp-response for clients that
//                                              spell it so
//   application/octet-stream                   Authenticode: base64 (or DER) request in, base64
//                                              of the PKCS #7 stamp out
//
// RFC 3161 refusals are TimeStampResp rejections; everything else wrong gets a 4xx with a line of
// text saying what the client seems to want.
#pragma once

#include <string>

#include "tools/current_authority.h"
#include "tools/http_server.h"

namespace Zanthorel {
namespace Tools {

// The media type of a Content-Type or Accept entry: lower case, parameters and spaces dropped.
std::string mediaType(const std::string& header);
// The type of an RFC 3161 answer: application/timestamp-reply, unless the client spells it
// application/timestamp-response (in its Accept header or as its request's own type) and does not
// name the first.
std::string replyTypeFor(const std::string& contentType, const std::string& accept);
// The request in a legacy body: raw DER, or base64 with or without line breaks. False when the
// body is neither or holds no Authenticode request.
bool authenticodeRequestIn(const std::string& body, PKI::TSP::CMSRequest& request);

class TimeStampService {
 public:
  explicit TimeStampService(const CurrentAuthority& authority) : authority_(authority) {}

  // Safe to call from many threads at once; never throws.
  HttpResponse handle(const HttpRequest& request) const;

 private:
  HttpResponse rfc3161(const HttpRequest& request, const TimeStampAuthority& authority) const;
  HttpResponse authenticode(const HttpRequest& request, const TimeStampAuthority& authority) const;

  const CurrentAuthority& authority_;
};

}  // namespace Tools
}  // namespace Zanthorel
