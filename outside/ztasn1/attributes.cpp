#include "outside/ztasn1/attributes.h"

#include <cstring>

#include "outside/ztasn1/object_identifier.h"
#include "outside/ztasn1/ztasn1_errors.h"

using Zanthorel::BER::BerReader;
using Zanthorel::BER::DerWriter;

namespace Zanthorel {
namespace ASN1 {

const char* const CAttrSigningTime::kOid = "1.2.840.113549.1.9.5";

CAttrValue::CAttrValue() = default;

CAttrValue::CAttrValue(const char* oid, const CBlob& value)
    : oid_(oid != nullptr ? oid : ""), value_(value) {}

CAttrSigningTime::CAttrSigningTime(const CDateTime& time) : time_(time.get_seconds(), 0) {
  // RFC 5652 11.3: UTCTime from 1950 to 2049, GeneralizedTime outside; no fraction.
  const std::int64_t year = time_.year();
  const bool utc = year >= 1950 && year <= 2049;
  const CStringProxy text = utc ? time_.getUTCTime() : time_.getGeneralizedTime();
  ASN1CTXT ctxt;
  DerWriter out(&ctxt);
  out.putText(text.c_str(), utc ? kTagUTCTime : kTagGeneralizedTime);
  oid_ = kOid;
  value_ = CBlob(out.data(), static_cast<std::uint32_t>(out.size()));
}

CAttrSigningTime::CAttrSigningTime(const CBlob& value) : CAttrValue(kOid, value) {
  ASN1CTXT ctxt;
  BerReader in(value.pbData(), value.cbData(), &ctxt);
  const char* text = nullptr;
  bool ok;
  if (in.nextIs(kTagUTCTime)) {
    ok = in.readText(text, kTagUTCTime) && in.finish() &&
         CDateTime::parseUTCTime(text, std::strlen(text), time_);
  } else {
    ok = in.readText(text, kTagGeneralizedTime) && in.finish() &&
         CDateTime::parseGeneralizedTime(text, std::strlen(text), time_);
  }
  if (!ok) ATL::AtlThrow(CRYPT_E_ASN1_INTERNAL);
}

CAttribute::CAttribute() = default;

CAttribute::CAttribute(const char* oid) : oid_(oid != nullptr ? oid : "") {}

void CAttribute::add(const CAttrValue& value) {
  values_.push_back(value);
}

void CAttribute::add(const CBlob& value) {
  values_.push_back(CAttrValue(oid_.c_str(), value));
}

CAttributes::iterator CAttributes::find(const char* oid) {
  for (auto it = begin(); it != end(); ++it) {
    if (std::strcmp(it->get_oid(), oid) == 0) return it;
  }
  return end();
}

CAttributes::const_iterator CAttributes::find(const char* oid) const {
  for (auto it = begin(); it != end(); ++it) {
    if (std::strcmp(it->get_oid(), oid) == 0) return it;
  }
  return end();
}

void ASN1T_Attribute_traits::set(ASN1CTXT* ctxt, ASN1T_Attribute& target,
                                 const CAttribute& source) {
  target = ASN1T_Attribute{};
  ASN1TObjId_traits::set(ctxt, target.attrType, source.get_oid());
  for (const CAttrValue& value : source) {
    const CBlob& bytes = value.get_value();
    checkSingleElement(bytes);
    auto* item = rtSeqOfAppendNew<ASN1OpenType>(ctxt, target.attrValues);
    if (item == nullptr) ATL::AtlThrow(CRYPT_E_ASN1_MEMORY);
    item->data = copyToContext(ctxt, bytes.pbData(), bytes.cbData());
    item->numocts = bytes.cbData();
  }
}

void ASN1T_Attribute_traits::get(const ASN1T_Attribute& source, CAttribute& target) {
  std::string oid;
  ASN1TObjId_traits::get(source.attrType, oid);
  target = CAttribute(oid.c_str());
  for (const ASN1OpenType* value : rtSeqOfItems<ASN1OpenType>(source.attrValues)) {
    target.add(CBlob(value->data, value->numocts));
  }
}

void ASN1T_Attributes_traits::set(ASN1CTXT* ctxt, ASN1TSeqOfList& target,
                                  const CAttributes& source) {
  target = ASN1TSeqOfList{};
  for (const CAttribute& attribute : source) {
    auto* item = rtSeqOfAppendNew<ASN1T_Attribute>(ctxt, target);
    if (item == nullptr) ATL::AtlThrow(CRYPT_E_ASN1_MEMORY);
    ASN1T_Attribute_traits::set(ctxt, *item, attribute);
  }
}

void ASN1T_Attributes_traits::get(const ASN1TSeqOfList& source, CAttributes& target) {
  for (const ASN1T_Attribute* item : rtSeqOfItems<ASN1T_Attribute>(source)) {
    CAttribute attribute;
    ASN1T_Attribute_traits::get(*item, attribute);
    target.push_back(std::move(attribute));
  }
}

}  // namespace ASN1
}  // namespace Zanthorel
