#include "tests/hostile/signed_data_builder.h"

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <stdexcept>

#include "outside/asn1rt/der_writer.h"
#include "outside/ztasn1/object_identifier.h"

using Zanthorel::CBlob;

namespace hostile_test {
namespace {

template <class T, void (*Free)(T*)>
struct Freer {
  void operator()(T* p) const { Free(p); }
};
using PKey = std::unique_ptr<EVP_PKEY, Freer<EVP_PKEY, EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, Freer<X509, X509_free>>;

ASN1OpenType openType(const CBlob& element) {
  return {element.cbData(), element.pbData()};
}

CBlob written(const DerWriter& out) {
  if (!out.ok()) throw std::runtime_error("test DER could not be written");
  return CBlob(out.data(), static_cast<std::uint32_t>(out.size()));
}

void putOid(DerWriter& out, ASN1CTXT& ctxt, const std::string& text) {
  ASN1OBJID oid;
  Zanthorel::ASN1::ASN1TObjId_traits::set(&ctxt, oid, text.c_str());
  out.putObjId(oid);
}

Certificate certificateOf(const tsa_test::Authority& authority) {
  const unsigned char* p = authority.certificate.pbData();
  Certificate certificate(d2i_X509(nullptr, &p, authority.certificate.cbData()));
  if (!certificate) throw std::runtime_error("no test certificate");
  return certificate;
}

CBlob sign(const tsa_test::Authority& authority, const CBlob& data) {
  const unsigned char* p = authority.key.pbData();
  const PKey key(d2i_AutoPrivateKey(nullptr, &p, authority.key.cbData()));
  EVP_MD_CTX* md = EVP_MD_CTX_new();
  std::size_t length = 0;
  CBlob signature;
  if (key && md && EVP_DigestSignInit(md, nullptr, EVP_sha256(), nullptr, key.get()) == 1 &&
      EVP_DigestSign(md, nullptr, &length, data.pbData(), data.cbData()) == 1) {
    signature.resize_to(static_cast<std::uint32_t>(length));
    if (EVP_DigestSign(md, signature.pbData(), &length, data.pbData(), data.cbData()) != 1)
      length = 0;
    signature.resize_to(static_cast<std::uint32_t>(length));
  }
  EVP_MD_CTX_free(md);
  if (signature.empty()) throw std::runtime_error("test signing failed");
  return signature;
}

// [0] signed attributes, in the order given or DER order.
CBlob signedAttributes(const std::vector<RawAttribute>& attributes, bool sorted) {
  ASN1CTXT ctxt;
  DerWriter out(&ctxt);
  const std::size_t set = out.open(asn1ContextTag(0, true));
  for (const RawAttribute& attribute : attributes) {
    const std::size_t sequence = out.open(kTagSequence);
    putOid(out, ctxt, attribute.oid);
    const std::size_t values = out.open(kTagSet);
    for (const CBlob& value : attribute.values)
      out.putOpenType(openType(value));
    out.close(values);
    out.close(sequence);
  }
  sorted ? out.closeSetOf(set) : out.close(set);
  return written(out);
}

CBlob signerInfo(const SignedDataRecipe& recipe) {
  const tsa_test::Authority& named = recipe.named != nullptr ? *recipe.named : *recipe.signer;
  const Certificate certificate = certificateOf(named);
  ASN1CTXT ctxt;
  DerWriter out(&ctxt);
  const std::size_t info = out.open(kTagSequence);
  out.putInt64(recipe.bySubjectKeyId ? 3 : 1);
  if (recipe.bySubjectKeyId) {
    unsigned char id[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    X509_pubkey_digest(certificate.get(), EVP_sha1(), id, &length);
    out.putElement(asn1ContextTag(0, false), id, length);
  } else {
    unsigned char* issuer = nullptr;
    unsigned char* serial = nullptr;
    const int issuerLength = i2d_X509_NAME(X509_get_issuer_name(certificate.get()), &issuer);
    const int serialLength = i2d_ASN1_INTEGER(X509_get_serialNumber(certificate.get()), &serial);
    const std::size_t sid = out.open(kTagSequence);
    out.putOpenType({static_cast<OSUINT32>(issuerLength), issuer});
    out.putOpenType({static_cast<OSUINT32>(serialLength), serial});
    out.close(sid);
    OPENSSL_free(issuer);
    OPENSSL_free(serial);
  }
  std::size_t algorithm = out.open(kTagSequence);
  putOid(out, ctxt, recipe.digestOid);
  out.close(algorithm);

  // The signature covers the attributes as written, under the SET tag.
  CBlob signedPart = recipe.content;
  CBlob attributes;
  if (recipe.signedAttributes != nullptr) {
    attributes = signedAttributes(*recipe.signedAttributes, recipe.sortAttributes);
    out.putOpenType(openType(attributes));
    signedPart = attributes;
    signedPart.pbData()[0] = 0x31;
  }
  const bool ec =
      EVP_PKEY_get_base_id(X509_get0_pubkey(certificateOf(*recipe.signer).get())) == EVP_PKEY_EC;
  algorithm = out.open(kTagSequence);
  putOid(out, ctxt,
         !recipe.signatureOid.empty() ? recipe.signatureOid
         : ec                       ? "1.2.840.10045.4.3.2"
                                    : "1.2.840.113549.1.1.11");
  out.close(algorithm);
  const CBlob signature = sign(*recipe.signer, signedPart);
  out.putOctetString({signature.cbData(), signature.pbData()});
  out.close(info);
  return written(out);
}

}  // namespace

std::vector<RawAttribute> standardAttributes(const CBlob& content, const std::string& contentType) {
  return {{"1.2.840.113549.1.9.3", {derObjectId(contentType)}},
          {"1.2.840.113549.1.9.5", {derUtcTime("240621071205Z")}},
          {"1.2.840.113549.1.9.4", {derOctetString(sha256(content))}}};
}

CBlob buildSignedData(const SignedDataRecipe& recipe) {
  const CBlob signer = signerInfo(recipe);
  ASN1CTXT ctxt;
  DerWriter out(&ctxt);
  const std::size_t contentInfo = out.open(kTagSequence);
  putOid(out, ctxt, "1.2.840.113549.1.7.2");
  const std::size_t explicitContent = out.open(asn1ContextTag(0, true));
  const std::size_t signedData = out.open(kTagSequence);
  out.putInt64(3);
  const std::size_t digests = out.open(kTagSet);
  const std::size_t algorithm = out.open(kTagSequence);
  putOid(out, ctxt, recipe.digestOid);
  out.close(algorithm);
  out.close(digests);
  const std::size_t encapsulated = out.open(kTagSequence);
  putOid(out, ctxt, recipe.contentType);
  const std::size_t eContent = out.open(asn1ContextTag(0, true));
  out.putOctetString({recipe.content.cbData(), recipe.content.pbData()});
  out.close(eContent);
  out.close(encapsulated);
  if (!recipe.certificates.empty()) {
    const std::size_t certificates = out.open(asn1ContextTag(0, true));
    for (const CBlob& certificate : recipe.certificates)
      out.putOpenType(openType(certificate));
    out.close(certificates);
  }
  const std::size_t signers = out.open(kTagSet);
  for (int i = 0; i < recipe.signerCount; ++i)
    out.putOpenType(openType(signer));
  out.close(signers);
  out.close(signedData);
  out.close(explicitContent);
  out.close(contentInfo);
  return written(out);
}

CBlob derOctetString(const CBlob& octets) {
  ASN1CTXT ctxt;
  DerWriter out(&ctxt);
  out.putOctetString({octets.cbData(), octets.pbData()});
  return written(out);
}

CBlob derObjectId(const std::string& oid) {
  ASN1CTXT ctxt;
  DerWriter out(&ctxt);
  putOid(out, ctxt, oid);
  return written(out);
}

CBlob derUtcTime(const std::string& text) {
  ASN1CTXT ctxt;
  DerWriter out(&ctxt);
  out.putText(text.c_str(), kTagUTCTime);
  return written(out);
}

CBlob sha256(const CBlob& bytes) {
  CBlob digest(32);
  unsigned int length = 0;
  EVP_Digest(bytes.pbData(), bytes.cbData(), digest.pbData(), &length, EVP_sha256(), nullptr);
  return digest;
}

CBlob tstInfo(const std::string& genTime, const CBlob& accuracy, const CBlob& tsa) {
  ASN1CTXT ctxt;
  DerWriter out(&ctxt);
  const std::size_t info = out.open(kTagSequence);
  out.putInt64(1);
  putOid(out, ctxt, "1.3.6.1.4.1.99999.7.1");
  const std::size_t imprint = out.open(kTagSequence);
  const std::size_t algorithm = out.open(kTagSequence);
  putOid(out, ctxt, "2.16.840.1.101.3.4.2.1");
  out.close(algorithm);
  const CBlob hash = sha256(CBlob("hostile", 7));
  out.putOctetString({hash.cbData(), hash.pbData()});
  out.close(imprint);
  out.putInt64(0x1234);
  out.putText(genTime.c_str(), kTagGeneralizedTime);
  if (!accuracy.empty()) out.putOpenType(openType(accuracy));
  if (!tsa.empty()) out.putOpenType(openType(tsa));
  out.close(info);
  return written(out);
}

}  // namespace hostile_test
