#include "platform/serial_number.h"

#include <algorithm>
#include <cstring>

namespace Zanthorel {
namespace Platform {

std::vector<BYTE> bigEndianSerial(const CRYPT_INTEGER_BLOB& serial) {
  std::vector<BYTE> octets(serial.pbData, serial.pbData + serial.cbData);
  std::reverse(octets.begin(), octets.end());
  return octets;
}

namespace {

void dropRedundantSign(const BYTE*& p, std::size_t& n) noexcept {
  while (n > 1 && ((p[0] == 0x00 && (p[1] & 0x80) == 0) || (p[0] == 0xFF && (p[1] & 0x80) != 0))) {
    ++p;
    --n;
  }
}

}  // namespace

bool sameInteger(const BYTE* a, std::size_t aSize, const BYTE* b, std::size_t bSize) noexcept {
  dropRedundantSign(a, aSize);
  dropRedundantSign(b, bSize);
  return aSize == bSize && (aSize == 0 || std::memcmp(a, b, aSize) == 0);
}

}  // namespace Platform
}  // namespace Zanthorel
