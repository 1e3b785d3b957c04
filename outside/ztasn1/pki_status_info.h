// CPKIStatusInfo: the status of a time-stamp response, with its text and failure bits.
//
//   CPKIStatusInfo refused(rejection);
//   refused.put_failInfo(badAlg);
//   refused.add_statusString("unsupported hash algorithm");
#pragma once

#include <cstdint>
#include <string>

#include "outside/asn1/tsp.h"
#include "outside/ztlib/dll_list.h"
#include "sdk/export.h"

namespace Zanthorel {
namespace ASN1 {

// PKIStatus values (RFC 3161 2.4.2).
enum PKIStatusEnum {
  granted = 0,
  grantedWithMods = 1,
  rejection = 2,
  waiting = 3,
  revocationWarning = 4,
  revocationNotification = 5
};

// PKIFailureInfo bits as a mask: bit n of the BIT STRING is (1 << n).
enum PKIFailureInfoBits : std::uint32_t {
  badAlg = 1u << 0,
  badRequest = 1u << 2,
  badDataFormat = 1u << 5,
  timeNotAvailable = 1u << 14,
  unacceptedPolicy = 1u << 15,
  unacceptedExtension = 1u << 16,
  addInfoNotAvailable = 1u << 17,
  systemFailure = 1u << 25
};

typedef CDllList<std::string> CStringList;

class ZTASN1_API CPKIStatusInfo {
 public:
  CPKIStatusInfo();                      // granted
  CPKIStatusInfo(PKIStatusEnum status);  // NOLINT: a status converts implicitly

  // The status as sent; values above 5 are kept.
  int get_status() const noexcept { return status_; }
  void put_status(int status) noexcept { status_ = status; }

  // The statusString lines (UTF-8), or null when there are none.
  const CStringList* get_statusString() const noexcept;
  void add_statusString(const char* text);
  void clear_statusString() noexcept { statusString_.clear(); }

  // The failInfo bits 0 to 31 as a mask (PKIFailureInfoBits); bits above 31 are not kept.
  bool has_failInfo() const noexcept { return hasFailInfo_; }
  std::uint32_t get_failInfo() const noexcept { return failInfo_; }
  void put_failInfo(std::uint32_t bits) noexcept;
  void clear_failInfo() noexcept;

  friend bool operator==(const CPKIStatusInfo& a, const CPKIStatusInfo& b) {
    return a.status_ == b.status_ && a.statusString_ == b.statusString_ &&
           a.hasFailInfo_ == b.hasFailInfo_ && a.failInfo_ == b.failInfo_;
  }

 private:
  int status_ = granted;
  CStringList statusString_;
  bool hasFailInfo_ = false;
  std::uint32_t failInfo_ = 0;
};

struct ZTASN1_API ASN1T_PKIStatusInfo_traits {
  static void set(ASN1CTXT* ctxt, ASN1T_PKIStatusInfo& target, const CPKIStatusInfo& source);
  static void get(const ASN1T_PKIStatusInfo& source, CPKIStatusInfo& target);
};

}  // namespace ASN1
}  // namespace Zanthorel
