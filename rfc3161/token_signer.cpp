#include "rfc3161/token_signer.h"

#include <utility>

#include "frame/crypt_message.h"

namespace Zanthorel {
namespace PKI {
namespace TSP {

TokenSigner::TokenSigner(CBlob encoded, bool decodeNow) : encoded_(std::move(encoded)) {
  if (decodeNow) get();
}

const ASN1::CSignerInfo& TokenSigner::get() const {
  std::call_once(decoded_, [this] {
    decodeSignerInfo(encoded_, info_);
    encoded_.clear();
  });
  return info_;
}

}  // namespace TSP
}  // namespace PKI
}  // namespace Zanthorel
