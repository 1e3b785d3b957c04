// Status codes of the BER runtime and the message codec: 0 is success, failures are negative.
#pragma once

enum Asn1Status : int {
  ASN_OK = 0,
  ASN_E_ENDOFBUF = -1,  // the input ends inside an element
  ASN_E_INVLEN = -2,    // a length that is malformed, runs past its parent or cannot be handled
  ASN_E_BADTAG = -3,    // an identifier that is malformed or not the one the type expects
  ASN_E_INVOBJID = -4,  // an OBJECT IDENTIFIER that is malformed or has an arc of 2^64 or more
  ASN_E_BADVALUE = -5,  // contents that are malformed for their type
  ASN_E_RANGE = -6,     // an INTEGER too large for the field that holds it
  ASN_E_TOODEEP = -7,   // nesting deeper than the context allows
  ASN_E_NOMEM = -8,     // no codec memory
  ASN_E_EXTRA = -9,     // bytes left over after the last element of a value
  ASN_E_INVPARAM = -10  // a value that cannot be encoded (missing identifier, bad number text)
};
