#include "outside/asn1/cms.h"

using Zanthorel::BER::BerReader;
using Zanthorel::BER::DerWriter;

namespace {

constexpr ASN1TAG kTagContent = asn1ContextTag(0, true);
constexpr ASN1TAG kTagSignedAttrs = asn1ContextTag(0, true);
constexpr ASN1TAG kTagUnsignedAttrs = asn1ContextTag(1, true);
constexpr ASN1TAG kTagSubjectKeyId = asn1ContextTag(0, false);

}  // namespace

// ContentInfo ::= SEQUENCE { contentType ContentType, content [0] EXPLICIT ANY OPTIONAL }
bool asn1D_ContentInfo(BerReader& in, ASN1T_ContentInfo& v) noexcept {
  BerReader seq, content;
  if (!in.readSequence(seq) || !seq.readObjId(v.contentType)) return false;
  if (seq.nextIs(kTagContent)) {
    v.m.contentPresent = 1;
    if (!seq.readConstructed(kTagContent, content) || !content.readOpenType(v.content) ||
        !content.finish())
      return false;
  }
  return seq.finish();
}

void asn1E_ContentInfo(DerWriter& out, const ASN1T_ContentInfo& v) noexcept {
  const std::size_t seq = out.open(kTagSequence);
  out.putObjId(v.contentType);
  if (v.m.contentPresent) {
    const std::size_t content = out.open(kTagContent);
    out.putOpenType(v.content);
    out.close(content);
  }
  out.close(seq);
}

// Whether the element from `start` to `end`, with `contents` just read from it, has the header
// that DER writes: any other form of the same length is longer or ends with end-of-contents.
static bool hasDerHeader(ASN1TAG tag, const OSOCTET* start, const BerReader& contents,
                         const OSOCTET* end) noexcept {
  const std::size_t length = contents.remaining();
  return static_cast<std::size_t>(contents.position() - start) ==
             DerWriter::headerSize(tag, length) &&
         static_cast<std::size_t>(end - contents.position()) == length;
}

bool asn1IsDerContentInfo(const ASN1OpenType& element) noexcept {
  ASN1CTXT ctxt;
  BerReader in(element.data, element.numocts, &ctxt);
  BerReader seq, content;
  ASN1OBJID type;
  if (!in.readSequence(seq) || !hasDerHeader(kTagSequence, element.data, seq, in.position()))
    return false;
  const OSOCTET* start = seq.position();
  if (!seq.readObjId(type) || static_cast<std::size_t>(seq.position() - start) !=
                                  DerWriter::headerSize(kTagObjectId, type.numocts) + type.numocts)
    return false;
  start = seq.position();
  if (!seq.empty() && !(seq.readConstructed(kTagContent, content) &&
                        hasDerHeader(kTagContent, start, content, seq.position())))
    return false;
  return seq.empty() && in.empty();
}

// Attribute ::= SEQUENCE { attrType OBJECT IDENTIFIER, attrValues SET OF AttributeValue }
bool asn1D_Attribute(BerReader& in, ASN1T_Attribute& v) noexcept {
  BerReader seq, values;
  return in.readSequence(seq) && seq.readObjId(v.attrType) && seq.readSet(values) &&
         rtDecodeSeqOf<ASN1OpenType>(values, v.attrValues, &BerReader::readOpenType) &&
         seq.finish();
}

void asn1E_Attribute(DerWriter& out, const ASN1T_Attribute& v) noexcept {
  const std::size_t seq = out.open(kTagSequence);
  out.putObjId(v.attrType);
  const std::size_t values = out.open(kTagSet);
  for (const ASN1OpenType* value : rtSeqOfItems<ASN1OpenType>(v.attrValues)) {
    out.putOpenType(*value);
  }
  out.closeSetOf(values);
  out.close(seq);
}

bool asn1D_Attributes(BerReader& in, ASN1T_Attributes& v, ASN1TAG tag) noexcept {
  BerReader set;
  return in.readConstructed(tag, set) && rtDecodeSeqOf<ASN1T_Attribute>(set, v, asn1D_Attribute);
}

static void writeAttributes(DerWriter& out, const ASN1T_Attributes& v, ASN1TAG tag,
                            bool derOrder) noexcept {
  const std::size_t set = out.open(tag);
  for (const ASN1T_Attribute* attribute : rtSeqOfItems<ASN1T_Attribute>(v)) {
    asn1E_Attribute(out, *attribute);
  }
  if (derOrder) return out.closeSetOf(set);
  out.close(set);
}

