// CAttrValue, CAttribute, CAttributes: the attributes of a CMS signer or an Authenticode request.
//
//   CAttributes attrs;
//   CAttrSigningTime when(CDateTime::now());
//   CAttribute signingTime(when.get_oid());
//   signingTime.add(when);
//   attrs.push_back(signingTime);
//   auto it = attrs.find("1.2.840.113549.1.9.5");
#pragma once

#include <cstddef>
#include <string>

#include "outside/asn1/cms.h"
#include "outside/ztlib/blob.h"
#include "outside/ztlib/date_time.h"
#include "outside/ztlib/dll_list.h"
#include "sdk/export.h"

namespace Zanthorel {
namespace ASN1 {

// One value of an attribute: the attribute's identifier and the value's complete encoding.
class ZTASN1_API CAttrValue {
 public:
  CAttrValue();
  CAttrValue(const char* oid, const CBlob& value);

  const char* get_oid() const noexcept { return oid_.c_str(); }
  const CBlob& get_value() const noexcept { return value_; }

  friend bool operator==(const CAttrValue& a, const CAttrValue& b) {
    return a.oid_ == b.oid_ && a.value_ == b.value_;
  }

 protected:
  std::string oid_;
  CBlob value_;
};

// The value of a signingTime attribute (1.2.840.113549.1.9.5).
class ZTASN1_API CAttrSigningTime : public CAttrValue {
 public:
  static const char* const kOid;

  // Encodes `time` as RFC 5652 asks: UTCTime for the years 1950 to 2049, GeneralizedTime
  // otherwise, whole seconds.
  explicit CAttrSigningTime(const CDateTime& time);
  // From an encoded value; throws CRYPT_E_ASN1_INTERNAL when it is no UTCTime or
  // GeneralizedTime holding a valid time.
  explicit CAttrSigningTime(const CBlob& value);

  const CDateTime& get_time() const noexcept { return time_; }

 private:
  CDateTime time_;
};

class ZTASN1_API CAttribute {
 public:
  typedef CDllList<CAttrValue>::const_iterator const_iterator;

  CAttribute();
  explicit CAttribute(const char* oid);

  // Appends a copy of `value`.
  void add(const CAttrValue& value);
  // Appends a value given by its encoding.
  void add(const CBlob& value);

  const char* get_oid() const noexcept { return oid_.c_str(); }
  std::size_t size() const noexcept { return values_.size(); }
  const_iterator begin() const noexcept { return values_.begin(); }
  const_iterator end() const noexcept { return values_.end(); }

  friend bool operator==(const CAttribute& a, const CAttribute& b) {
    return a.oid_ == b.oid_ && a.values_ == b.values_;
  }

 private:
  std::string oid_;
  CDllList<CAttrValue> values_;
};

class ZTASN1_API CAttributes : public CDllList<CAttribute> {
 public:
  // The first attribute with identifier `oid`, or end().
  iterator find(const char* oid);
  const_iterator find(const char* oid) const;
};

struct ZTASN1_API ASN1T_Attribute_traits {
  static void set(ASN1CTXT* ctxt, ASN1T_Attribute& target, const CAttribute& source);
  static void get(const ASN1T_Attribute& source, CAttribute& target);
};

// Conversion of a whole list with the element traits `Traits`.
template <class TStruct, class Traits, class TObject, class TList>
struct ASN1TSeqOfList_traits {
  static void set(ASN1CTXT* ctxt, ASN1TSeqOfList& target, const TList& source);
  static void get(const ASN1TSeqOfList& source, TList& target);
};

// The attribute lists: Attributes ::= SET OF Attribute.
template <>
struct ZTASN1_API
    ASN1TSeqOfList_traits<ASN1T_Attribute, ASN1T_Attribute_traits, CAttribute, CAttributes> {
  static void set(ASN1CTXT* ctxt, ASN1TSeqOfList& target, const CAttributes& source);
  static void get(const ASN1TSeqOfList& source, CAttributes& target);
};

typedef ASN1TSeqOfList_traits<ASN1T_Attribute, ASN1T_Attribute_traits, CAttribute, CAttributes>
    ASN1T_Attributes_traits;

}  // namespace ASN1
}  // namespace Zanthorel
