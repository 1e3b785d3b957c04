// The Authenticode time stamp through the C interface.
#include "capi/algorithms.h"
#include "capi/certificates.h"
#include "capi/message_calls.h"
#include "capi/ms_request_content.h"
#include "capi/objects.h"
#include "outside/ztasn1/octet_string.h"

using namespace Zanthorel::CApi;
using Zanthorel::CBlob;
using Zanthorel::CBlobList;
using Zanthorel::CDateTime;

zttsp_result zttsp_ms_stamp_new(const zttsp_ms_request* request, int64_t seconds,
                                zttsp_ms_stamp** stamp) {
  return runCall(__func__, [&] {
    outArgument(stamp, "stamp");
    const Use<zttsp_ms_request> answered(request);
    publish(stamp, dataContent(*answered), timeArgument(seconds, 0));
  });
}

zttsp_result zttsp_ms_stamp_add_certificate(zttsp_ms_stamp* stamp, const uint8_t* certificate,
                                            size_t length) {
  return runCall(__func__, [&] {
    const Use<zttsp_ms_stamp> object(stamp);
    const CBlobList certificates =
        withCertificate(object->get_certificates(),
                        bytesArgument(certificate, length, "certificate"), "certificate");
    object->put_certificates(&certificates);
  });
}

zttsp_result zttsp_ms_stamp_sign(zttsp_ms_stamp* stamp, const zttsp_provider* provider,
                                 const uint8_t* certificate, size_t length,
                                 const char* digest_algorithm) {
  return runCall(__func__, [&] {
    const Use<zttsp_ms_stamp> object(stamp);
    const Use<zttsp_provider> key(provider);
    const CBlob signer = bytesArgument(certificate, length, "certificate");
    object->sign(key->handle(), key->keySpec(), signer, digestIdentifier(digest_algorithm));
  });
}

zttsp_result zttsp_ms_stamp_encode(const zttsp_ms_stamp* stamp, uint8_t** der, size_t* length) {
  return encodeCall(__func__, stamp, der, length);
}

zttsp_result zttsp_ms_stamp_decode(const uint8_t* der, size_t length, zttsp_ms_stamp** stamp) {
  return decodeCall(__func__, der, length, stamp, "stamp");
}

zttsp_result zttsp_ms_stamp_release(zttsp_ms_stamp* stamp) {
  return releaseHandle(__func__, stamp);
}

zttsp_result zttsp_ms_stamp_verify(const zttsp_ms_stamp* stamp, const uint8_t* certificate,
                                   size_t length) {
  return verifyCall(__func__, stamp, certificate, length,
                    "the stamp's signature does not verify with the certificate");
}

zttsp_result zttsp_ms_stamp_get_signing_time(const zttsp_ms_stamp* stamp, int64_t* seconds,
                                             uint32_t* nanoseconds) {
  return runCall(__func__, [&] {
    int64_t& wholeSeconds = outArgument(seconds, "seconds");
    uint32_t& fraction = outArgument(nanoseconds, "nanoseconds");
    const Use<zttsp_ms_stamp> object(stamp);
    const CDateTime& time = object->get_signingTime();
    wholeSeconds = time.get_seconds();
    fraction = time.get_nanoseconds();
  });
}

zttsp_result zttsp_ms_stamp_get_content(const zttsp_ms_stamp* stamp, uint8_t** content,
                                        size_t* length) {
  return runCall(__func__, [&] {
    BytesResult out(content, length, "content");
    const Use<zttsp_ms_stamp> object(stamp);
    CBlob octets;
    try {
      octets = Zanthorel::ASN1::fromOctetString(object->get_content());
    } catch (const ATL::CAtlException&) {
      fail(ZTTSP_E_BAD_MSG, "the stamp's content is no OCTET STRING");
    }
    out.give(octets);
  });
}

zttsp_result zttsp_ms_stamp_get_certificate_count(const zttsp_ms_stamp* stamp, size_t* count) {
  return certificateCountCall(__func__, stamp, count);
}

zttsp_result zttsp_ms_stamp_get_certificate(const zttsp_ms_stamp* stamp, size_t index,
                                            uint8_t** certificate, size_t* length) {
  return certificateCall(__func__, stamp, index, certificate, length);
}
