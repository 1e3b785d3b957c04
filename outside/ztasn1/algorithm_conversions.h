// Conversions between CAlgorithmIdentifier and the codec's ASN1T_AlgorithmIdentifier.
#pragma once

#include "outside/asn1/pkix.h"
#include "outside/ztasn1/algorithm_identifier.h"

namespace Zanthorel {
namespace ASN1 {

// The structure for `algorithm` and `parameters`, in the context's memory. Empty or null
// parameters are left out. Throws E_INVALIDARG when `algorithm` is no identifier or the
// parameters are no single encoded element, CRYPT_E_ASN1_MEMORY when there is no memory.
ZTASN1_API ASN1T_AlgorithmIdentifier ASN1T_AlgorithmIdentifier_set(ASN1CTXT* ctxt,
                                                                   const char* algorithm,
                                                                   const CBlob* parameters);
// Fills `target` from the structure (put_algorithm, then the parameters as received). Throws
// E_INVALIDARG when the identifier has no dotted form.
ZTASN1_API void ASN1T_AlgorithmIdentifier_get(CAlgorithmIdentifier& target,
                                              const ASN1T_AlgorithmIdentifier& source);

}  // namespace ASN1
}  // namespace Zanthorel
