// The Authenticode time-stamp request through the C interface.
#include "capi/message_calls.h"
#include "capi/ms_request_content.h"
#include "capi/objects.h"
#include "outside/ztasn1/octet_string.h"

using namespace Zanthorel::CApi;
using Zanthorel::CBlob;
using Zanthorel::ASN1::CContentInfo;

zttsp_result zttsp_ms_request_new(const uint8_t* signature, size_t length,
                                  zttsp_ms_request** request) {
  return runCall(__func__, [&] {
    outArgument(request, "request");
    const CContentInfo data(szOID_RSA_data, Zanthorel::ASN1::toOctetString(
                                                bytesArgument(signature, length, "signature")));
    publish(request, kAuthenticodeRequestType, data);
  });
}

zttsp_result zttsp_ms_request_decode(const uint8_t* der, size_t length,
                                     zttsp_ms_request** request) {
  return decodeCall(__func__, der, length, request, "request");
}

zttsp_result zttsp_ms_request_encode(const zttsp_ms_request* request, uint8_t** der,
                                     size_t* length) {
  return encodeCall(__func__, request, der, length);
}

zttsp_result zttsp_ms_request_release(zttsp_ms_request* request) {
  return releaseHandle(__func__, request);
}

zttsp_result zttsp_ms_request_get_type(const zttsp_ms_request* request, char** oid) {
  return runCall(__func__, [&] {
    TextResult out(oid, "oid");
    out.give(Use<zttsp_ms_request>(request)->get_timeStampAlgorithm());
  });
}

zttsp_result zttsp_ms_request_get_content(const zttsp_ms_request* request, uint8_t** content,
                                          size_t* length) {
  return runCall(__func__, [&] {
    BytesResult out(content, length, "content");
    out.give(Zanthorel::ASN1::fromOctetString(dataContent(*Use<zttsp_ms_request>(request))));
  });
}
