// What an Authenticode time-stamp request asks to have stamped.
#pragma once

#include "authenticode/ms_request.h"
#include "outside/ztlib/blob.h"

namespace Zanthorel {
namespace CApi {

// The type of a time-stamp request (timeStampAlgorithm), 1.3.6.1.4.1.311.3.2.1.
extern const char* const kAuthenticodeRequestType;

// The request's content, a PKCS #7 data OCTET STRING as encoded (either BER form);
// ZTTSP_E_BAD_MSG for content of another type or form.
const CBlob& dataContent(const PKI::TSP::CMSRequest& request);

}  // namespace CApi
}  // namespace Zanthorel
