// CRequest::decode on anything; what decodes must encode and decode to the same fields.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "rfc3161/request.h"

using Zanthorel::CBlob;
using Zanthorel::PKI::TSP::CRequest;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  CRequest request;
  try {
    request.decode(CBlob(data, static_cast<std::uint32_t>(size)));
  } catch (const ATL::CAtlException& e) {
    if (e.m_hr != CRYPT_E_ASN1_INTERNAL && e.m_hr != E_INVALIDARG) std::abort();
    return 0;
  }
  CRequest again;
  try {
    again.decode(request.encode());
  } catch (const ATL::CAtlException&) {
    std::abort();  // a request we read is a request we can write
  }
  if (again.get_hashedMessage() != request.get_hashedMessage() ||
      again.get_certReq() != request.get_certReq() ||
      (again.get_nonce() == nullptr) != (request.get_nonce() == nullptr))
    std::abort();
  return 0;
}
