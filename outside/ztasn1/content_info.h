// CContentInfo: a content type with its content, as a ContentInfo carries them.
//
//   // PKCS #7 data holding the signature to be stamped:
//   CContentInfo data("1.2.840.113549.1.7.1", toOctetString(signature));
#pragma once

#include <string>

#include "outside/asn1/cms.h"
#include "outside/ztlib/blob.h"
#include "sdk/export.h"

namespace Zanthorel {
namespace ASN1 {

class ZTASN1_API CContentInfo {
 public:
  CContentInfo();
  explicit CContentInfo(const char* contentType);
  // `content` is the encoding of the element under [0]; empty means no content.
  CContentInfo(const char* contentType, const CBlob& content);

  const char* get_contentType() const noexcept { return contentType_.c_str(); }
  const CBlob& get_content() const noexcept { return content_; }
  void put_contentType(const char* contentType);
  void put_content(const CBlob& content);

  friend bool operator==(const CContentInfo& a, const CContentInfo& b) {
    return a.contentType_ == b.contentType_ && a.content_ == b.content_;
  }

 private:
  std::string contentType_;
  CBlob content_;
};

struct ZTASN1_API ASN1T_ContentInfo_traits {
  // Throws E_INVALIDARG when the content type is no identifier or the content no single
  // encoded element.
  static void set(ASN1CTXT* ctxt, ASN1T_ContentInfo& target, const CContentInfo& source);
  static void get(const ASN1T_ContentInfo& source, CContentInfo& target);
};

}  // namespace ASN1
}  // namespace Zanthorel
