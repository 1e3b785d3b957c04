#include "capi/algorithms.h"

#include "capi/arguments.h"
#include "capi/zttsp.h"

namespace Zanthorel {
namespace CApi {

ASN1::CAlgorithmIdentifierEx hashIdentifier(const char* oid) {
  return ASN1::CAlgorithmIdentifierEx(oid, CBlob("\x05\x00", 2));
}

ASN1::CAlgorithmIdentifierEx digestIdentifier(const char* oid) {
  return hashIdentifier(oid != nullptr ? oidArgument(oid, "digest_algorithm") : ZTTSP_OID_SHA256);
}

}  // namespace CApi
}  // namespace Zanthorel
