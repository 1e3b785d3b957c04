// CMSStamp::decode on anything, then get_signerInfo and verify with the message's own first
// certificate: every failure must be an HRESULT error, never a crash or a leak.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "authenticode/ms_stamp.h"

using Zanthorel::CBlob;
using Zanthorel::PKI::TSP::CMSStamp;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  CMSStamp stamp;
  try {
    stamp.decode(CBlob(data, static_cast<std::uint32_t>(size)));
  } catch (const ATL::CAtlException& e) {
    if (e.m_hr >= 0) std::abort();  // a failure must carry a failure code
    return 0;
  }
  try {
    stamp.get_signerInfo();
    const Zanthorel::CBlobList* certificates = stamp.get_certificates();
    if (certificates != nullptr && !certificates->empty()) stamp.verify(certificates->front());
  } catch (const ATL::CAtlException& e) {
    if (e.m_hr >= 0) std::abort();
  }
  return 0;
}
