#include "tools/certificate.h"

#include <openssl/x509v3.h>

#include "tools/report_values.h"
#include "tools/tool_error.h"

namespace Zanthorel {
namespace Tools {
namespace {

template <class T, int (*Encode)(const T*, unsigned char**)>
CBlob derOf(const T* value) {
  unsigned char* der = nullptr;
  const int length = Encode(value, &der);
  if (length <= 0) throw ToolError("cannot encode a certificate field");
  CBlob bytes(der, static_cast<std::uint32_t>(length));
  OPENSSL_free(der);
  return bytes;
}

}  // namespace

Certificate::Certificate(const CBlob& der) : der_(der) {
  const unsigned char* cursor = der.pbData();
  x509_.reset(d2i_X509(nullptr, &cursor, static_cast<long>(der.cbData())));
  if (!x509_) throw ToolError("not an X.509 certificate");
}

CBlob Certificate::issuerName() const {
  return derOf<X509_NAME, i2d_X509_NAME>(X509_get_issuer_name(x509_.get()));
}

CBlob Certificate::subjectName() const {
  return derOf<X509_NAME, i2d_X509_NAME>(X509_get_subject_name(x509_.get()));
}

ASN1::CBigInteger Certificate::serialNumber() const {
  const CBlob integer = derOf<ASN1_INTEGER, i2d_ASN1_INTEGER>(X509_get0_serialNumber(x509_.get()));
  // 02 <length> <two's complement octets>; a serial number stays below 128 length octets.
  const std::uint32_t header = integer.pbData()[1] < 0x80 ? 2 : 2 + (integer.pbData()[1] & 0x7F);
  return ASN1::CBigInteger::fromTwosComplement(integer.pbData() + header,
                                               integer.cbData() - header);
}

CBlob Certificate::subjectKeyIdentifier() const {
  const ASN1_OCTET_STRING* id = X509_get0_subject_key_id(x509_.get());
  return id == nullptr
             ? CBlob()
             : CBlob(ASN1_STRING_get0_data(id), static_cast<std::uint32_t>(ASN1_STRING_length(id)));
}

CDateTime Certificate::notBefore() const {
  return dateTimeOf(X509_get0_notBefore(x509_.get()));
}

CDateTime Certificate::notAfter() const {
  return dateTimeOf(X509_get0_notAfter(x509_.get()));
}

std::string nameText(const CBlob& name) {
  const unsigned char* cursor = name.pbData();
  const X509NamePtr parsed(d2i_X509_NAME(nullptr, &cursor, static_cast<long>(name.cbData())));
  const BioPtr out(BIO_new(BIO_s_mem()));
  if (!parsed || !out ||
      X509_NAME_print_ex(out.get(), parsed.get(), 0, XN_FLAG_RFC2253 & ~ASN1_STRFLGS_ESC_MSB) < 0)
    return hexText(name);
  char* text = nullptr;
  const long length = BIO_get_mem_data(out.get(), &text);
  return std::string(text, static_cast<std::size_t>(length));
}

CDateTime dateTimeOf(const ASN1_TIME* time) {
  struct tm parts = {};
  if (time == nullptr || ASN1_TIME_to_tm(time, &parts) != 1) return CDateTime();
  return CDateTime(static_cast<std::int64_t>(timegm(&parts)), 0);
}

}  // namespace Tools
}  // namespace Zanthorel
