#include "outside/ztasn1/octet_string.h"

#include "outside/asn1rt/asn1_buffers.h"
#include "outside/ztasn1/ztasn1_errors.h"

using Zanthorel::BER::BerReader;
using Zanthorel::BER::DerWriter;

namespace Zanthorel {
namespace ASN1 {

CBlob toOctetString(const CBlob& octets) {
  ASN1CTXT ctxt;
  DerWriter out(&ctxt);
  out.putOctetString({octets.cbData(), octets.pbData()});
  if (!out.ok()) ATL::AtlThrow(CRYPT_E_ASN1_INTERNAL);
  return CBlob(out.data(), static_cast<std::uint32_t>(out.size()));
}

CBlob fromOctetString(const CBlob& encoded) {
  if (encoded.empty()) return CBlob();
  ASN1CTXT ctxt;
  BerReader in(encoded.pbData(), encoded.cbData(), &ctxt);
  ASN1DynOctStr value;
  if (!in.readOctetString(value) || !in.finish()) ATL::AtlThrow(CRYPT_E_ASN1_INTERNAL);
  return CBlob(value.data, value.numocts);
}

}  // namespace ASN1
}  // namespace Zanthorel
