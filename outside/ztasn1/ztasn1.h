// The ASN.1 object library: value types for the parts of time-stamp messages, and their
// conversions to and from the message codec's structures.
#pragma once

#include "outside/ztasn1/algorithm_conversions.h"
#include "outside/ztasn1/algorithm_identifier.h"
#include "outside/ztasn1/attributes.h"
#include "outside/ztasn1/big_integer.h"
#include "outside/ztasn1/content_info.h"
#include "outside/ztasn1/extensions.h"
#include "outside/ztasn1/general_name.h"
#include "outside/ztasn1/integer_conversions.h"
#include "outside/ztasn1/object_identifier.h"
#include "outside/ztasn1/octet_string.h"
#include "outside/ztasn1/pki_status_info.h"
#include "outside/ztasn1/signer_info.h"
