// CExtension and CExtensions: X.509-style extensions, as requests and TSTInfo carry them.
#pragma once

#include <string>

#include "outside/asn1/pkix.h"
#include "outside/ztlib/blob.h"
#include "outside/ztlib/dll_list.h"
#include "sdk/export.h"

namespace Zanthorel {
namespace ASN1 {

class ZTASN1_API CExtension {
 public:
  CExtension();
  // `value` is the extension's value octets, the contents of extnValue.
  CExtension(const char* extnID, bool critical, const CBlob& value);

  const char* get_extnID() const noexcept { return extnID_.c_str(); }
  bool get_critical() const noexcept { return critical_; }
  const CBlob& get_extnValue() const noexcept { return extnValue_; }

  friend bool operator==(const CExtension& a, const CExtension& b) {
    return a.extnID_ == b.extnID_ && a.critical_ == b.critical_ && a.extnValue_ == b.extnValue_;
  }

 private:
  std::string extnID_;
  bool critical_ = false;
  CBlob extnValue_;
};

typedef CDllList<CExtension> CExtensions;

struct ZTASN1_API ASN1T_Extensions_traits {
  // Fills `target` from `source` in the context's memory.
  static void set(ASN1CTXT* ctxt, ASN1T_Extensions& target, const CExtensions& source);
  // Appends the extensions of `source` to `target`.
  static void get(const ASN1T_Extensions& source, CExtensions& target);
};

}  // namespace ASN1
}  // namespace Zanthorel