void asn1E_Attributes(DerWriter& out, const ASN1T_Attributes& v, ASN1TAG tag) noexcept {
  writeAttributes(out, v, tag, true);
}

// IssuerAndSerialNumber ::= SEQUENCE { issuer Name, serialNumber CertificateSerialNumber }
static bool decodeSignerIdentifier(BerReader& in, ASN1T_SignerIdentifier& v) noexcept {
  if (in.nextIs(kTagSubjectKeyId)) {
    v.t = T_SignerIdentifier_subjectKeyIdentifier;
    v.u.subjectKeyIdentifier = rtAllocZ<ASN1DynOctStr>(in.context());
    if (v.u.subjectKeyIdentifier == nullptr) return in.fail(ASN_E_NOMEM);
    return in.readOctetString(*v.u.subjectKeyIdentifier, kTagSubjectKeyId);
  }
  v.t = T_SignerIdentifier_issuerAndSerialNumber;
  v.u.issuerAndSerialNumber = rtAllocZ<ASN1T_IssuerAndSerialNumber>(in.context());
  if (v.u.issuerAndSerialNumber == nullptr) return in.fail(ASN_E_NOMEM);
  BerReader seq;
  return in.readSequence(seq) && asn1D_NameElement(seq, v.u.issuerAndSerialNumber->issuer) &&
         seq.readIntegerOctets(v.u.issuerAndSerialNumber->serialNumber) && seq.finish();
}

static void encodeSignerIdentifier(DerWriter& out, const ASN1T_SignerIdentifier& v) noexcept {
  if (v.t == T_SignerIdentifier_subjectKeyIdentifier) {
    return out.putOctetString(*v.u.subjectKeyIdentifier, kTagSubjectKeyId);
  }
  if (v.t != T_SignerIdentifier_issuerAndSerialNumber) return out.fail(ASN_E_INVPARAM);
  const std::size_t seq = out.open(kTagSequence);
  out.putOpenType(v.u.issuerAndSerialNumber->issuer);
  out.putIntegerOctets(v.u.issuerAndSerialNumber->serialNumber);
  out.close(seq);
}

// SignerInfo ::= SEQUENCE { version, sid, digestAlgorithm, signedAttrs [0] IMPLICIT OPTIONAL,
//   signatureAlgorithm, signature, unsignedAttrs [1] IMPLICIT OPTIONAL }
bool asn1D_SignerInfo(BerReader& in, ASN1T_SignerInfo& v) noexcept {
  BerReader seq;
  if (!in.readSequence(seq) || !seq.readInteger(v.version) || !decodeSignerIdentifier(seq, v.sid) ||
      !asn1D_AlgorithmIdentifier(seq, v.digestAlgorithm))
    return false;
  if (seq.nextIs(kTagSignedAttrs)) {
    v.m.signedAttrsPresent = 1;
    BerReader copy = seq;
    if (!copy.readOpenType(v.signedAttrsEncoding) ||
        !asn1D_Attributes(seq, v.signedAttrs, kTagSignedAttrs))
      return false;
  }
  if (!asn1D_AlgorithmIdentifier(seq, v.signatureAlgorithm) || !seq.readOctetString(v.signature))
    return false;
  if (seq.nextIs(kTagUnsignedAttrs)) {
    v.m.unsignedAttrsPresent = 1;
    if (!asn1D_Attributes(seq, v.unsignedAttrs, kTagUnsignedAttrs)) return false;
  }
  return seq.finish();
}

void asn1E_SignerInfo(DerWriter& out, const ASN1T_SignerInfo& v) noexcept {
  const std::size_t seq = out.open(kTagSequence);
  out.putInteger(v.version);
  encodeSignerIdentifier(out, v.sid);
  asn1E_AlgorithmIdentifier(out, v.digestAlgorithm);
  if (v.m.signedAttrsPresent) asn1E_Attributes(out, v.signedAttrs, kTagSignedAttrs);
  asn1E_AlgorithmIdentifier(out, v.signatureAlgorithm);
  out.putOctetString(v.signature);
  if (v.m.unsignedAttrsPresent) writeAttributes(out, v.unsignedAttrs, kTagUnsignedAttrs, false);
  out.close(seq);
}
