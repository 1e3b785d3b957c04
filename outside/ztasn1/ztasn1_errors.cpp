#include "outside/ztasn1/ztasn1_errors.h"

#include <cstring>

#include "outside/asn1rt/ber_reader.h"

using Zanthorel::BER::BerReader;

namespace Zanthorel {
namespace ASN1 {

void* allocOrThrow(ASN1CTXT* ctxt, std::size_t count) {
  void* p = rtMemHeapAlloc(&ctxt->heap, count);
  if (p == nullptr) ATL::AtlThrow(CRYPT_E_ASN1_MEMORY);
  return p;
}

const OSOCTET* copyToContext(ASN1CTXT* ctxt, const void* bytes, std::size_t count) {
  const OSOCTET* copy = rtMemHeapCopy(&ctxt->heap, bytes, count);
  if (copy == nullptr) ATL::AtlThrow(CRYPT_E_ASN1_MEMORY);
  return copy;
}

const char* copyTextToContext(ASN1CTXT* ctxt, const std::string& text) {
  auto* copy = static_cast<char*>(allocOrThrow(ctxt, text.size() + 1));
  std::memcpy(copy, text.c_str(), text.size() + 1);
  return copy;
}

void checkSingleElement(const CBlob& bytes) {
  ASN1CTXT scratch;
  BerReader reader(bytes.pbData(), bytes.cbData(), &scratch);
  ASN1OpenType element;
  if (!reader.readOpenType(element) || !reader.empty()) ATL::AtlThrow(E_INVALIDARG);
}

}  // namespace ASN1
}  // namespace Zanthorel
