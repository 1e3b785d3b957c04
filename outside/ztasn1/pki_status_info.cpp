#include "outside/ztasn1/pki_status_info.h"

#include "outside/ztasn1/ztasn1_errors.h"

namespace Zanthorel {
namespace ASN1 {

CPKIStatusInfo::CPKIStatusInfo() = default;

CPKIStatusInfo::CPKIStatusInfo(PKIStatusEnum status) : status_(status) {}

const CStringList* CPKIStatusInfo::get_statusString() const noexcept {
  return statusString_.empty() ? nullptr : &statusString_;
}

void CPKIStatusInfo::add_statusString(const char* text) {
  statusString_.push_back(text != nullptr ? text : "");
}

void CPKIStatusInfo::put_failInfo(std::uint32_t bits) noexcept {
  hasFailInfo_ = true;
  failInfo_ = bits;
}

void CPKIStatusInfo::clear_failInfo() noexcept {
  hasFailInfo_ = false;
  failInfo_ = 0;
}

void ASN1T_PKIStatusInfo_traits::set(ASN1CTXT* ctxt, ASN1T_PKIStatusInfo& target,
                                     const CPKIStatusInfo& source) {
  target = ASN1T_PKIStatusInfo{};
  target.status = source.get_status();
  if (const CStringList* lines = source.get_statusString()) {
    target.m.statusStringPresent = 1;
    for (const std::string& line : *lines) {
      auto* item = rtSeqOfAppendNew<const char*>(ctxt, target.statusString);
      if (item == nullptr) ATL::AtlThrow(CRYPT_E_ASN1_MEMORY);
      *item = copyTextToContext(ctxt, line);
    }
  }
  if (source.has_failInfo()) {
    target.m.failInfoPresent = 1;
    auto* bits = static_cast<OSOCTET*>(allocOrThrow(ctxt, 4));
    for (unsigned bit = 0; bit < 32; ++bit) {
      if (bit % 8 == 0) bits[bit / 8] = 0;
      if (source.get_failInfo() & (1u << bit))
        bits[bit / 8] |= static_cast<OSOCTET>(0x80 >> (bit % 8));
    }
    target.failInfo.data = bits;
    target.failInfo.numbits = 32;  // the encoder drops the trailing zero bits
  }
}

void ASN1T_PKIStatusInfo_traits::get(const ASN1T_PKIStatusInfo& source, CPKIStatusInfo& target) {
  CPKIStatusInfo result;
  result.put_status(source.status);
  if (source.m.statusStringPresent) {
    for (const char** line : rtSeqOfItems<const char*>(source.statusString)) {
      result.add_statusString(*line);
    }
  }
  if (source.m.failInfoPresent) {
    std::uint32_t mask = 0;
    for (OSUINT32 bit = 0; bit < source.failInfo.numbits && bit < 32; ++bit) {
      if (source.failInfo.data[bit / 8] & (0x80 >> (bit % 8))) mask |= 1u << bit;
    }
    result.put_failInfo(mask);
  }
  target = result;
}

}  // namespace ASN1
}  // namespace Zanthorel
