#include "outside/asn1/pkix.h"

#include <cstdint>

using Zanthorel::BER::BerReader;
using Zanthorel::BER::DerWriter;

namespace {

constexpr ASN1TAG tagged(OSUINT32 number, bool constructed) {
  return asn1ContextTag(number, constructed);
}

bool isDirectoryStringTag(ASN1TAG tag) {
  const ASN1TAG t = asn1Primitive(tag);
  return t == kTagTeletexString || t == kTagPrintableString || t == kTagUniversalString ||
         t == kTagUTF8String || t == kTagBMPString;
}

}  // namespace

// AlgorithmIdentifier ::= SEQUENCE { algorithm OBJECT IDENTIFIER, parameters ANY OPTIONAL }
bool asn1D_AlgorithmIdentifier(BerReader& in, ASN1T_AlgorithmIdentifier& v) noexcept {
  BerReader seq;
  if (!in.readSequence(seq) || !seq.readObjId(v.algorithm)) return false;
  // Absent and NULL parameters are both met for the same algorithm (see the vectors); both are
  // kept as received.
  v.m.parametersPresent = !seq.empty();
  if (v.m.parametersPresent && !seq.readOpenType(v.parameters)) return false;
  return seq.finish();
}

void asn1E_AlgorithmIdentifier(DerWriter& out, const ASN1T_AlgorithmIdentifier& v) noexcept {
  const std::size_t seq = out.open(kTagSequence);
  out.putObjId(v.algorithm);
  if (v.m.parametersPresent) out.putOpenType(v.parameters);
  out.close(seq);
}

// Extension ::= SEQUENCE { extnID OID, critical BOOLEAN DEFAULT FALSE, extnValue OCTET STRING }
static bool decodeExtension(BerReader& in, ASN1T_Extension& v) noexcept {
  BerReader seq;
  if (!in.readSequence(seq) || !seq.readObjId(v.extnID)) return false;
  if (seq.nextIs(kTagBoolean) && !seq.readBoolean(v.critical)) return false;
  return seq.readOctetString(v.extnValue) && seq.finish();
}

bool asn1D_Extensions(BerReader& in, ASN1T_Extensions& v, ASN1TAG tag) noexcept {
  BerReader list;
  return in.readConstructed(tag, list) && rtDecodeSeqOf<ASN1T_Extension>(list, v, decodeExtension);
}

void asn1E_Extensions(DerWriter& out, const ASN1T_Extensions& v, ASN1TAG tag) noexcept {
  const std::size_t list = out.open(tag);
  for (const ASN1T_Extension* ext : rtSeqOfItems<ASN1T_Extension>(v)) {
    const std::size_t seq = out.open(kTagSequence);
    out.putObjId(ext->extnID);
    if (ext->critical) out.putBoolean(true);  // DER leaves out the DEFAULT FALSE
    out.putOctetString(ext->extnValue);
    out.close(seq);
  }
  out.close(list);
}

// AttributeTypeAndValue ::= SEQUENCE { type AttributeType, value AttributeValue }
static bool decodeTypeAndValue(BerReader& in, ASN1T_AttributeTypeAndValue& v) noexcept {
  BerReader seq;
  return in.readSequence(seq) && seq.readObjId(v.type) && seq.readOpenType(v.value) && seq.finish();
}

// RelativeDistinguishedName ::= SET SIZE (1..MAX) OF AttributeTypeAndValue
static bool decodeRdn(BerReader& in, ASN1T_RelativeDistinguishedName& v) noexcept {
  BerReader set;
  return in.readSet(set) && rtDecodeSeqOf<ASN1T_AttributeTypeAndValue>(set, v, decodeTypeAndValue);
}

// Name ::= CHOICE { rdnSequence RDNSequence }; RDNSequence ::= SEQUENCE OF
// RelativeDistinguishedName
bool asn1D_Name(BerReader& in, ASN1T_Name& v) noexcept {
  BerReader seq;
  return in.readSequence(seq) &&
         rtDecodeSeqOf<ASN1T_RelativeDistinguishedName>(seq, v.rdnSequence, decodeRdn);
}

