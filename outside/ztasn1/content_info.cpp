#include "outside/ztasn1/content_info.h"

#include "outside/ztasn1/object_identifier.h"
#include "outside/ztasn1/ztasn1_errors.h"

namespace Zanthorel {
namespace ASN1 {

CContentInfo::CContentInfo() = default;

CContentInfo::CContentInfo(const char* contentType)
    : contentType_(contentType != nullptr ? contentType : "") {}

CContentInfo::CContentInfo(const char* contentType, const CBlob& content)
    : contentType_(contentType != nullptr ? contentType : ""), content_(content) {}

void CContentInfo::put_contentType(const char* contentType) {
  contentType_ = contentType != nullptr ? contentType : "";
}

void CContentInfo::put_content(const CBlob& content) {
  content_ = content;
}

void ASN1T_ContentInfo_traits::set(ASN1CTXT* ctxt, ASN1T_ContentInfo& target,
                                   const CContentInfo& source) {
  target = ASN1T_ContentInfo{};
  ASN1TObjId_traits::set(ctxt, target.contentType, source.get_contentType());
  const CBlob& content = source.get_content();
  if (!content.empty()) {
    checkSingleElement(content);
    target.m.contentPresent = 1;
    target.content.data = copyToContext(ctxt, content.pbData(), content.cbData());
    target.content.numocts = content.cbData();
  }
}

void ASN1T_ContentInfo_traits::get(const ASN1T_ContentInfo& source, CContentInfo& target) {
  std::string contentType;
  ASN1TObjId_traits::get(source.contentType, contentType);
  target.put_contentType(contentType.c_str());
  target.put_content(source.m.contentPresent ? CBlob(source.content.data, source.content.numocts)
                                             : CBlob());
}

}  // namespace ASN1
}  // namespace Zanthorel
