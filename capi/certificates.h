// Certificates given to and read from tokens and stamps.
#pragma once

#include <cstddef>
#include <cstdint>

#include "capi/arguments.h"
#include "capi/buffers.h"
#include "capi/handles.h"
#include "outside/ztlib/dll_list.h"

namespace Zanthorel {
namespace CApi {

// The subject Name (DER) of `certificate`. The platform's error, with a message, for bytes that
// are no X.509 certificate.
CBlob subjectOf(const CBlob& certificate, const char* name);
// `list` (null: none) and then `certificate`, which must decode.
CBlobList withCertificate(const CBlobList* list, const CBlob& certificate, const char* name);
// The certificate at `index`; ZTTSP_E_BOUNDS past the end.
const CBlob& certificateAt(const CBlobList* list, std::size_t index);

// The bodies of _get_certificate_count and _get_certificate of the kinds that carry
// certificates (get_certificates()).
template <class Handle>
zttsp_result certificateCountCall(const char* function, const Handle* handle,
                                  std::size_t* count) noexcept {
  return runCall(function, [&] {
    std::size_t& result = outArgument(count, "count");
    const Use<Handle> object(handle);
    const CBlobList* certificates = object->get_certificates();
    result = certificates != nullptr ? certificates->size() : 0;
  });
}

template <class Handle>
zttsp_result certificateCall(const char* function, const Handle* handle, std::size_t index,
                             std::uint8_t** certificate, std::size_t* length) noexcept {
  return runCall(function, [&] {
    BytesResult out(certificate, length, "certificate");
    const Use<Handle> object(handle);
    out.give(certificateAt(object->get_certificates(), index));
  });
}

}  // namespace CApi
}  // namespace Zanthorel
