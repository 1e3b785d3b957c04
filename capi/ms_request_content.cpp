#include "capi/ms_request_content.h"

#include <cstring>

#include "capi/call.h"
#include "sdk/win32.h"

namespace Zanthorel {
namespace CApi {

const char* const kAuthenticodeRequestType = "1.3.6.1.4.1.311.3.2.1";

const CBlob& dataContent(const PKI::TSP::CMSRequest& request) {
  const ASN1::CContentInfo& content = request.get_contentInfo();
  const CBlob& octets = content.get_content();
  if (std::strcmp(content.get_contentType(), szOID_RSA_data) != 0)
    fail(ZTTSP_E_BAD_MSG, std::string("the request's content is of type ") +
                              content.get_contentType() + ", not PKCS #7 data");
  // An OCTET STRING, primitive (04) or constructed (24).
  if (octets.empty() || (octets.pbData()[0] != 0x04 && octets.pbData()[0] != 0x24))
    fail(ZTTSP_E_BAD_MSG, "the request's content is no OCTET STRING");
  return octets;
}

}  // namespace CApi
}  // namespace Zanthorel
