// Serial numbers between the Windows little-endian integer blob and the DER INTEGER octets.
#pragma once

#include <vector>

#include "outside/asn1rt/asn1_types.h"
#include "sdk/wincrypt.h"

namespace Zanthorel {
namespace Platform {

// The blob's octets in big-endian order (the INTEGER content octets).
std::vector<BYTE> bigEndianSerial(const CRYPT_INTEGER_BLOB& serial);

// Whether two big-endian two's-complement integers are equal; redundant leading 00 / FF octets
// do not count.
bool sameInteger(const BYTE* a, std::size_t aSize, const BYTE* b, std::size_t bSize) noexcept;

}  // namespace Platform
}  // namespace Zanthorel
