// Algorithm identifiers as the C interface writes them.
#pragma once

#include "frame/algorithm_identifier_ex.h"

namespace Zanthorel {
namespace CApi {

// `oid` with NULL parameters, as OpenSSL and Windows write hash algorithms.
ASN1::CAlgorithmIdentifierEx hashIdentifier(const char* oid);
// The signature's digest: `oid` when given (checked, ZTTSP_E_INVALIDARG), SHA-256 for null.
ASN1::CAlgorithmIdentifierEx digestIdentifier(const char* oid);

}  // namespace CApi
}  // namespace Zanthorel
