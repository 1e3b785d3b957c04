// CertCreateCertificateContext and CertFreeCertificateContext: OpenSSL parses the certificate, the
// context carries a CERT_INFO filled from it in the Windows forms.
#include <openssl/objects.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <memory>
#include <vector>

#include "outside/asn1/pkix.h"
#include "outside/ztasn1/object_identifier.h"
#include "platform/api_guard.h"
#include "platform/asn1_errors.h"
#include "platform/openssl_ptr.h"

namespace Zanthorel {
namespace Platform {

namespace {

// Owns a context, its CERT_INFO and every byte they point at. The context's hCertStore points
// back here, so that CertFreeCertificateContext finds what to free.
class CertificateRecord {
 public:
  CERT_CONTEXT context{};
  CERT_INFO info{};

  BYTE* keep(const void* bytes, std::size_t count) {
    pieces_.emplace_back(new BYTE[count + 1]);
    BYTE* copy = pieces_.back().get();
    if (count != 0) std::memcpy(copy, bytes, count);
    copy[count] = 0;
    return copy;
  }
  LPSTR keepText(const char* text) {
    return reinterpret_cast<LPSTR>(keep(text, std::strlen(text)));
  }
  CRYPT_DATA_BLOB keepBlob(const void* bytes, std::size_t count) {
    return {static_cast<DWORD>(count), count != 0 ? keep(bytes, count) : nullptr};
  }
  // The DER that `i2d` writes for `object`.
  template <typename T>
  CRYPT_DATA_BLOB keepDer(int (*i2d)(const T*, unsigned char**), const T* object) {
    unsigned char* der = nullptr;
    const int length = i2d(object, &der);
    if (length <= 0) fail(CRYPT_E_ASN1_CORRUPT);
    CRYPT_DATA_BLOB blob = keepBlob(der, static_cast<std::size_t>(length));
    OPENSSL_free(der);
    return blob;
  }

  std::vector<CERT_EXTENSION> extensions;

 private:
  std::vector<std::unique_ptr<BYTE[]>> pieces_;
};

// Splits one encoding that the record keeps; throws its codec failure.
class KeptReader {
 public:
  explicit KeptReader(const CRYPT_DATA_BLOB& der) : reader_(der.pbData, der.cbData, &ctxt_) {}
  BerReader& reader() { return reader_; }
  void check(bool ok) {
    if (!ok) failWithAsn1Status(ctxt_);
  }

