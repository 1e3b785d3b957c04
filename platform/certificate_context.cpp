// CertCreateCertificateContext and CertFreeCertificateContext: OpenSSL checks each field of the
// certificate, the context carries a CERT_INFO filled from it in the Windows forms. Contexts are
// reference-counted and kept by their encoding (certificate_cache.h): a certificate given again
// gets another reference to the context already made.
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
#include "platform/certificate_cache.h"
#include "platform/openssl_ptr.h"

using Zanthorel::BER::BerReader;

namespace Zanthorel {
namespace Platform {

namespace {

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

// Past the outer SEQUENCE, anything malformed is a corrupt certificate, as Windows reports it.
void need(bool ok) {
  if (!ok) fail(CRYPT_E_ASN1_CORRUPT);
}

// OpenSSL's decoder of field type T checks that `element` is one well-formed T.
template <typename T>
void checkField(T* (*d2i)(T**, const unsigned char**, long), void (*release)(T*),
                const ASN1OpenType& element) {
  const unsigned char* cursor = element.data;
  T* parsed = d2i(nullptr, &cursor, static_cast<long>(element.numocts));
  const bool whole = parsed != nullptr && cursor == element.data + element.numocts;
  release(parsed);
  if (!whole) fail(CRYPT_E_ASN1_CORRUPT);
}

CRYPT_DATA_BLOB spanOf(const ASN1OpenType& element) {
  return {element.numocts, const_cast<BYTE*>(element.data)};
}

// SubjectPublicKeyInfo ::= SEQUENCE { algorithm AlgorithmIdentifier, subjectPublicKey BIT STRING }
// The key is carried as its bits; it is decoded only when a signature is checked with it.
void fillPublicKeyInfo(CertificateRecord& record, KeptReader& tbs, CERT_PUBLIC_KEY_INFO& info) {
  BerReader seq;
  ASN1OpenType algorithm, keyElement;
  need(tbs.reader().readSequence(seq) && seq.readOpenType(algorithm));
  BerReader keyReader = seq;
  ASN1DynBitStr key;
  need(keyReader.readOpenType(keyElement) && seq.readBitString(key) && seq.finish());
  checkField(d2i_X509_ALGOR, X509_ALGOR_free, algorithm);
  checkField(d2i_ASN1_BIT_STRING, ASN1_BIT_STRING_free, keyElement);
  fillAlgorithm(record, spanOf(algorithm), info.Algorithm);
  const DWORD octets = (key.numbits + 7) / 8;
  info.PublicKey = {octets, const_cast<BYTE*>(key.data), octets * 8 - key.numbits};
}

// The serial number's content octets, least significant first as Windows keeps them.
CRYPT_INTEGER_BLOB littleEndianSerial(CertificateRecord& record, const ASN1OpenType& element) {
  checkField(d2i_ASN1_INTEGER, ASN1_INTEGER_free, element);
  ASN1CTXT ctxt;
  BerReader in(element.data, element.numocts, &ctxt);
  ASN1DynOctStr octets;
  if (!in.readIntegerOctets(octets)) failWithAsn1Status(ctxt);
  const CRYPT_DATA_BLOB copy = record.keepBlob(octets.data, octets.numocts);
  std::reverse(copy.pbData, copy.pbData + copy.cbData);
  return copy;
}

CERT_NAME_BLOB nameAsReceived(const ASN1OpenType& element) {
  checkField(d2i_X509_NAME, X509_NAME_free, element);
  return spanOf(element);
}

// 100-nanosecond intervals since 1601-01-01 UTC.
FILETIME fileTimeOf(const ASN1OpenType& element) {
  const unsigned char* cursor = element.data;
  ASN1TimePtr time(d2i_ASN1_TIME(nullptr, &cursor, static_cast<long>(element.numocts)));
  std::tm t{};
  if (!time || ASN1_TIME_to_tm(time.get(), &t) != 1) fail(CRYPT_E_ASN1_CORRUPT);
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

// [1] / [2] IMPLICIT UniqueIdentifier (BIT STRING).
CRYPT_BIT_BLOB uniqueId(KeptReader& tbs, ASN1TAG tag) {
  ASN1DynBitStr bits;
  need(tbs.reader().readBitString(bits, tag));
  const DWORD octets = (bits.numbits + 7) / 8;
  return {octets, const_cast<BYTE*>(bits.data), octets * 8 - bits.numbits};
}

// [3] EXPLICIT Extensions: OpenSSL reads them, the context keeps them in the Windows form.
void fillExtensions(CertificateRecord& record, KeptReader& tbs) {
  BerReader wrapper;
  ASN1OpenType element;
  need(tbs.reader().readConstructed(asn1ContextTag(3, true), wrapper) &&
       wrapper.readOpenType(element) && wrapper.finish());
  const unsigned char* cursor = element.data;
  std::unique_ptr<STACK_OF(X509_EXTENSION), void (*)(STACK_OF(X509_EXTENSION)*)> extensions(
      d2i_X509_EXTENSIONS(nullptr, &cursor, static_cast<long>(element.numocts)),
      [](STACK_OF(X509_EXTENSION) * list) {
        sk_X509_EXTENSION_pop_free(list, X509_EXTENSION_free);
      });
  if (!extensions || cursor != element.data + element.numocts) fail(CRYPT_E_ASN1_CORRUPT);
  const int count = sk_X509_EXTENSION_num(extensions.get());
  record.extensions.resize(static_cast<std::size_t>(std::max(count, 0)));
  for (int i = 0; i < count; ++i) {
    X509_EXTENSION* extension = sk_X509_EXTENSION_value(extensions.get(), i);
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

// Certificate ::= SEQUENCE { tbsCertificate TBSCertificate, signatureAlgorithm
//   AlgorithmIdentifier, signature BIT STRING }
// Each field is checked by OpenSSL's decoder of its type. The whole certificate is not given to
// d2i_X509, which in OpenSSL 3.0 decodes the public key through the provider decoders on every
// call, a hundred microseconds that signing a token would pay each time; the key is decoded when
// a signature is checked with it.
void fillInfo(CertificateRecord& record, const BYTE* encoded, DWORD length) {
  KeptReader whole({length, const_cast<BYTE*>(encoded)});
  BerReader certificate, tbsContents;
  ASN1OpenType tbsElement, signatureAlgorithm, signature;
  need(whole.reader().readSequence(certificate) && certificate.readOpenType(tbsElement) &&
       certificate.readOpenType(signatureAlgorithm) && certificate.readOpenType(signature) &&
       certificate.finish());
  checkField(d2i_X509_ALGOR, X509_ALGOR_free, signatureAlgorithm);
  checkField(d2i_ASN1_BIT_STRING, ASN1_BIT_STRING_free, signature);

  // TBSCertificate ::= SEQUENCE { version [0] EXPLICIT Version DEFAULT v1, serialNumber,
  //   signature, issuer, validity, subject, subjectPublicKeyInfo,
  //   issuerUniqueID [1] IMPLICIT OPTIONAL, subjectUniqueID [2] IMPLICIT OPTIONAL,
  //   extensions [3] EXPLICIT OPTIONAL }
  KeptReader tbs(spanOf(tbsElement));
  BerReader& in = tbs.reader();
  need(in.readSequence(tbsContents));
  in = tbsContents;
  CERT_INFO& info = record.info;
  info.dwVersion = CERT_V1;
  if (in.nextIs(asn1ContextTag(0, true))) {
    BerReader version;
    OSUINT32 number = 0;  // need() throws before a use; clang cannot tell
    need(in.readConstructed(asn1ContextTag(0, true), version) && version.readUInt32(number) &&
         version.finish());
    if (number > CERT_V3) fail(CRYPT_E_ASN1_CORRUPT);
    info.dwVersion = number;
  }
  ASN1OpenType serial, algorithm, issuer, subject;
  BerReader validity;
  ASN1OpenType notBefore, notAfter;
  need(in.readOpenType(serial) && in.readOpenType(algorithm) && in.readOpenType(issuer) &&
       in.readSequence(validity) && validity.readOpenType(notBefore) &&
       validity.readOpenType(notAfter) && validity.finish() && in.readOpenType(subject));
  info.SerialNumber = littleEndianSerial(record, serial);
  checkField(d2i_X509_ALGOR, X509_ALGOR_free, algorithm);
  fillAlgorithm(record, spanOf(algorithm), info.SignatureAlgorithm);
  info.Issuer = nameAsReceived(issuer);
  info.NotBefore = fileTimeOf(notBefore);
  info.NotAfter = fileTimeOf(notAfter);
  info.Subject = nameAsReceived(subject);
  fillPublicKeyInfo(record, tbs, info.SubjectPublicKeyInfo);
  if (in.nextIs(asn1ContextTag(1, false)))
    info.IssuerUniqueId = uniqueId(tbs, asn1ContextTag(1, false));
  if (in.nextIs(asn1ContextTag(2, false)))
    info.SubjectUniqueId = uniqueId(tbs, asn1ContextTag(2, false));
  if (in.nextIs(asn1ContextTag(3, true))) fillExtensions(record, tbs);
  need(in.finish());
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
    CertificateCache& cache = CertificateCache::instance();
    if (PCCERT_CONTEXT kept = cache.find(dwCertEncodingType, pbCertEncoded, cbCertEncoded))
      return kept;
    auto record = std::make_unique<CertificateRecord>();
    checkOneSequence(pbCertEncoded, cbCertEncoded);
    BYTE* encoded = record->keep(pbCertEncoded, cbCertEncoded);
    fillInfo(*record, encoded, cbCertEncoded);
    record->context = {dwCertEncodingType, encoded, cbCertEncoded, &record->info, record.get()};
    cache.add(*record);
    return &record.release()->context;
  });
}

BOOL WINAPI CertFreeCertificateContext(PCCERT_CONTEXT pCertContext) {
  if (pCertContext != nullptr) CertificateRecord::of(pCertContext)->release();
  return TRUE;
}