bool asn1D_NameElement(BerReader& in, ASN1OpenType& v) noexcept {
  const OSOCTET* start = in.position();
  BerReader seq, rdn;
  ASN1T_AttributeTypeAndValue atv;
  if (!in.readSequence(seq)) return false;
  while (!seq.empty()) {
    if (!seq.readSet(rdn)) return false;
    while (!rdn.empty()) {
      if (!decodeTypeAndValue(rdn, atv)) return false;
    }
  }
  if (static_cast<std::uint64_t>(in.position() - start) > UINT32_MAX) return in.fail(ASN_E_INVLEN);
  v = {static_cast<OSUINT32>(in.position() - start), start};
  return true;
}

void asn1E_Name(DerWriter& out, const ASN1T_Name& v) noexcept {
  const std::size_t seq = out.open(kTagSequence);
  for (const ASN1TSeqOfList* rdn : rtSeqOfItems<ASN1TSeqOfList>(v.rdnSequence)) {
    const std::size_t set = out.open(kTagSet);
    for (const ASN1T_AttributeTypeAndValue* atv : rtSeqOfItems<ASN1T_AttributeTypeAndValue>(*rdn)) {
      const std::size_t pair = out.open(kTagSequence);
      out.putObjId(atv->type);
      out.putOpenType(atv->value);
      out.close(pair);
    }
    out.closeSetOf(set);
  }
  out.close(seq);
}

bool asn1D_DirectoryString(BerReader& in, ASN1T_DirectoryString& v) noexcept {
  ASN1TAG tag;
  if (!in.peekTag(tag) || !isDirectoryStringTag(tag)) return in.fail(ASN_E_BADTAG);
  v.tag = asn1Primitive(tag);
  return in.readOctetString(v.value, v.tag);
}

void asn1E_DirectoryString(DerWriter& out, const ASN1T_DirectoryString& v) noexcept {
  if (!isDirectoryStringTag(v.tag)) return out.fail(ASN_E_INVPARAM);
  out.putOctetString(v.value, asn1Primitive(v.tag));
}

// AnotherName ::= SEQUENCE { type-id OBJECT IDENTIFIER, value [0] EXPLICIT ANY }, here under the
// implicit [0] of GeneralName.
static bool decodeAnotherName(BerReader& in, ASN1T_AnotherName& v) noexcept {
  BerReader seq, value;
  return in.readConstructed(tagged(0, true), seq) && seq.readObjId(v.type_id) &&
         seq.readConstructed(tagged(0, true), value) && value.readOpenType(v.value) &&
         value.finish() && seq.finish();
}

// EDIPartyName ::= SEQUENCE { nameAssigner [0] DirectoryString OPTIONAL,
//                             partyName [1] DirectoryString }, under the implicit [5].
// DirectoryString is a CHOICE, so its tags are explicit.
static bool decodeEdiPartyName(BerReader& in, ASN1T_EDIPartyName& v) noexcept {
  BerReader seq, assigner, party;
  if (!in.readConstructed(tagged(5, true), seq)) return false;
  if (seq.nextIs(tagged(0, true))) {
    v.m.nameAssignerPresent = 1;
    if (!seq.readConstructed(tagged(0, true), assigner) ||
        !asn1D_DirectoryString(assigner, v.nameAssigner) || !assigner.finish())
      return false;
  }
  return seq.readConstructed(tagged(1, true), party) && asn1D_DirectoryString(party, v.partyName) &&
         party.finish() && seq.finish();
}

template <class T>
static T* newAlternative(BerReader& in) noexcept {
  T* value = rtAllocZ<T>(in.context());
  if (value == nullptr) in.fail(ASN_E_NOMEM);
  return value;
}

