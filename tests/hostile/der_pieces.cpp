#include "tests/hostile/der_pieces.h"

#include <algorithm>

#include "outside/asn1rt/der_writer.h"

using Zanthorel::BER::DerWriter;

using Zanthorel::CBlob;

namespace hostile_test {

CBlob join(std::initializer_list<CBlob> parts) {
  CBlob all;
  for (const CBlob& part : parts) {
    const std::uint32_t at = all.cbData();
    all.resize_to(at + part.cbData());
    if (!part.empty()) std::copy(part.pbData(), part.pbData() + part.cbData(), all.pbData() + at);
  }
  return all;
}

CBlob constructed(ASN1TAG tag, std::initializer_list<CBlob> elements) {
  ASN1CTXT ctxt;
  DerWriter out(&ctxt);
  const std::size_t mark = out.open(tag);
  for (const CBlob& element : elements)
    out.putOpenType({element.cbData(), element.pbData()});
  out.close(mark);
  return CBlob(out.data(), static_cast<std::uint32_t>(out.size()));
}

CBlob sequence(std::initializer_list<CBlob> elements) {
  return constructed(kTagSequence, elements);
}

CBlob primitive(ASN1TAG tag, const CBlob& contents) {
  ASN1CTXT ctxt;
  DerWriter out(&ctxt);
  out.putElement(tag, contents.pbData(), contents.cbData());
  return CBlob(out.data(), static_cast<std::uint32_t>(out.size()));
}

CBlob repeated(const CBlob& one, std::size_t times) {
  CBlob all(static_cast<std::uint32_t>(one.cbData() * times));
  for (std::size_t i = 0; i < times; ++i)
    std::copy(one.pbData(), one.pbData() + one.cbData(), all.pbData() + i * one.cbData());
  return all;
}

CBlob nested(std::size_t depth) {
  return join({repeated(CBlob("\x30\x80", 2), depth), repeated(CBlob("\0\0", 2), depth)});
}

}  // namespace hostile_test
