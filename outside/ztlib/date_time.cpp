#include "outside/ztlib/date_time.h"

#include <chrono>
#include <cstdio>
#include <string>

namespace Zanthorel {
namespace {

constexpr std::int64_t kSecondsPerDay = 86400;
constexpr std::uint32_t kNanosPerSecond = 1000000000;

// Days since 1970-01-01 of a proleptic Gregorian date (month 1..12).
std::int64_t daysFromCivil(std::int64_t y, unsigned m, unsigned d) {
  y -= m <= 2;
  const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
  const unsigned yoe = static_cast<unsigned>(y - era * 400);
  const unsigned doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<std::int64_t>(doe) - 719468;
}

struct Civil {
  std::int64_t year;
  unsigned month, day, hour, minute, second;
};

Civil civilFromSeconds(std::int64_t seconds) {
  std::int64_t days = seconds / kSecondsPerDay;
  std::int64_t rest = seconds % kSecondsPerDay;
  if (rest < 0) {
    rest += kSecondsPerDay;
    --days;
  }
  const std::int64_t z = days + 719468;
  const std::int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const unsigned doe = static_cast<unsigned>(z - era * 146097);
  const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const unsigned mp = (5 * doy + 2) / 153;
  Civil c;
  c.day = doy - (153 * mp + 2) / 5 + 1;
  c.month = mp < 10 ? mp + 3 : mp - 9;
  c.year = static_cast<std::int64_t>(yoe) + era * 400 + (c.month <= 2);
  c.hour = static_cast<unsigned>(rest / 3600);
  c.minute = static_cast<unsigned>(rest / 60 % 60);
  c.second = static_cast<unsigned>(rest % 60);
  return c;
}

bool isLeap(std::int64_t y) {
  return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
}

unsigned daysInMonth(std::int64_t y, unsigned m) {
  static const unsigned kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return m == 2 && isLeap(y) ? 29 : kDays[m - 1];
}

// A cursor over time text that reads fixed-width decimal fields.
class TimeText {
 public:
  TimeText(const char* text, std::size_t length) : p_(text), end_(text + length) {}

  bool digits(unsigned count, unsigned& value) {
    if (static_cast<std::size_t>(end_ - p_) < count) return false;
    value = 0;
    for (unsigned i = 0; i < count; ++i, ++p_) {
      if (*p_ < '0' || *p_ > '9') return false;
      value = value * 10 + static_cast<unsigned>(*p_ - '0');
    }
    return true;
  }
  bool atEnd() const { return p_ == end_; }
  bool peek(char c) const { return p_ != end_ && *p_ == c; }
  bool peekDigit() const { return p_ != end_ && *p_ >= '0' && *p_ <= '9'; }
  bool take(char c) {
    if (!peek(c)) return false;
    ++p_;
    return true;
  }
  // Fraction digits after the decimal sign, scaled to nanoseconds; at least one digit.
  bool fraction(std::uint32_t& nanos) {
    if (!peekDigit()) return false;
    std::uint32_t scale = kNanosPerSecond / 10;
    nanos = 0;
    while (peekDigit()) {
      nanos += static_cast<std::uint32_t>(*p_++ - '0') * scale;
      scale /= 10;
    }
    return true;
  }
  // "Z", "+hhmm", "-hhmm" or nothing (local time, taken as UTC); gives the offset in seconds.
  bool zone(bool required, std::int64_t& offset) {
    offset = 0;
    if (take('Z')) return atEnd();
    const bool plus = peek('+');
    if (plus || peek('-')) {
      ++p_;
      unsigned hh, mm;
      if (!digits(2, hh) || !digits(2, mm) || hh > 23 || mm > 59 || !atEnd()) return false;
      offset = (plus ? 1 : -1) * static_cast<std::int64_t>(hh * 3600 + mm * 60);
      return true;
    }
    return !required && atEnd();
  }

