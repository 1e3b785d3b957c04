// The table of third-party vectors and the one-line accounts of decoded messages.
#include "tests/support/vectors.h"

#include <cstdio>
#include <stdexcept>

#include "authenticode/ms_request.h"
#include "authenticode/ms_stamp.h"
#include "outside/asn1rt/ber_reader.h"
#include "rfc3161/request.h"
#include "rfc3161/response.h"
#include "rfc3161/token.h"
#include "tests/support/test_support.h"
#include "tests/support/tsa_fixture.h"

using Zanthorel::CBlob;
using Zanthorel::CBlobList;
using namespace Zanthorel::PKI::TSP;

namespace zttsp_test {
namespace {

using K = VectorKind;

// clang-format off
const std::vector<Vector> kVectors = {
  {"req-windows-cryptretrievetimestamp-sha256-certreq.tsq", K::request,
   "2.16.840.1.101.3.4.2.1 11806C24, certReq"},
  {"req-dotnet-sha512-policy-nonce-extensions.tsq", K::request,
   "2.16.840.1.101.3.4.2.3 60EDD3D9, policy 1.2.3, nonce 0x123456789, certReq, "
   "extensions 1.2.3.4.5 0.1.2"},
  {"req-bc-md5-policy-nonce-nocertreq.tsq", K::request,
   "1.2.840.113549.2.5 C897D141, policy 1.3.6.1.4.1.5255.5.1, nonce 0x3425B9AC88C48CE7"},
  {"req-signserver-sha1-negative-nonce.tsq", K::request,
   "1.3.14.3.2.26 00000000, nonce -0x4CC7C80C"},
  {"resp-freetsa-sha256-nononce-micros-certs.tsr", K::response,
   "granted; policy 1.2.3.4.1, 2.16.840.1.101.3.4.2.1 11806C24, serial 0x6A5C1, "
   "20180104165640.597348Z, accuracy 1/500/100, ordering, tsa, ESSv1, certificates 1",
   nullptr, 0, "req-windows-cryptretrievetimestamp-sha256-certreq.tsq"},
  {"resp-freetsa-sha512-ordering-essv1.tsr", K::response,
   "granted; policy 1.2.3.4.1, 2.16.840.1.101.3.4.2.3 EE26B0DD, serial 0x1DB417A, 20240409052939Z, "
   "ordering, tsa, ESSv1, certificates 2"},
  {"resp-globalsign-g4-essv2-cmsalgprotect.tsr", K::response,
   "granted; policy 1.3.6.1.4.1.4146.2.3, 2.16.840.1.101.3.4.2.1 8326F470, "
   "serial 0x365FD923602911C7B6749365211372D6D94C59B3, 20210918115434Z, accuracy 1/0/0, tsa, "
   "ESSv2, certificates 4"},
  {"resp-symantec-sha256-nonce-nocerts.tsr", K::response,
   "granted; policy 2.16.840.1.113733.1.7.23.3, 2.16.840.1.101.3.4.2.1 11806C24, "
   "serial 0xD19949957B5677CF5F5581630A597827BA80EFD6, 20180105170916Z, accuracy 30/0/0, "
   "nonce 0x3230313830313035313730373030, tsa, ESSv2", "cert-symantec-ts-g2-chain.pem"},
  {"resp-digicert-sha1-rsasha1-certs.tsr", K::response,
   "granted; policy 2.16.840.1.114412.7.1, 1.3.14.3.2.26 CA395B7E, "
   "serial 0x7B3AE80229E153FCB691D18DE739A70D, 20190912061515Z, ESSv1, certificates 2"},
  {"resp-identrust-sha512imprint-essv1.tsr", K::response,
   "granted; policy 2.16.840.1.113839.0.6.13.3, 2.16.840.1.101.3.4.2.3 9B71D224, "
   "serial 0x400195846778D8EBD3E0D31354082A24, 20250311085208Z, nonce 0x75C3B3214AC39FBB, ESSv1, "
   "certificates 2"},
  {"resp-sigstage-ecdsa-sha384imprint.tsr", K::response,
   "granted; policy 1.3.6.1.4.1.57264.2, 2.16.840.1.101.3.4.2.2 59E17487, "
   "serial 0x2EB210167F7E7B98D661FB86AA78055B5A986351, 20250509115855Z, accuracy 1/0/0, "
   "nonce 0x3EC6F8C72259C6B29991B6F0621402BAF94A2518, tsa, ESSv2, certificates 1", nullptr, kEcdsa},
  {"resp-sigstage-ecdsa-invalid-signature.tsr", K::response,
   "granted; policy 1.3.6.1.4.1.57264.2, 2.16.840.1.101.3.4.2.1 2CF24DBA, "
   "serial 0x784B4C5E57AAA63B570F15CBA4DF95251668AE9E, 20250509115855Z, accuracy 1/0/0, "
   "nonce 0x51708B19A1D2E209C2236FFC3238BF24DCECC40, tsa, ESSv2, certificates 1",
   nullptr, kEcdsa | kBadSignature},
  {"resp-sigstore-mock-ber-octetstring-negserial.tsr", K::response,
   "granted; policy 1.3.6.1.4.1.57264.2, 2.16.840.1.101.3.4.2.1 F3717ECC, serial -0x21524111, "
   "20230201000000Z, accuracy 1/0/0, nonce 0x499602D2, ESSv2",
   "cert-sigstore-mock-tsa-chain.pem", kEcdsa | kConstructedContent},
  {"resp-ncipher-v1attrcert-millis.tsr", K::response,
   "granted; policy 1.3.6.1.4.1.601.10.3.1, 1.3.14.3.2.26 00000000, serial 0x502F, "
   "20050310105843.933Z, accuracy 0/500/0, ordering, nonce 0x64, tsa, ESSv1, certificates 1"},
  {"resp-drv-qc-essv2-etsi-policy.tsr", K::response,
   "granted; policy 0.4.0.2023.1.1, 2.16.840.1.101.3.4.2.1 5C53418D, "
   "serial 0xCEC56BB83AB4CBD9237760965C0C7E97, 20071211102159Z, accuracy 1/0/0, "
   "nonce 0x116C8B93A59, tsa, ESSv2, certificates 2"},
  {"resp-bc-md5-accuracy-ordering.tsr", K::response,
   "granted; policy 1.3.6.1.4.1.5255.5.1, 1.2.840.113549.2.5 C897D141, serial 0x3, "
   "20041209074616Z, accuracy 1/500/100, ordering, nonce 0x3425B9AC88C48CE7, tsa, ESSv1",
   "cert-bc-test-tsa.der", 0, "req-bc-md5-policy-nonce-nocertreq.tsq"},
  {"resp-signserver-negative-nonce-nocerts.tsr", K::response,
   "granted \"Operation Okay\"; policy 1.2.3, 1.3.14.3.2.26 00000000, serial 0x767138AC5F9D0F08, "
   "20140401092104Z, nonce -0x4CC7C80C, ESSv1",
   "resp-signserver-statusstring-certs.tsr", 0, "req-signserver-sha1-negative-nonce.tsq"},
  {"resp-signserver-statusstring-certs.tsr", K::response,
   "granted \"Operation Okay\"; policy 1.2.3, 1.3.14.3.2.26 00000000, serial 0xAF2403AE927EB44, "
   "20140401092128Z, nonce 0x27FF5AA3, ESSv1, certificates 2"},
  {"resp-rejection-badalg-statustext.tsr", K::response,
   "rejection \"request contains unknown algorithm\", failInfo 0x1"},
  {"resp-rejection-unaccepted-policy.tsr", K::response,
   "rejection \"Requested policy is not supported.\", failInfo 0x8000"},
  {"tst-freetsa-sha384-micros-ordering-nocerts.der", K::token,
   "policy 1.2.3.4.1, 2.16.840.1.101.3.4.2.2 9111E404, serial 0x64F64, 20171218173416.800812Z, "
   "accuracy 1/500/100, ordering, nonce 0x9631D170EA3B92D4, tsa, ESSv1", "cert-freetsa-chain.pem"},
  {"tst-digicert-unsorted-signedattrs.der", K::token,
   "policy 2.16.840.1.114412.7.1, 2.16.840.1.101.3.4.2.1 5A3B99F8, "
   "serial 0x4E640CDE5C761BFF32FA0ADEA58C5F56, 20180717161721Z, "
   "nonce 0x457A3006B9483730D09772076C4B74BDF8, ESSv1, certificates 2",
   nullptr, kUnsortedAttributes},
  {"tst-microsoft-millis-nshield-signerattr.der", K::token,
   "policy 1.3.6.1.4.1.601.10.3.1, 2.16.840.1.101.3.4.2.1 24B787B4, serial 0x667043C04AEC, "
   "20240621071205.884Z, accuracy 0/500/0, nonce 0x15AAAB578C28473B48F1B38279021D750060F432, tsa, "
   "ESSv2, certificates 2"},
  {"tst-exceet-ber-indefinite-ocsprevinfo.der", K::token,
   "policy 1.3.6.1.4.1.12655.3.2, 2.16.840.1.101.3.4.2.1 ACD32536, "
   "serial 0x802B413B0000015A2859FDD9FB2B359B, 20170210140752.5Z, accuracy 0/100/0, "
   "nonce 0xBAD116079B975F2FD5BF893EE7A95426, tsa, extensions 1, ESSv1, certificates 2",
   nullptr, kNonDerTstInfo},
  {"tst-comodo-sha1-from-authenticode.der", K::token,
   "policy 1.3.6.1.4.1.6449.2.1.1, 1.3.14.3.2.26 CD06F0BD, "
   "serial 0xB6FF4705B62D15AC3F5DD9CF9D5435567CC16E8B, 20140728085003Z, tsa, ESSv1, "
   "certificates 1"},
  {"authenticode-tsreq-signtool.der", K::msRequest,
   "1.3.6.1.4.1.311.3.2.1, 1.2.840.113549.1.7.1, content 260 octets"},
  {"authenticode-tsreq-picky.der", K::msRequest,
   "1.3.6.1.4.1.311.3.2.1, 1.2.840.113549.1.7.1, content 260 octets"},
  {"authenticode-tsresp-digicert.p7b", K::msStamp,
   "signingTime 20190912061342Z, content 260 octets, certificates 2"},
  {"authenticode-tsresp-digicert-wire.b64", K::msStamp,
   "signingTime 20190912130605Z, content 260 octets, certificates 2", nullptr, kBase64},
  {"authenticode-sig-symantec-legacy-countersig.p7b", K::msSignature, nullptr},
  {"cert-freetsa-chain.pem", K::certificate, nullptr},
  {"cert-globalsign-root-r3.pem", K::certificate, nullptr},
  {"cert-symantec-ts-g2-chain.pem", K::certificate, nullptr},
  {"cert-digicert-assured-id-root-ca.pem", K::certificate, nullptr},
  {"cert-identrust-commercial-root-ca1.der", K::certificate, nullptr},
  {"cert-sigstage-tsa-chain.pem", K::certificate, nullptr},
  {"cert-sigstore-mock-tsa-chain.pem", K::certificate, nullptr},
  {"cert-bc-test-tsa.der", K::certificate, nullptr},
  {"cert-comodo-ts-signer.der", K::certificate, nullptr},
};
// clang-format on

// Hex of the first four octets of an imprint.
std::string opening(const CBlob& bytes) {
  return toHex(CBlob(bytes.pbData(), bytes.cbData() < 4 ? bytes.cbData() : 4));
}

std::string count(const char* what, std::size_t n) {
  return std::string(", ") + what + " " + std::to_string(n);
}

}  // namespace

CBlob Vector::bytes() const {
  const CBlob read = readFile(vectorPath(file));
  if (!has(kBase64)) return read;
  const TempDir dir;
  writeFile(dir.path("body"), read);
  runIn(dir.path(), "openssl base64 -d -in body -out der");
  return readFile(dir.path("der"));
}

CBlob Vector::token() const {
  if (kind == K::token || kind == K::msStamp || kind == K::msSignature) return bytes();
  if (kind != K::response) return {};
  // TimeStampResp { status, timeStampToken OPTIONAL }.
  const CBlob response = bytes();
  ASN1CTXT ctxt;
  Zanthorel::BER::BerReader in(response.pbData(), response.cbData(), &ctxt), fields;
  ASN1OpenType status, token;
  if (!in.readSequence(fields) || !fields.readOpenType(status))
    throw std::runtime_error(std::string("no TimeStampResp: ") + file);
  return fields.empty() || !fields.readOpenType(token) ? CBlob() : CBlob(token.data, token.numocts);
}

const std::vector<Vector>& vectors() {
  return kVectors;
}

const Vector& vector(const std::string& file) {
  for (const Vector& v : kVectors) {
    if (file == v.file) return v;
  }
  throw std::runtime_error("no vector " + file);
}

std::vector<Vector> vectorsOf(std::initializer_list<VectorKind> kinds) {
  std::vector<Vector> rows;
  for (const Vector& v : kVectors) {
    for (const VectorKind kind : kinds) {
      if (v.kind == kind) rows.push_back(v);
    }
  }
  return rows;
}

CBlobList certificatesIn(const std::string& file) {
  const Vector& v = vector(file);
  if (v.kind != K::certificate) return tsa_test::layoutOf(v.token()).certificates;
  if (file.find(".pem") == std::string::npos) {
    CBlobList one;
    one.push_back(v.bytes());
    return one;
  }
  // A PEM chain: openssl lists it, in file order, in a SignedData without signers.
  const TempDir dir;
  runIn(dir.path(),
        "openssl crl2pkcs7 -nocrl -certfile '" + vectorPath(file) + "' -outform DER -out chain.p7");
  return tsa_test::layoutOf(readFile(dir.path("chain.p7"))).certificates;
}

std::string describe(const CRequest& request) {
  std::string text = request.get_hashAlgorithm().get_algorithm();
  text += " " + opening(request.get_hashedMessage());
  if (request.get_version() != 1) text += ", version " + std::to_string(request.get_version());
  if (request.get_reqPolicy() != nullptr)
    text += std::string(", policy ") + request.get_reqPolicy();
  if (request.get_nonce() != nullptr)
    text += std::string(", nonce ") + request.get_nonce()->toString().c_str();
  if (request.get_certReq()) text += ", certReq";
  if (request.get_extensions() != nullptr) {
    text += ", extensions";
    for (const auto& extension : *request.get_extensions())
      text += std::string(" ") + extension.get_extnID();
  }
  return text;
}

std::string describe(const CToken& token) {
  std::string text = std::string("policy ") + token.get_policy() + ", " +
                     token.get_hashAlgorithm().get_algorithm() + " " +
                     opening(token.get_hashedMessage()) + ", serial " +
                     token.get_serialNumber().toString().c_str() + ", " + token.get_genTimeZ();
  if (const CAccuracy* a = token.get_accuracy()) {
    text += ", accuracy " + std::to_string(a->seconds) + "/" + std::to_string(a->millis) + "/" +
            std::to_string(a->micros);
  }
  if (token.get_ordering()) text += ", ordering";
  if (token.get_nonce() != nullptr)
    text += std::string(", nonce ") + token.get_nonce()->toString().c_str();
  if (token.get_tsa() != nullptr) text += ", tsa";
  if (token.get_extensions() != nullptr)
    text += count("extensions", token.get_extensions()->size());
  if (const auto* attributes = token.get_signedAttributes()) {
    if (attributes->find("1.2.840.113549.1.9.16.2.12") != attributes->end()) text += ", ESSv1";
    if (attributes->find("1.2.840.113549.1.9.16.2.47") != attributes->end()) text += ", ESSv2";
  }
  if (token.get_unsignedAttributes() != nullptr)
    text += count("unsigned attributes", token.get_unsignedAttributes()->size());
  if (token.get_certificates() != nullptr)
    text += count("certificates", token.get_certificates()->size());
  return text;
}

std::string describe(const CResponse& response) {
  static const char* const kStatus[] = {"granted", "grantedWithMods",   "rejection",
                                        "waiting", "revocationWarning", "revocationNotification"};
  const auto& status = response.get_status();
  const int value = status.get_status();
  std::string text = value >= 0 && value < 6 ? kStatus[value] : std::to_string(value);
  if (status.get_statusString() != nullptr) {
    for (const auto& line : *status.get_statusString())
      text += " \"" + line + "\"";
  }
  if (status.get_failInfo() != 0) {
    char failInfo[16];
    std::snprintf(failInfo, sizeof failInfo, "%#x", static_cast<unsigned>(status.get_failInfo()));
    text += std::string(", failInfo ") + failInfo;
  }
  if (response.get_timeStampToken() != nullptr)
    text += "; " + describe(*response.get_timeStampToken());
  return text;
}

std::string describe(const CMSRequest& request) {
  std::string text = std::string(request.get_timeStampAlgorithm()) + ", " +
                     request.get_contentInfo().get_contentType() + ", content " +
                     std::to_string(request.get_contentInfo().get_content().cbData()) + " octets";
  if (request.get_attributes() != nullptr)
    text += count("attributes", request.get_attributes()->size());
  return text;
}

std::string describe(const CMSStamp& stamp) {
  std::string text = "signingTime " +
                     std::string(stamp.get_signingTime().getGeneralizedTime().c_str()) +
                     ", content " + std::to_string(stamp.get_content().cbData()) + " octets";
  if (stamp.get_certificates() != nullptr)
    text += count("certificates", stamp.get_certificates()->size());
  return text;
}

}  // namespace zttsp_test
