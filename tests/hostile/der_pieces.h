// Hand-made DER for hostile inputs: elements around raw bytes, so that an input can hold what no
// encoder would write. The hostile test and the decode scaling benchmark build their inputs so.
#pragma once

#include <cstddef>
#include <initializer_list>

#include "outside/asn1rt/ber_tag.h"
#include "outside/ztlib/blob.h"

namespace hostile_test {

Zanthorel::CBlob join(std::initializer_list<Zanthorel::CBlob> parts);
// A constructed element around complete elements.
Zanthorel::CBlob constructed(ASN1TAG tag, std::initializer_list<Zanthorel::CBlob> elements);
Zanthorel::CBlob sequence(std::initializer_list<Zanthorel::CBlob> elements);
Zanthorel::CBlob primitive(ASN1TAG tag, const Zanthorel::CBlob& contents);
// `one`, `times` times over.
Zanthorel::CBlob repeated(const Zanthorel::CBlob& one, std::size_t times);
// `depth` nested indefinite-length SEQUENCEs.
Zanthorel::CBlob nested(std::size_t depth);

}  // namespace hostile_test
