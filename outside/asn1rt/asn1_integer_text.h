// Big-integer text: how the codec structures hold INTEGERs of any size.
//
// The text is "0x" followed by upper-case hexadecimal digits of the magnitude, with a leading '-'
// for negative values: 1 is "0x1", -1 is "-0x1", 2^64 is "0x10000000000000000". Reading also
// accepts lower-case digits and plain decimal ("1234", "-5").
#pragma once

#include <cstddef>

#include "outside/asn1rt/asn1_context.h"

// Text of the two's-complement INTEGER content `octets` (at least one octet), in the context's
// memory; null when no memory can be had.
ZTASN1_API const char* rtIntegerOctetsToText(ASN1CTXT* ctxt, const OSOCTET* octets,
                                             std::size_t count) noexcept;

// Minimal two's-complement content octets of the number `text`, in the context's memory. False
// when the text is no number (ASN_E_INVPARAM) or no memory can be had (ASN_E_NOMEM); the status
// is recorded in the context.
ZTASN1_API bool rtTextToIntegerOctets(ASN1CTXT* ctxt, const char* text,
                                      ASN1DynOctStr& octets) noexcept;
