// Unpredictable serial numbers and nonces, from OpenSSL's random generator.
#pragma once

#include "outside/ztasn1/big_integer.h"

namespace Zanthorel {
namespace Tools {

// 158 random bits below a fixed 01: positive, and always 20 bytes in DER, within the 160 bits
// that RFC 3161 lets clients expect.
ASN1::CBigInteger randomSerialNumber();
// 64 random bits, positive, as openssl ts -query makes them.
ASN1::CBigInteger randomNonce();

}  // namespace Tools
}  // namespace Zanthorel
