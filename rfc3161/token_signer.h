// TokenSigner: the first signer of a token's message, shared by the copies of the token. Decoding
// reads it at once, since the token's attribute lists are its own; signing keeps its encoding
// and decodes it on first use, since a server that signs seldom asks for it. Either way it is
// decoded once, whichever copy asks first on whichever thread, and never changes after. Internal.
#pragma once

#include <mutex>

#include "outside/ztasn1/signer_info.h"
#include "outside/ztlib/blob.h"

namespace Zanthorel {
namespace PKI {
namespace TSP {

class TokenSigner {
 public:
  // Takes the encoded SignerInfo; with `decodeNow` decodes it before returning, throwing
  // CRYPT_E_ASN1_INTERNAL when it does not decode.
  TokenSigner(CBlob encoded, bool decodeNow);
  TokenSigner(const TokenSigner&) = delete;
  TokenSigner& operator=(const TokenSigner&) = delete;

  // The decoded signer; CRYPT_E_ASN1_INTERNAL when the encoding does not decode.
  const ASN1::CSignerInfo& get() const;

 private:
  mutable CBlob encoded_;  // dropped once decoded
  mutable std::once_flag decoded_;
  mutable ASN1::CSignerInfo info_;
};

}  // namespace TSP
}  // namespace PKI
}  // namespace Zanthorel
