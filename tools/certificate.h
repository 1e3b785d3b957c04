// An X.509 certificate read by OpenSSL, with the parts that tokens name it by.
#pragma once

#include <string>

#include "outside/ztasn1/big_integer.h"
#include "outside/ztlib/blob.h"
#include "outside/ztlib/date_time.h"
#include "tools/openssl_types.h"

namespace Zanthorel {
namespace Tools {

class Certificate {
 public:
  // Throws ToolError when `der` is no certificate.
  explicit Certificate(const CBlob& der);

  const CBlob& der() const noexcept { return der_; }
  X509* x509() const noexcept { return x509_.get(); }
  // The DER Names.
  CBlob issuerName() const;
  CBlob subjectName() const;
  ASN1::CBigInteger serialNumber() const;
  CBlob subjectKeyIdentifier() const;  // empty when there is none
  CDateTime notBefore() const;
  CDateTime notAfter() const;

 private:
  CBlob der_;
  X509Ptr x509_;
};

// A DER Name as one line of text, as RFC 2253 writes it: "CN=zttsp TSA,O=zttsp". Bytes
// that are no Name give their hex digits.
std::string nameText(const CBlob& name);

// The seconds of an OpenSSL time.
CDateTime dateTimeOf(const ASN1_TIME* time);

}  // namespace Tools
}  // namespace Zanthorel
