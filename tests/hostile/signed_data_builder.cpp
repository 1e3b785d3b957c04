#include "tests/hostile/signed_data_builder.h"

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <stdexcept>

#include "outside/asn1rt/der_writer.h"
#include "outside/ztasn1/object_identifier.h"
#include "tests/hostile/der_pieces.h"

using Zanthorel::BER::DerWriter;

using Zanthorel::CBlob;

namespace hostile_test {
namespace {

template <class T, void (*Free)(T*)>
struct Freer {
  void operator()(T* p) const { Free(p); }
};
using PKey = std::unique_ptr<EVP_PKEY, Freer<EVP_PKEY, EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, Freer<X509, X509_free>>;

CBlob text(const std::string& s) {
  return CBlob(s.data(), static_cast<std::uint32_t>(s.size()));
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

CBlob algorithm(const std::string& oid) {
  return sequence({derObjectId(oid)});
}

// The SET of signed attributes, in the order given or DER order.
CBlob attributeSet(const std::vector<RawAttribute>& attributes, bool sorted) {
  ASN1CTXT ctxt;
  DerWriter out(&ctxt);
  const std::size_t set = out.open(kTagSet);
  for (const RawAttribute& attribute : attributes) {
    CBlob values;
    for (const CBlob& value : attribute.values)
      values = join({values, value});
    const CBlob element = sequence({derObjectId(attribute.oid), primitive(kTagSet, values)});
    out.putOpenType({element.cbData(), element.pbData()});
  }
  sorted ? out.closeSetOf(set) : out.close(set);
  return CBlob(out.data(), static_cast<std::uint32_t>(out.size()));
}

CBlob signerId(const SignedDataRecipe& recipe) {
  const Certificate certificate =
      certificateOf(recipe.named != nullptr ? *recipe.named : *recipe.signer);
  if (recipe.bySubjectKeyId) {
    unsigned char id[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    X509_pubkey_digest(certificate.get(), EVP_sha1(), id, &length);
    return primitive(asn1ContextTag(0, false), CBlob(id, length));
  }
  unsigned char* issuer = nullptr;
  unsigned char* serial = nullptr;
  const int issuerLength = i2d_X509_NAME(X509_get_issuer_name(certificate.get()), &issuer);
  const int serialLength = i2d_ASN1_INTEGER(X509_get_serialNumber(certificate.get()), &serial);
  const CBlob id = sequence({CBlob(issuer, static_cast<std::uint32_t>(issuerLength)),
                             CBlob(serial, static_cast<std::uint32_t>(serialLength))});
  OPENSSL_free(issuer);
  OPENSSL_free(serial);
  return id;
}

CBlob signerInfo(const SignedDataRecipe& recipe) {
  // The signature covers the attributes as written, under the SET tag.
  CBlob signedPart = recipe.content;
  CBlob attributes;
  if (recipe.signedAttributes) {
    std::vector<RawAttribute> list = {
        {"1.2.840.113549.1.9.3", {derObjectId(recipe.contentType)}},
        {"1.2.840.113549.1.9.5", {primitive(kTagUTCTime, text("240621071205Z"))}},
        {"1.2.840.113549.1.9.4", {primitive(kTagOctetString, sha256(recipe.content))}}};
    if (recipe.editAttributes != nullptr) recipe.editAttributes(list);
    signedPart = attributeSet(list, recipe.sortAttributes);
    attributes = signedPart;
    attributes.pbData()[0] = 0xA0;  // [0] IMPLICIT in the SignerInfo
  }
  const bool ec =
      EVP_PKEY_get_base_id(X509_get0_pubkey(certificateOf(*recipe.signer).get())) == EVP_PKEY_EC;
  const std::string signatureOid = !recipe.signatureOid.empty() ? recipe.signatureOid
                                   : ec                         ? "1.2.840.10045.4.3.2"
                                                                : "1.2.840.113549.1.1.11";
  const CBlob version(recipe.bySubjectKeyId ? "\x02\x01\x03" : "\x02\x01\x01", 3);
  return primitive(kTagSequence,
                   join({version, signerId(recipe), algorithm(recipe.digestOid), attributes,
                         algorithm(signatureOid),
                         primitive(kTagOctetString, sign(*recipe.signer, signedPart))}));
}

}  // namespace

CBlob buildSignedData(const SignedDataRecipe& recipe) {
  const CBlob signer = signerInfo(recipe);
  CBlob signers, certificates;
  for (int i = 0; i < recipe.signerCount; ++i)
    signers = join({signers, signer});
  for (const CBlob& certificate : recipe.certificates)
    certificates = join({certificates, certificate});
  const CBlob encapsulated =
      sequence({derObjectId(recipe.contentType),
                constructed(asn1ContextTag(0, true),
                            {recipe.bareContent ? recipe.content
                                                : primitive(kTagOctetString, recipe.content)})});
  const CBlob signedData = primitive(
      kTagSequence,
      join({CBlob("\x02\x01\x03", 3), constructed(kTagSet, {algorithm(recipe.digestOid)}),
            encapsulated,
            certificates.empty() ? CBlob() : primitive(asn1ContextTag(0, true), certificates),
            primitive(kTagSet, signers)}));
  return sequence(
      {derObjectId("1.2.840.113549.1.7.2"), constructed(asn1ContextTag(0, true), {signedData})});
}

CBlob derObjectId(const std::string& oid) {
  ASN1CTXT ctxt;
  ASN1OBJID id;
  Zanthorel::ASN1::ASN1TObjId_traits::set(&ctxt, id, oid.c_str());
  return primitive(kTagObjectId, CBlob(id.data, id.numocts));
}

CBlob sha256(const CBlob& bytes) {
  CBlob digest(32);
  unsigned int length = 0;
  EVP_Digest(bytes.pbData(), bytes.cbData(), digest.pbData(), &length, EVP_sha256(), nullptr);
  return digest;
}

CBlob tstInfo(const std::string& genTime, const CBlob& accuracy, const CBlob& tsa) {
  const CBlob imprint = sequence(
      {algorithm("2.16.840.1.101.3.4.2.1"), primitive(kTagOctetString, sha256(text("hostile")))});
  return primitive(kTagSequence,
                   join({CBlob("\x02\x01\x01", 3), derObjectId("1.3.6.1.4.1.99999.7.1"), imprint,
                         CBlob("\x02\x02\x12\x34", 4),
                         primitive(kTagGeneralizedTime, text(genTime)), accuracy, tsa}));
}

}  // namespace hostile_test