 private:
  const char* p_;
  const char* end_;
};

bool makeTime(std::int64_t year, unsigned month, unsigned day, unsigned hour, unsigned minute,
              unsigned second, std::uint32_t nanos, std::int64_t offset, CDateTime& out) {
  // Second 60 is a leap second; it is counted into the next minute.
  if (month < 1 || month > 12 || day < 1 || day > daysInMonth(year, month) || hour > 23 ||
      minute > 59 || second > 60)
    return false;
  const std::int64_t seconds = daysFromCivil(year, month, day) * kSecondsPerDay + hour * 3600 +
                               minute * 60 + second - offset;
  out = CDateTime(seconds, nanos);
  return true;
}

}  // namespace

CDateTime::CDateTime(std::int64_t seconds, std::uint32_t nanoseconds) noexcept
    : seconds_(seconds + nanoseconds / kNanosPerSecond),
      nanoseconds_(nanoseconds % kNanosPerSecond) {}

CDateTime::CDateTime(const char* generalizedTime) noexcept {
  if (generalizedTime != nullptr) {
    parseGeneralizedTime(generalizedTime, std::char_traits<char>::length(generalizedTime), *this);
  }
}

CDateTime CDateTime::now() noexcept {
  using namespace std::chrono;
  const auto since = system_clock::now().time_since_epoch();
  const auto secs = duration_cast<seconds>(since);
  const auto nanos = duration_cast<nanoseconds>(since - secs);
  return CDateTime(secs.count(), static_cast<std::uint32_t>(nanos.count()));
}

bool CDateTime::parseGeneralizedTime(const char* text, std::size_t length,
                                     CDateTime& out) noexcept {
  TimeText t(text, length);
  unsigned year, month, day, hour, minute = 0, second = 0;
  if (!t.digits(4, year) || !t.digits(2, month) || !t.digits(2, day) || !t.digits(2, hour))
    return false;
  // Minutes and seconds may be left out in GeneralizedTime; DER always writes both.
  if (t.peekDigit() && !t.digits(2, minute)) return false;
  if (t.peekDigit() && !t.digits(2, second)) return false;
  std::uint32_t nanos = 0;
  if ((t.take('.') || t.take(',')) && !t.fraction(nanos)) return false;
  std::int64_t offset;
  if (!t.zone(false, offset)) return false;
  return makeTime(year, month, day, hour, minute, second, nanos, offset, out);
}

bool CDateTime::parseUTCTime(const char* text, std::size_t length, CDateTime& out) noexcept {
  TimeText t(text, length);
  unsigned yy, month, day, hour, minute, second = 0;
  if (!t.digits(2, yy) || !t.digits(2, month) || !t.digits(2, day) || !t.digits(2, hour) ||
      !t.digits(2, minute))
    return false;
  if (t.peekDigit() && !t.digits(2, second)) return false;
  std::int64_t offset;
  if (!t.zone(true, offset)) return false;
  const std::int64_t year = yy >= 50 ? 1900 + yy : 2000 + yy;
  return makeTime(year, month, day, hour, minute, second, 0, offset, out);
}

std::int64_t CDateTime::year() const noexcept {
  return civilFromSeconds(seconds_).year;
}

CStringProxy CDateTime::getGeneralizedTime() const {
  const Civil c = civilFromSeconds(seconds_);
  char text[48];
  int n = std::snprintf(text, sizeof text, "%04lld%02u%02u%02u%02u%02u",
                        static_cast<long long>(c.year), c.month, c.day, c.hour, c.minute, c.second);
  if (nanoseconds_ != 0) {
    char fraction[16];
    std::snprintf(fraction, sizeof fraction, ".%09u", static_cast<unsigned>(nanoseconds_));
    std::size_t digits = 10;
    while (fraction[digits - 1] == '0')
      --digits;
    fraction[digits] = '\0';
    n += std::snprintf(text + n, sizeof text - static_cast<std::size_t>(n), "%s", fraction);
  }
  std::snprintf(text + n, sizeof text - static_cast<std::size_t>(n), "Z");
  return CStringProxy(text);
}

CStringProxy CDateTime::getUTCTime() const {
  const Civil c = civilFromSeconds(seconds_);
  char text[32];
  std::snprintf(text, sizeof text, "%02u%02u%02u%02u%02u%02uZ",
                static_cast<unsigned>(((c.year % 100) + 100) % 100), c.month, c.day, c.hour,
                c.minute, c.second);
  return CStringProxy(text);
}

}  // namespace Zanthorel
