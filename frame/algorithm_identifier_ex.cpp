#include "frame/algorithm_identifier_ex.h"

#include <string>
#include <utility>

namespace Zanthorel {
namespace ASN1 {

CAlgorithmIdentifierEx::CAlgorithmIdentifierEx() = default;

CAlgorithmIdentifierEx::CAlgorithmIdentifierEx(const char* algorithm)
    : CAlgorithmIdentifier(algorithm) {}

CAlgorithmIdentifierEx::CAlgorithmIdentifierEx(const char* algorithm, const CBlob& parameters)
    : CAlgorithmIdentifier(algorithm, parameters) {}

CAlgorithmIdentifierEx::CAlgorithmIdentifierEx(const CAlgorithmIdentifierEx& other) = default;

CAlgorithmIdentifierEx& CAlgorithmIdentifierEx::operator=(const CAlgorithmIdentifierEx& other) {
  if (this == &other) return *this;
  CAlgorithmIdentifierEx copy(other);
  CAlgorithmIdentifier::swap(copy);
  std::swap(oidBoundValue_, copy.oidBoundValue_);
  return *this;
}

CAlgorithmIdentifierEx::~CAlgorithmIdentifierEx() = default;

void CAlgorithmIdentifierEx::put_algorithm(const char* algorithm) {
  const std::string current = get_algorithm();
  if (current == (algorithm != nullptr ? algorithm : "")) return;
  oidBoundValue_ = 0;
  CAlgorithmIdentifier::put_algorithm(algorithm);
}

}  // namespace ASN1
}  // namespace Zanthorel
