#include "outside/ztasn1/algorithm_conversions.h"

#include <string>

#include "outside/ztasn1/object_identifier.h"
#include "outside/ztasn1/ztasn1_errors.h"

namespace Zanthorel {
namespace ASN1 {

ASN1T_AlgorithmIdentifier ASN1T_AlgorithmIdentifier_set(ASN1CTXT* ctxt, const char* algorithm,
                                                        const CBlob* parameters) {
  ASN1T_AlgorithmIdentifier result;
  ASN1TObjId_traits::set(ctxt, result.algorithm, algorithm);
  if (parameters != nullptr && !parameters->empty()) {
    checkSingleElement(*parameters);
    result.m.parametersPresent = 1;
    result.parameters.data = copyToContext(ctxt, parameters->pbData(), parameters->cbData());
    result.parameters.numocts = parameters->cbData();
  }
  return result;
}

void ASN1T_AlgorithmIdentifier_get(CAlgorithmIdentifier& target,
                                   const ASN1T_AlgorithmIdentifier& source) {
  std::string algorithm;
  ASN1TObjId_traits::get(source.algorithm, algorithm);
  target.put_algorithm(algorithm.c_str());
  if (source.m.parametersPresent) {
    target.put_parameters(CBlob(source.parameters.data, source.parameters.numocts));
  } else {
    target.put_parameters(CBlob());
  }
}

}  // namespace ASN1
}  // namespace Zanthorel
