// CDateTime: a UTC instant with nanosecond resolution, and its ASN.1 time texts.
//
// The instant is held as seconds since 1970-01-01T00:00:00Z (signed) and nanoseconds within that
// second. CDateTime(0, 0), also the default, is the unset time.
//
//   CDateTime t("20240621071205.884Z");
//   t.getGeneralizedTime().c_str();   // "20240621071205.884Z"
//   t.get_seconds();                  // 1718953925
#pragma once

#include <cstddef>
#include <cstdint>

#include "outside/ztlib/string_proxy.h"
#include "sdk/export.h"

namespace Zanthorel {

class ZTLIB_API CDateTime {
 public:
  CDateTime() noexcept = default;
  // `nanoseconds` above 999,999,999 carry into the seconds.
  CDateTime(std::int64_t seconds, std::uint32_t nanoseconds) noexcept;
  // From GeneralizedTime text (see parseGeneralizedTime). Text that does not parse gives the
  // unset time; use parseGeneralizedTime to tell the two apart.
  explicit CDateTime(const char* generalizedTime) noexcept;

  static CDateTime now() noexcept;

  // GeneralizedTime "YYYYMMDDhhmm[ss][.f...][Z|+hhmm|-hhmm]", also with ',' as decimal sign.
  // Without zone the time is taken as UTC. Fractions beyond nanoseconds are cut off. Returns false,
  // leaving `out` unchanged, when the text is no valid time.
  static bool parseGeneralizedTime(const char* text, std::size_t length, CDateTime& out) noexcept;
  // UTCTime "YYMMDDhhmm[ss](Z|+hhmm|-hhmm)"; years 50 to 99 are 1950 to 1999.
  static bool parseUTCTime(const char* text, std::size_t length, CDateTime& out) noexcept;

  std::int64_t get_seconds() const noexcept { return seconds_; }
  std::uint32_t get_nanoseconds() const noexcept { return nanoseconds_; }
  bool isUnset() const noexcept { return seconds_ == 0 && nanoseconds_ == 0; }
  // Calendar year of the instant (UTC).
  std::int64_t year() const noexcept;

  // "YYYYMMDDhhmmss[.f...]Z", the fraction without trailing zeros and left out when zero.
  CStringProxy getGeneralizedTime() const;
  // "YYMMDDhhmmssZ"; meaningful for the years 1950 to 2049 only.
  CStringProxy getUTCTime() const;

  friend bool operator==(const CDateTime& a, const CDateTime& b) noexcept {
    return a.seconds_ == b.seconds_ && a.nanoseconds_ == b.nanoseconds_;
  }
  friend bool operator!=(const CDateTime& a, const CDateTime& b) noexcept { return !(a == b); }
  friend bool operator<(const CDateTime& a, const CDateTime& b) noexcept {
    return a.seconds_ < b.seconds_ || (a.seconds_ == b.seconds_ && a.nanoseconds_ < b.nanoseconds_);
  }

 private:
  std::int64_t seconds_ = 0;
  std::uint32_t nanoseconds_ = 0;
};

}  // namespace Zanthorel