 private:
  ASN1CTXT ctxt_;
  BerReader reader_;
};

void fillAlgorithm(CertificateRecord& record, const CRYPT_DATA_BLOB& der,
                   CRYPT_ALGORITHM_IDENTIFIER& algorithm) {
  KeptReader in(der);
  ASN1T_AlgorithmIdentifier decoded;
  in.check(asn1D_AlgorithmIdentifier(in.reader(), decoded));
  std::string oid;
  ASN1::ASN1TObjId_traits::get(decoded.algorithm, oid);
  algorithm.pszObjId = record.keepText(oid.c_str());
  if (decoded.m.parametersPresent) {
    algorithm.Parameters = {decoded.parameters.numocts, const_cast<BYTE*>(decoded.parameters.data)};
  }
}

void fillPublicKeyInfo(CertificateRecord& record, X509* certificate) {
  const CRYPT_DATA_BLOB der = record.keepDer(i2d_X509_PUBKEY, X509_get_X509_PUBKEY(certificate));
  // SubjectPublicKeyInfo ::= SEQUENCE { algorithm AlgorithmIdentifier, subjectPublicKey BIT STRING
  // }
  KeptReader in(der);
  BerReader seq;
  ASN1OpenType algorithm;
  ASN1DynBitStr key;
  in.check(in.reader().readSequence(seq) && seq.readOpenType(algorithm) && seq.readBitString(key) &&
           seq.finish());
  CERT_PUBLIC_KEY_INFO& info = record.info.SubjectPublicKeyInfo;
  fillAlgorithm(record, {algorithm.numocts, const_cast<BYTE*>(algorithm.data)}, info.Algorithm);
  const DWORD octets = (key.numbits + 7) / 8;
  info.PublicKey = {octets, const_cast<BYTE*>(key.data), octets * 8 - key.numbits};
}

CRYPT_INTEGER_BLOB littleEndianSerial(CertificateRecord& record, X509* certificate) {
  const CRYPT_DATA_BLOB der = record.keepDer(i2d_ASN1_INTEGER, X509_get0_serialNumber(certificate));
  KeptReader in(der);
  ASN1DynOctStr octets;
  in.check(in.reader().readIntegerOctets(octets));
  BYTE* reversed = const_cast<BYTE*>(octets.data);
  std::reverse(reversed, reversed + octets.numocts);
  return {octets.numocts, reversed};
}

CERT_NAME_BLOB nameAsReceived(CertificateRecord& record, const X509_NAME* name) {
  const unsigned char* der = nullptr;
  std::size_t length = 0;
  if (X509_NAME_get0_der(name, &der, &length) != 1) fail(CRYPT_E_ASN1_CORRUPT);
  return record.keepBlob(der, length);
}

// 100-nanosecond intervals since 1601-01-01 UTC.
FILETIME fileTimeOf(const ASN1_TIME* time) {
  std::tm t{};
  if (ASN1_TIME_to_tm(time, &t) != 1) fail(CRYPT_E_ASN1_CORRUPT);
  // Days from 1601-01-01 to the date (proleptic Gregorian), by the usual civil-day count.
  const long long year = t.tm_year + 1900LL - (t.tm_mon < 2 ? 1 : 0);
  const long long era = (year >= 0 ? year : year - 399) / 400;
  const long long yearOfEra = year - era * 400;
  const long long month = t.tm_mon + 1;
  const long long dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + t.tm_mday - 1;
  const long long dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  const long long daysSince1970 = era * 146097 + dayOfEra - 719468;
  const long long daysSince1601 = daysSince1970 + 134774;
  const long long seconds = daysSince1601 * 86400 + t.tm_hour * 3600 + t.tm_min * 60 + t.tm_sec;
  const unsigned long long ticks =
      seconds < 0 ? 0 : static_cast<unsigned long long>(seconds) * 10000000ULL;
  return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

CRYPT_BIT_BLOB uniqueId(CertificateRecord& record, const ASN1_BIT_STRING* id) {
  if (id == nullptr) return {};
  const int length = ASN1_STRING_length(id);
  const DWORD unused = (id->flags & ASN1_STRING_FLAG_BITS_LEFT) != 0 ? (id->flags & 0x07) : 0;
  const CRYPT_DATA_BLOB bytes = record.keepBlob(ASN1_STRING_get0_data(id), length);
  return {bytes.cbData, bytes.pbData, length != 0 ? unused : 0};
}

void fillExtensions(CertificateRecord& record, X509* certificate) {
  const int count = X509_get_ext_count(certificate);
  record.extensions.resize(static_cast<std::size_t>(std::max(count, 0)));
  for (int i = 0; i < count; ++i) {
    X509_EXTENSION* extension = X509_get_ext(certificate, i);
    char oid[128];
    if (OBJ_obj2txt(oid, sizeof oid, X509_EXTENSION_get_object(extension), 1) <= 0)
      fail(CRYPT_E_ASN1_CORRUPT);
    const ASN1_OCTET_STRING* value = X509_EXTENSION_get_data(extension);
    record.extensions[i] = {
        record.keepText(oid), X509_EXTENSION_get_critical(extension) ? TRUE : FALSE,
        record.keepBlob(ASN1_STRING_get0_data(value), ASN1_STRING_length(value))};
  }
  record.info.cExtension = static_cast<DWORD>(record.extensions.size());
  record.info.rgExtension = record.extensions.empty() ? nullptr : record.extensions.data();
}

void fillInfo(CertificateRecord& record, X509* certificate) {
  CERT_INFO& info = record.info;
  info.dwVersion = static_cast<DWORD>(X509_get_version(certificate));
  info.SerialNumber = littleEndianSerial(record, certificate);
  fillAlgorithm(record, record.keepDer(i2d_X509_ALGOR, X509_get0_tbs_sigalg(certificate)),
                info.SignatureAlgorithm);
  info.Issuer = nameAsReceived(record, X509_get_issuer_name(certificate));
  info.NotBefore = fileTimeOf(X509_get0_notBefore(certificate));
  info.NotAfter = fileTimeOf(X509_get0_notAfter(certificate));
  info.Subject = nameAsReceived(record, X509_get_subject_name(certificate));
  fillPublicKeyInfo(record, certificate);
  const ASN1_BIT_STRING* issuerId = nullptr;
  const ASN1_BIT_STRING* subjectId = nullptr;
  X509_get0_uids(certificate, &issuerId, &subjectId);
  info.IssuerUniqueId = uniqueId(record, issuerId);
  info.SubjectUniqueId = uniqueId(record, subjectId);
  fillExtensions(record, certificate);
}

// The certificate must be one SEQUENCE; the codec names what is wrong with it.
void checkOneSequence(const BYTE* bytes, DWORD count) {
  ASN1CTXT ctxt;
  BerReader in(bytes, count, &ctxt);
  BerReader contents;
  if (!in.readSequence(contents)) failWithAsn1Status(ctxt);
}

}  // namespace
}  // namespace Platform
}  // namespace Zanthorel

using namespace Zanthorel::Platform;

PCCERT_CONTEXT WINAPI CertCreateCertificateContext(DWORD dwCertEncodingType,
                                                   const BYTE* pbCertEncoded, DWORD cbCertEncoded) {
  return guardedCall<PCCERT_CONTEXT>(nullptr, [&]() -> PCCERT_CONTEXT {
    if ((dwCertEncodingType & X509_ASN_ENCODING) == 0) fail(E_INVALIDARG);
    if (pbCertEncoded == nullptr && cbCertEncoded != 0) fail(E_INVALIDARG);
    checkOneSequence(pbCertEncoded, cbCertEncoded);
    auto record = std::make_unique<CertificateRecord>();
    BYTE* encoded = record->keep(pbCertEncoded, cbCertEncoded);
    const unsigned char* cursor = encoded;
    X509Ptr certificate(d2i_X509(nullptr, &cursor, static_cast<long>(cbCertEncoded)));
    if (!certificate) fail(CRYPT_E_ASN1_CORRUPT);
    fillInfo(*record, certificate.get());
    record->context = {dwCertEncodingType, encoded, cbCertEncoded, &record->info, record.get()};
    return &record.release()->context;
  });
}

BOOL WINAPI CertFreeCertificateContext(PCCERT_CONTEXT pCertContext) {
  if (pCertContext != nullptr) delete static_cast<CertificateRecord*>(pCertContext->hCertStore);
  return TRUE;
}
