#include "outside/ztasn1/extensions.h"

#include "outside/ztasn1/object_identifier.h"
#include "outside/ztasn1/ztasn1_errors.h"

namespace Zanthorel {
namespace ASN1 {

CExtension::CExtension() = default;

CExtension::CExtension(const char* extnID, bool critical, const CBlob& value)
    : extnID_(extnID != nullptr ? extnID : ""), critical_(critical), extnValue_(value) {}

void ASN1T_Extensions_traits::set(ASN1CTXT* ctxt, ASN1T_Extensions& target,
                                  const CExtensions& source) {
  target = ASN1T_Extensions{};
  for (const CExtension& extension : source) {
    auto* item = rtSeqOfAppendNew<ASN1T_Extension>(ctxt, target);
    if (item == nullptr) ATL::AtlThrow(CRYPT_E_ASN1_MEMORY);
    ASN1TObjId_traits::set(ctxt, item->extnID, extension.get_extnID());
    item->critical = extension.get_critical();
    const CBlob& value = extension.get_extnValue();
    item->extnValue.data = copyToContext(ctxt, value.pbData(), value.cbData());
    item->extnValue.numocts = value.cbData();
  }
}

void ASN1T_Extensions_traits::get(const ASN1T_Extensions& source, CExtensions& target) {
  std::string id;
  for (const ASN1T_Extension* item : rtSeqOfItems<ASN1T_Extension>(source)) {
    ASN1TObjId_traits::get(item->extnID, id);
    target.emplace_back(id.c_str(), item->critical != 0,
                        CBlob(item->extnValue.data, item->extnValue.numocts));
  }
}

}  // namespace ASN1
}  // namespace Zanthorel
