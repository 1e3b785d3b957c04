// CAlgorithmIdentifier: an algorithm's OBJECT IDENTIFIER (dotted text) with its encoded
// parameters.
//
//   CAlgorithmIdentifier sha256("2.16.840.1.101.3.4.2.1", CBlob("\x05\x00", 2));   // NULL params
#pragma once

#include <string>

#include "outside/ztlib/blob.h"
#include "sdk/export.h"

namespace Zanthorel {
namespace ASN1 {

class ZTASN1_API CAlgorithmIdentifier {
 public:
  CAlgorithmIdentifier();
  explicit CAlgorithmIdentifier(const char* algorithm);
  // `parameters` is the complete encoding of the parameters element (05 00 for NULL); empty
  // means that there are none.
  CAlgorithmIdentifier(const char* algorithm, const CBlob& parameters);
  CAlgorithmIdentifier(const CAlgorithmIdentifier& other);
  CAlgorithmIdentifier& operator=(const CAlgorithmIdentifier& other);
  virtual ~CAlgorithmIdentifier();

  // The identifier as dotted text; empty text when none is set.
  const char* get_algorithm() const noexcept { return algorithm_.c_str(); }
  const CBlob& get_parameters() const noexcept { return parameters_; }
  // Sets another identifier; the parameters, which belong to the old algorithm, are dropped.
  virtual void put_algorithm(const char* algorithm);
  void put_parameters(const CBlob& parameters);
  void swap(CAlgorithmIdentifier& other) noexcept;

 private:
  std::string algorithm_;
  CBlob parameters_;
};

ZTASN1_API bool operator==(const CAlgorithmIdentifier& a, const CAlgorithmIdentifier& b);
inline bool operator!=(const CAlgorithmIdentifier& a, const CAlgorithmIdentifier& b) {
  return !(a == b);
}

}  // namespace ASN1
}  // namespace Zanthorel