bool asn1D_GeneralName(BerReader& in, ASN1T_GeneralName& v) noexcept {
  ASN1TAG tag;
  if (!in.peekTag(tag)) return in.fail(in.empty() ? ASN_E_ENDOFBUF : ASN_E_BADTAG);
  if (asn1TagClass(tag) != ASN1_CONTEXT || asn1TagNumber(tag) > 8) return in.fail(ASN_E_BADTAG);
  const OSUINT32 number = asn1TagNumber(tag);
  v.t = static_cast<int>(number) + 1;
  switch (v.t) {
    case T_GeneralName_otherName:
      return (v.u.otherName = newAlternative<ASN1T_AnotherName>(in)) != nullptr &&
             decodeAnotherName(in, *v.u.otherName);
    case T_GeneralName_rfc822Name:
      return in.readText(v.u.rfc822Name, tagged(1, false));
    case T_GeneralName_dNSName:
      return in.readText(v.u.dNSName, tagged(2, false));
    case T_GeneralName_x400Address:
      // ORAddress is carried whole; a primitive [3] cannot hold a SEQUENCE.
      if (!asn1IsConstructed(tag)) return in.fail(ASN_E_BADTAG);
      return (v.u.x400Address = newAlternative<ASN1OpenType>(in)) != nullptr &&
             in.readOpenType(*v.u.x400Address);
    case T_GeneralName_directoryName: {
      // Name is a CHOICE, so [4] is explicit.
      BerReader name;
      return (v.u.directoryName = newAlternative<ASN1T_Name>(in)) != nullptr &&
             in.readConstructed(tagged(4, true), name) && asn1D_Name(name, *v.u.directoryName) &&
             name.finish();
    }
    case T_GeneralName_ediPartyName:
      return (v.u.ediPartyName = newAlternative<ASN1T_EDIPartyName>(in)) != nullptr &&
             decodeEdiPartyName(in, *v.u.ediPartyName);
    case T_GeneralName_uniformResourceIdentifier:
      return in.readText(v.u.uniformResourceIdentifier, tagged(6, false));
    case T_GeneralName_iPAddress:
      return (v.u.iPAddress = newAlternative<ASN1DynOctStr>(in)) != nullptr &&
             in.readOctetString(*v.u.iPAddress, tagged(7, false));
    default:  // T_GeneralName_registeredID
      return (v.u.registeredID = newAlternative<ASN1OBJID>(in)) != nullptr &&
             in.readObjId(*v.u.registeredID, tagged(8, false));
  }
}

void asn1E_GeneralName(DerWriter& out, const ASN1T_GeneralName& v) noexcept {
  switch (v.t) {
    case T_GeneralName_otherName: {
      const std::size_t seq = out.open(tagged(0, true));
      out.putObjId(v.u.otherName->type_id);
      const std::size_t value = out.open(tagged(0, true));
      out.putOpenType(v.u.otherName->value);
      out.close(value);
      out.close(seq);
      return;
    }
    case T_GeneralName_rfc822Name:
      return out.putText(v.u.rfc822Name, tagged(1, false));
    case T_GeneralName_dNSName:
      return out.putText(v.u.dNSName, tagged(2, false));
    case T_GeneralName_x400Address:
      return out.putOpenType(*v.u.x400Address);
    case T_GeneralName_directoryName: {
      const std::size_t name = out.open(tagged(4, true));
      asn1E_Name(out, *v.u.directoryName);
      out.close(name);
      return;
    }
    case T_GeneralName_ediPartyName: {
      const std::size_t seq = out.open(tagged(5, true));
      if (v.u.ediPartyName->m.nameAssignerPresent) {
        const std::size_t assigner = out.open(tagged(0, true));
        asn1E_DirectoryString(out, v.u.ediPartyName->nameAssigner);
        out.close(assigner);
      }
      const std::size_t party = out.open(tagged(1, true));
      asn1E_DirectoryString(out, v.u.ediPartyName->partyName);
      out.close(party);
      out.close(seq);
      return;
    }
    case T_GeneralName_uniformResourceIdentifier:
      return out.putText(v.u.uniformResourceIdentifier, tagged(6, false));
    case T_GeneralName_iPAddress:
      return out.putOctetString(*v.u.iPAddress, tagged(7, false));
    case T_GeneralName_registeredID:
      return out.putObjId(*v.u.registeredID, tagged(8, false));
    default:
      return out.fail(ASN_E_INVPARAM);
  }
}

// GeneralNames ::= SEQUENCE SIZE (1..MAX) OF GeneralName
bool asn1D_GeneralNames(BerReader& in, ASN1T_GeneralNames& v) noexcept {
  BerReader seq;
  return in.readSequence(seq) && rtDecodeSeqOf<ASN1T_GeneralName>(seq, v, asn1D_GeneralName);
}

void asn1E_GeneralNames(DerWriter& out, const ASN1T_GeneralNames& v) noexcept {
  const std::size_t seq = out.open(kTagSequence);
  for (const ASN1T_GeneralName* name : rtSeqOfItems<ASN1T_GeneralName>(v)) {
    asn1E_GeneralName(out, *name);
  }
  out.close(seq);
}
