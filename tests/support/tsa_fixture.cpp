// The shared test PKI made with openssl, and the token helpers built on it.
#include "tests/support/tsa_fixture.h"

#include <memory>

#include <stdexcept>
#include "outside/asn1/signed_data.h"
#include "outside/asn1rt/asn1_seqof.h"
#include "outside/ztasn1/object_identifier.h"
#include "outside/ztasn1/octet_string.h"

using Zanthorel::CBlob;
using Zanthorel::CBlobList;
using Zanthorel::CDateTime;
using Zanthorel::ASN1::CAlgorithmIdentifierEx;
using Zanthorel::ASN1::CAttribute;
using Zanthorel::ASN1::CAttributes;
using Zanthorel::ASN1::CBigInteger;
using Zanthorel::ASN1::CGeneralName;
using Zanthorel::PKI::TSP::CAccuracy;
using Zanthorel::PKI::TSP::CToken;
using zttsp_test::fromHex;
using zttsp_test::readFile;
using zttsp_test::runIn;
using zttsp_test::TempDir;
using zttsp_test::toHex;

namespace tsa_test {
namespace {

// Every authority signs with SHA-256 and stamps with accuracy, ordering and its name.
const char kTsaConfig[] =
    "[tsa_config]\n"
    "serial = serial.txt\n"
    "crypto_device = builtin\n"
    "signer_digest = sha256\n"
    "default_policy = 1.3.6.1.4.1.99999.7.1\n"
    "digests = sha1, sha256, sha384, sha512\n"
    "accuracy = secs:1, millisecs:500, microsecs:100\n"
    "clock_precision_digits = 3\n"
    "ordering = yes\n"
    "tsa_name = yes\n"
    "ess_cert_id_alg = sha256\n";

Authority makeAuthority(const std::string& dir, const std::string& name,
                        const std::string& keyOptions) {
  runIn(dir, "openssl req -new -newkey " + keyOptions +
                 " -nodes -subj '/O=Zanthorel Test/CN=" + name + " TSA' -keyout " + name +
                 ".key -out " + name + ".csr && openssl x509 -req -in " + name +
                 ".csr -CA ca.pem -CAkey ca.key -CAcreateserial -days 2 -extfile tsa.ext -out " +
                 name + ".pem && openssl x509 -in " + name + ".pem -outform DER -out " + name +
                 ".der && openssl pkcs8 -topk8 -nocrypt -in " + name + ".key -outform DER -out " +
                 name + ".p8");
  return {name, readFile(dir + "/" + name + ".p8"), readFile(dir + "/" + name + ".der")};
}

struct MadePki {
  TempDir folder;
  Pki pki;

