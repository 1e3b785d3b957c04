#include "outside/ztasn1/general_name.h"

#include "outside/ztasn1/object_identifier.h"
#include "outside/ztasn1/ztasn1_errors.h"

using Zanthorel::BER::BerReader;
using Zanthorel::BER::DerWriter;

namespace Zanthorel {
namespace ASN1 {
namespace {

// Decodes `bytes`, copied into the context first, as exactly one value of a codec type.
template <class T>
void decodeInto(ASN1CTXT* ctxt, const CBlob& bytes, T& value, bool (*decoder)(BerReader&, T&)) {
  const OSOCTET* copy = copyToContext(ctxt, bytes.pbData(), bytes.cbData());
  BerReader in(copy, bytes.cbData(), ctxt);
  if (!decoder(in, value) || !in.finish()) ATL::AtlThrow(E_INVALIDARG);
}

// The DER encoding of one codec value.
template <class T>
CBlob encodeValue(const T& value, void (*encoder)(DerWriter&, const T&)) {
  ASN1CTXT ctxt;
  DerWriter out(&ctxt);
  encoder(out, value);
  if (!out.ok()) ATL::AtlThrow(CRYPT_E_ASN1_INTERNAL);
  return CBlob(out.data(), static_cast<std::uint32_t>(out.size()));
}

template <class T>
T* allocAlternative(ASN1CTXT* ctxt) {
  T* value = rtAllocZ<T>(ctxt);
  if (value == nullptr) ATL::AtlThrow(CRYPT_E_ASN1_MEMORY);
  return value;
}

bool isTextType(CGeneralName::Type type) {
  return type == CGeneralName::rfc822Name || type == CGeneralName::dNSName ||
         type == CGeneralName::uniformResourceIdentifier || type == CGeneralName::registeredID;
}

}  // namespace

CGeneralName::CGeneralName() = default;

CGeneralName::CGeneralName(Type type, const char* text)
    : type_(type), text_(text != nullptr ? text : "") {
  if (!isTextType(type)) ATL::AtlThrow(E_INVALIDARG);
}

CGeneralName::CGeneralName(Type type, const char* text, const CBlob& value)
    : type_(type), text_(text != nullptr ? text : ""), value_(value) {}

CGeneralName CGeneralName::fromDirectoryName(const CBlob& name) {
  return CGeneralName(directoryName, nullptr, name);
}

CGeneralName CGeneralName::fromIPAddress(const CBlob& address) {
  return CGeneralName(iPAddress, nullptr, address);
}

CGeneralName CGeneralName::fromOtherName(const char* typeId, const CBlob& value) {
  return CGeneralName(otherName, typeId, value);
}

CGeneralName CGeneralName::fromX400Address(const CBlob& element) {
  return CGeneralName(x400Address, nullptr, element);
}

CGeneralName CGeneralName::fromEDIPartyName(const CBlob& element) {
  return CGeneralName(ediPartyName, nullptr, element);
}

void ASN1T_GeneralName_traits::set(ASN1CTXT* ctxt, ASN1T_GeneralName& target,
                                   const CGeneralName& source) {
  target = ASN1T_GeneralName{};
  const CBlob& value = source.get_value();
  switch (source.get_type()) {
    case CGeneralName::rfc822Name:
      target.u.rfc822Name = copyTextToContext(ctxt, source.get_text());
      break;
    case CGeneralName::dNSName:
      target.u.dNSName = copyTextToContext(ctxt, source.get_text());
      break;
    case CGeneralName::uniformResourceIdentifier:
      target.u.uniformResourceIdentifier = copyTextToContext(ctxt, source.get_text());
      break;
    case CGeneralName::registeredID:
      target.u.registeredID = allocAlternative<ASN1OBJID>(ctxt);
      ASN1TObjId_traits::set(ctxt, *target.u.registeredID, source.get_text());
      break;
    case CGeneralName::iPAddress:
      target.u.iPAddress = allocAlternative<ASN1DynOctStr>(ctxt);
      target.u.iPAddress->data = copyToContext(ctxt, value.pbData(), value.cbData());
      target.u.iPAddress->numocts = value.cbData();
      break;
    case CGeneralName::directoryName:
      target.u.directoryName = allocAlternative<ASN1T_Name>(ctxt);
      decodeInto(ctxt, value, *target.u.directoryName, asn1D_Name);
      break;
    case CGeneralName::otherName:
      checkSingleElement(value);
      target.u.otherName = allocAlternative<ASN1T_AnotherName>(ctxt);
      ASN1TObjId_traits::set(ctxt, target.u.otherName->type_id, source.get_text());
      target.u.otherName->value.data = copyToContext(ctxt, value.pbData(), value.cbData());
      target.u.otherName->value.numocts = value.cbData();
      break;
    case CGeneralName::x400Address:
    case CGeneralName::ediPartyName: {
      // Held as the complete alternative element: decode it as a GeneralName.
      ASN1T_GeneralName decoded;
      decodeInto(ctxt, value, decoded, asn1D_GeneralName);
      if (decoded.t != static_cast<int>(source.get_type())) ATL::AtlThrow(E_INVALIDARG);
      target = decoded;
      return;
    }
    default:
      ATL::AtlThrow(E_INVALIDARG);
  }
  target.t = static_cast<int>(source.get_type());
}

void ASN1T_GeneralName_traits::get(const ASN1T_GeneralName& source, CGeneralName& target) {
  std::string text;
  CBlob value;
  switch (source.t) {
    case T_GeneralName_rfc822Name:
      text = source.u.rfc822Name;
      break;
    case T_GeneralName_dNSName:
      text = source.u.dNSName;
      break;
    case T_GeneralName_uniformResourceIdentifier:
      text = source.u.uniformResourceIdentifier;
      break;
    case T_GeneralName_registeredID:
      ASN1TObjId_traits::get(*source.u.registeredID, text);
      break;
    case T_GeneralName_iPAddress:
      value = CBlob(source.u.iPAddress->data, source.u.iPAddress->numocts);
      break;
    case T_GeneralName_directoryName:
      value = encodeValue(*source.u.directoryName, asn1E_Name);
      break;
    case T_GeneralName_otherName:
      ASN1TObjId_traits::get(source.u.otherName->type_id, text);
      value = CBlob(source.u.otherName->value.data, source.u.otherName->value.numocts);
      break;
    case T_GeneralName_x400Address:
    case T_GeneralName_ediPartyName:
      value = encodeValue(source, asn1E_GeneralName);
      break;
    default:
      ATL::AtlThrow(E_INVALIDARG);
  }
  target = CGeneralName(static_cast<CGeneralName::Type>(source.t), text.c_str(), value);
}

}  // namespace ASN1
}  // namespace Zanthorel
