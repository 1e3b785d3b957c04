#include "tools/random_numbers.h"

#include <openssl/rand.h>

#include "tools/tool_error.h"

namespace Zanthorel {
namespace Tools {
namespace {

void fillRandom(unsigned char* bytes, int count) {
  if (RAND_bytes(bytes, count) != 1) throw ToolError("the random generator failed");
}

}  // namespace

ASN1::CBigInteger randomSerialNumber() {
  unsigned char bytes[20];
  fillRandom(bytes, sizeof bytes);
  // Top bits 01: positive, and never shorter than 20 bytes in DER.
  bytes[0] = static_cast<unsigned char>((bytes[0] & 0x3F) | 0x40);
  return ASN1::CBigInteger::fromUnsigned(bytes, sizeof bytes);
}

ASN1::CBigInteger randomNonce() {
  unsigned char bytes[8];
  fillRandom(bytes, sizeof bytes);
  return ASN1::CBigInteger::fromUnsigned(bytes, sizeof bytes);
}

}  // namespace Tools
}  // namespace Zanthorel
