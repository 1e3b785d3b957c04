// The TSTInfo fields of a token record to and from the codec's TSTInfo structure. Internal.
#pragma once

#include "outside/asn1/tsp.h"

namespace Zanthorel {
namespace PKI {
namespace TSP {

struct CTokenImpl;

// Overwrites `tstInfo` with the token's TSTInfo fields, allocating in `ctxt`, whose owner must
// outlive the structure. Throws CRYPT_E_ASN1_MEMORY when the context has no memory, and the
// conversions' errors (E_INVALIDARG for a policy or algorithm that is no identifier).
void setTSTInfo(const CTokenImpl& token, ASN1T_TSTInfo& tstInfo, ASN1CTXT* ctxt);

// Sets the TSTInfo fields of a fresh record from `tstInfo`, taking every value as it comes.
// Throws E_INVALIDARG when the policy has no dotted form; fields set before a failure stay set.
void getTSTInfo(CTokenImpl& token, const ASN1T_TSTInfo& tstInfo);

}  // namespace TSP
}  // namespace PKI
}  // namespace Zanthorel
