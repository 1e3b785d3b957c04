#include "outside/ztasn1/algorithm_identifier.h"

#include <utility>

namespace Zanthorel {
namespace ASN1 {

CAlgorithmIdentifier::CAlgorithmIdentifier() = default;

CAlgorithmIdentifier::CAlgorithmIdentifier(const char* algorithm)
    : algorithm_(algorithm != nullptr ? algorithm : "") {}

CAlgorithmIdentifier::CAlgorithmIdentifier(const char* algorithm, const CBlob& parameters)
    : algorithm_(algorithm != nullptr ? algorithm : ""), parameters_(parameters) {}

CAlgorithmIdentifier::CAlgorithmIdentifier(const CAlgorithmIdentifier& other) = default;

CAlgorithmIdentifier& CAlgorithmIdentifier::operator=(const CAlgorithmIdentifier& other) {
  if (this != &other) {
    CAlgorithmIdentifier copy(other);
    swap(copy);
  }
  return *this;
}

CAlgorithmIdentifier::~CAlgorithmIdentifier() = default;

void CAlgorithmIdentifier::put_algorithm(const char* algorithm) {
  algorithm_ = algorithm != nullptr ? algorithm : "";
  parameters_.clear();
}

void CAlgorithmIdentifier::put_parameters(const CBlob& parameters) {
  parameters_ = parameters;
}

void CAlgorithmIdentifier::swap(CAlgorithmIdentifier& other) noexcept {
  algorithm_.swap(other.algorithm_);
  parameters_.swap(other.parameters_);
}

bool operator==(const CAlgorithmIdentifier& a, const CAlgorithmIdentifier& b) {
  return std::string(a.get_algorithm()) == b.get_algorithm() &&
         a.get_parameters() == b.get_parameters();
}

}  // namespace ASN1
}  // namespace Zanthorel
