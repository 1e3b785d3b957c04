// CAlgorithmIdentifierEx: the algorithm identifier that the exported classes take and return.
//
// It adds one value to CAlgorithmIdentifier, oidBoundValue, which belongs to the identifier
// currently held: the library creates it as 0, copies it with the identifier, and clears it
// whenever put_algorithm changes the identifier. What it means is the caller's.
//
//   CAlgorithmIdentifierEx sha256("2.16.840.1.101.3.4.2.1");
//   sha256.put_oidBoundValue(CALG_SHA_256);
//   CRequest request(sha256, digest, true);
//   request.get_hashAlgorithm().get_oidBoundValue();   // CALG_SHA_256
#pragma once

#include <cstdint>

#include "outside/ztasn1/algorithm_identifier.h"
#include "sdk/export.h"

namespace Zanthorel {
namespace ASN1 {

class ZTTSP_API CAlgorithmIdentifierEx : public CAlgorithmIdentifier {
 public:
  CAlgorithmIdentifierEx();
  explicit CAlgorithmIdentifierEx(const char* algorithm);
  CAlgorithmIdentifierEx(const char* algorithm, const CBlob& parameters);
  CAlgorithmIdentifierEx(const CAlgorithmIdentifierEx& other);
  // Copies the whole identifier, oidBoundValue included; a failed copy leaves this unchanged.
  CAlgorithmIdentifierEx& operator=(const CAlgorithmIdentifierEx& other);
  ~CAlgorithmIdentifierEx() override;

  // Keeps everything when `algorithm` is the identifier already held; otherwise clears
  // oidBoundValue and sets the new identifier.
  void put_algorithm(const char* algorithm) override;

  std::uint32_t get_oidBoundValue() const noexcept { return oidBoundValue_; }
  void put_oidBoundValue(std::uint32_t value) noexcept { oidBoundValue_ = value; }

 private:
  std::uint32_t oidBoundValue_ = 0;
};

}  // namespace ASN1
}  // namespace Zanthorel
