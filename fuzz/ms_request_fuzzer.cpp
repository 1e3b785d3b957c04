// CMSRequest::decode on anything; what decodes must encode, and read back to the same fields.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "authenticode/ms_request.h"

using Zanthorel::CBlob;
using Zanthorel::PKI::TSP::CMSRequest;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  CMSRequest request;
  try {
    request.decode(CBlob(data, static_cast<std::uint32_t>(size)));
  } catch (const ATL::CAtlException& e) {
    if (e.m_hr != CRYPT_E_ASN1_INTERNAL) std::abort();
    return 0;
  }
  CMSRequest again;
  try {
    again.decode(request.encode());
  } catch (const ATL::CAtlException&) {
    std::abort();  // a request we read is a request we can write
  }
  if (std::strcmp(again.get_timeStampAlgorithm(), request.get_timeStampAlgorithm()) != 0 ||
      !(again.get_contentInfo() == request.get_contentInfo()))
    std::abort();
  return 0;
}
