// CGeneralName: one GeneralName (RFC 5280), any of its nine alternatives.
//
//   CGeneralName tsa = CGeneralName::fromDirectoryName(derName);
//   CGeneralName web(CGeneralName::uniformResourceIdentifier, "http://tsa.example/");
#pragma once

#include <string>

#include "outside/asn1/pkix.h"
#include "outside/ztlib/blob.h"
#include "sdk/export.h"

namespace Zanthorel {
namespace ASN1 {

class ZTASN1_API CGeneralName {
 public:
  // The alternatives, numbered by their tag plus 1.
  enum Type {
    none = 0,
    otherName,
    rfc822Name,
    dNSName,
    x400Address,
    directoryName,
    ediPartyName,
    uniformResourceIdentifier,
    iPAddress,
    registeredID
  };

  CGeneralName();
  // A name of a text alternative: rfc822Name, dNSName, uniformResourceIdentifier, or
  // registeredID (dotted text). Throws E_INVALIDARG for the other alternatives.
  CGeneralName(Type type, const char* text);
  // Any alternative from its parts (as get_text and get_value give them); no check is made.
  CGeneralName(Type type, const char* text, const CBlob& value);
  // A directoryName from the DER of a Name (30 ...).
  static CGeneralName fromDirectoryName(const CBlob& name);
  static CGeneralName fromIPAddress(const CBlob& address);
  // An otherName: its type identifier and the encoding of its value.
  static CGeneralName fromOtherName(const char* typeId, const CBlob& value);
  // An x400Address: the complete [3] element (A3 ...).
  static CGeneralName fromX400Address(const CBlob& element);
  // An ediPartyName: the complete [5] element (A5 ...).
  static CGeneralName fromEDIPartyName(const CBlob& element);

  Type get_type() const noexcept { return type_; }
  // rfc822Name, dNSName, uniformResourceIdentifier: the text; registeredID and otherName: the
  // identifier as dotted text; empty for the others.
  const char* get_text() const noexcept { return text_.c_str(); }
  // directoryName: DER Name; iPAddress: the address octets; otherName: the value's encoding;
  // x400Address and ediPartyName: the complete [3] or [5] element; empty for the others.
  const CBlob& get_value() const noexcept { return value_; }

  friend bool operator==(const CGeneralName& a, const CGeneralName& b) {
    return a.type_ == b.type_ && a.text_ == b.text_ && a.value_ == b.value_;
  }

 private:
  Type type_ = none;
  std::string text_;
  CBlob value_;
};

struct ZTASN1_API ASN1T_GeneralName_traits {
  // Fills `target` from `source` in the context's memory. Throws E_INVALIDARG for a name that
  // has no alternative or whose encoded parts do not decode.
  static void set(ASN1CTXT* ctxt, ASN1T_GeneralName& target, const CGeneralName& source);
  static void get(const ASN1T_GeneralName& source, CGeneralName& target);
};

}  // namespace ASN1
}  // namespace Zanthorel