  MadePki() {
    const std::string dir = folder.path();
    pki.dir = dir;
    zttsp_test::writeText(dir + "/tsa.ext", "extendedKeyUsage = critical,timeStamping\n");
    zttsp_test::writeText(dir + "/tsa.cnf", kTsaConfig);
    zttsp_test::writeText(dir + "/bare.cnf",
                          "[tsa_config]\nserial = serial.txt\ncrypto_device = builtin\n"
                          "signer_digest = sha256\ndefault_policy = 1.2.3.4.1\n"
                          "digests = sha1, sha256, sha384, sha512\n");
    zttsp_test::writeText(dir + "/serial.txt", "0A1B2C3D\n");
    runIn(dir,
          "openssl req -x509 -newkey rsa:2048 -nodes -subj '/O=Zanthorel Test/CN=Test CA' -days 2 "
          "-keyout ca.key -out ca.pem && openssl x509 -in ca.pem -outform DER -out ca.der");
    pki.caCertificate = readFile(dir + "/ca.der");
    pki.rsa = makeAuthority(dir, "rsa", "rsa:2048");
    pki.ec = makeAuthority(dir, "ec", "ec -pkeyopt ec_paramgen_curve:P-256");
    pki.other = makeAuthority(dir, "other", "rsa:2048");
    zttsp_test::writeText(dir + "/data.txt", "a file to be stamped\n");
  }
};

}  // namespace

const Pki& pki() {
  static const auto made = std::make_unique<MadePki>();
  return made->pki;
}

std::string shell(const std::string& command) {
  return runIn(pki().dir, command);
}

const CAlgorithmIdentifierEx& sha256() {
  static const CAlgorithmIdentifierEx algorithm("2.16.840.1.101.3.4.2.1", fromHex("0500"));
  return algorithm;
}

CBlob sha256Of(const CBlob& bytes) {
  const TempDir dir;
  zttsp_test::writeFile(dir.path("data"), bytes);
  const std::string output = runIn(dir.path(), "openssl dgst -sha256 -r data");
  return fromHex(output.substr(0, 64));
}

CAttribute essSigningCertificateV2(const CBlob& certificate) {
  // SigningCertificateV2 { certs SEQUENCE OF { ESSCertIDv2 { certHash } } }: SHA-256 is the
  // default hash algorithm, so it is left out.
  CAttribute attribute("1.2.840.113549.1.9.16.2.47");
  attribute.add(fromHex("3026302430220420" + toHex(sha256Of(certificate))));
  return attribute;
}

namespace {

CGeneralName nameOf(const CBlob& certificate) {
  const PCCERT_CONTEXT context = CertCreateCertificateContext(
      X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, certificate.pbData(), certificate.cbData());
  if (context == nullptr) throw std::runtime_error("no certificate");
  const CBlob subject(context->pCertInfo->Subject.pbData, context->pCertInfo->Subject.cbData);
  CertFreeCertificateContext(context);
  return CGeneralName::fromDirectoryName(subject);
}

}  // namespace

CToken tokenFor(const Authority& authority, const std::string& data) {
  CToken token(Pki::kPolicy, sha256(), sha256Of(zttsp_test::blobOf(data)),
               CBigInteger("0x0A1B2C3D4E5F"), CDateTime("20260621071205.884Z"), true);
  const CAccuracy accuracy(1, 500, 100);
  const CBigInteger nonce("0xF61FEBA1020F7317");
  const CGeneralName tsa = nameOf(authority.certificate);
  CAttributes signedAttributes;
  signedAttributes.push_back(essSigningCertificateV2(authority.certificate));
  CBlobList certificates;
  certificates.push_back(authority.certificate);
  token.put_accuracy(&accuracy);
  token.put_nonce(&nonce);
  token.put_tsa(&tsa);
  token.put_signedAttributes(&signedAttributes);
  token.put_certificates(&certificates);
  return token;
}

TokenLayout layoutOf(const CBlob& token) {
  const auto spanOf = [&token](const OSOCTET* data, std::size_t length) {
    return data == nullptr ? Span{} : Span{static_cast<std::size_t>(data - token.pbData()), length};
  };
  ASN1BERDecodeBuffer in(token.pbData(), token.cbData());
  ASN1T_ContentInfo contentInfo;
  if (ASN1C_ContentInfo(in, contentInfo).Decode() != 0) throw std::runtime_error("no ContentInfo");
  ASN1BERDecodeBuffer signedIn(contentInfo.content.data, contentInfo.content.numocts);
  ASN1T_SignedData signedData;
  if (ASN1C_SignedData(signedIn, signedData).Decode() != 0)
    throw std::runtime_error("no SignedData");
  TokenLayout layout;
  layout.version = signedData.version;
  Zanthorel::ASN1::oid2str(layout.contentType, &signedData.encapContentInfo.contentType);
  layout.content =
      spanOf(signedData.encapContentInfo.content.data, signedData.encapContentInfo.content.numocts);
  for (const ASN1OpenType* choice : rtSeqOfItems<ASN1OpenType>(signedData.certificates)) {
    if (asn1IsX509Choice(*choice))
      layout.certificates.push_back(CBlob(choice->data, choice->numocts));
  }
  layout.signers = signedData.signerInfos.count;
  if (layout.signers == 0) return layout;
  ASN1T_SignerInfo signer;
  const ASN1OpenType* first = *rtSeqOfItems<ASN1OpenType>(signedData.signerInfos).begin();
  ASN1BERDecodeBuffer signerIn(first->data, first->numocts);
  if (ASN1C_SignerInfo(signerIn, signer).Decode() != 0) throw std::runtime_error("no SignerInfo");
  layout.signedAttributes =
      spanOf(signer.signedAttrsEncoding.data, signer.signedAttrsEncoding.numocts);
  layout.signature = spanOf(signer.signature.data, signer.signature.numocts);
  return layout;
}

HRESULT certificateError(const CBlob& bytes) {
  SetLastError(0);
  const PCCERT_CONTEXT context = CertCreateCertificateContext(
      X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, bytes.pbData(), bytes.cbData());
  const auto error = static_cast<HRESULT>(GetLastError());
  EXPECT_EQ(nullptr, context);
  CertFreeCertificateContext(context);
  EXPECT_LT(error, 0);
  return error;
}

CBlob tstInfoOf(const CBlob& token) {
  const Span content = layoutOf(token).content;
  const CBlob element(token.pbData() + content.offset, static_cast<std::uint32_t>(content.length));
  return element.pbData()[0] == 0x30 ? element : Zanthorel::ASN1::fromOctetString(element);
}

CBlob signedAgain(const CToken& token) {
  const auto signer = rsaSigner();
  CToken copy(token);
  copy.sign(signer.provider(), signer.keySpec(), signer.certificate(), sha256());
  return copy.encode();
}

CBlob opensslToken(const Authority& authority, bool cert, bool nonce, const std::string& digest,
                   const std::string& config) {
  shell("openssl ts -query -data data.txt -" + digest + (cert ? " -cert" : "") +
        (nonce ? "" : " -no_nonce") + " -out request.tsq && openssl ts -reply -config " + config +
        " -section tsa_config -queryfile request.tsq -signer " + authority.name + ".pem -inkey " +
        authority.name + ".key -token_out -out token.der");
  return readFile(pki().dir + "/token.der");
}

zttsp_test::TestSigner rsaSigner(const Authority& authority) {
  return zttsp_test::TestSigner::importRsa(authority.key, authority.certificate);
}

#ifndef _WIN32
zttsp_test::TestSigner ecSigner() {
  return zttsp_test::TestSigner::importKey(pki().ec.key, pki().ec.certificate);
}
#endif

}  // namespace tsa_test
