// Signing, decoding and key helpers through the platform layer, over the shared test PKI.
#include "tests/support/platform_messages.h"

#include "outside/asn1rt/der_writer.h"

using Zanthorel::BER::DerWriter;

namespace platform_test {

Bytes bytesOf(const Zanthorel::CBlob& blob) {
  return Bytes(blob.pbData(), blob.pbData() + blob.cbData());
}

Bytes bytesOf(const std::string& text) {
  return Bytes(text.begin(), text.end());
}

Zanthorel::CBlob blobOf(const Bytes& bytes) {
  return Zanthorel::CBlob(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
}

CertificateHandle::CertificateHandle(const Zanthorel::CBlob& certificate)
    : context_(CertCreateCertificateContext(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING,
                                            certificate.pbData(), certificate.cbData())) {
  if (context_ == nullptr) throw ATL::CAtlException(static_cast<HRESULT>(GetLastError()));
}

CertificateHandle::~CertificateHandle() {
  CertFreeCertificateContext(context_);
}

EncodeInfo::EncodeInfo(const CERT_INFO* certificate, HCRYPTPROV provider) {
  signer.cbSize = sizeof signer;
  signer.pCertInfo = const_cast<PCERT_INFO>(certificate);
  signer.hCryptProv = provider;
  signer.dwKeySpec = AT_SIGNATURE;
  signer.HashAlgorithm.pszObjId = const_cast<LPSTR>(szOID_NIST_sha256);
  info.cbSize = sizeof info;
  info.cSigners = 1;
  info.rgSigners = &signer;
}

namespace {

// CRYPT_ATTRIBUTE arrays over the options' attributes.
struct CryptAttributes {
  std::vector<CRYPT_ATTRIBUTE> attributes;
  std::vector<std::vector<CRYPT_ATTR_BLOB>> values;

  explicit CryptAttributes(const std::vector<Attribute>& source) : values(source.size()) {
    for (std::size_t i = 0; i < source.size(); ++i) {
      for (const Bytes& value : source[i].values) {
        values[i].push_back({static_cast<DWORD>(value.size()), const_cast<BYTE*>(value.data())});
      }
      attributes.push_back({const_cast<LPSTR>(source[i].oid.c_str()),
                            static_cast<DWORD>(values[i].size()), values[i].data()});
    }
  }
};

}  // namespace

Bytes signMessage(const Authority& signer, const Bytes& content, const SignOptions& options) {
  const auto provider = signerOf(signer);
  CertificateHandle certificate(signer.certificate);
  CryptAttributes auth(options.authAttributes), unauth(options.unauthAttributes);
  std::vector<CERT_BLOB> certificates;
  for (const Zanthorel::CBlob& cert : options.certificates)
    certificates.push_back({cert.cbData(), const_cast<BYTE*>(cert.pbData())});

  EncodeInfo blocks(certificate.info(), provider.provider());
  CMSG_SIGNER_ENCODE_INFO& signerInfo = blocks.signer;
  signerInfo.HashAlgorithm.pszObjId = const_cast<LPSTR>(options.hashOid);
  signerInfo.cAuthAttr = static_cast<DWORD>(auth.attributes.size());
  signerInfo.rgAuthAttr = auth.attributes.empty() ? nullptr : auth.attributes.data();
  signerInfo.cUnauthAttr = static_cast<DWORD>(unauth.attributes.size());
  signerInfo.rgUnauthAttr = unauth.attributes.empty() ? nullptr : unauth.attributes.data();
  CMSG_SIGNED_ENCODE_INFO& info = blocks.info;
  info.cCertEncoded = static_cast<DWORD>(certificates.size());
  info.rgCertEncoded = certificates.empty() ? nullptr : certificates.data();

  HCRYPTMSG message = CryptMsgOpenToEncode(
      X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, options.cms ? CMSG_CMS_ENCAPSULATED_CONTENT_FLAG : 0,
      CMSG_SIGNED, &info, const_cast<LPSTR>(options.innerType), nullptr);
  EXPECT_NE(nullptr, message) << std::hex << GetLastError();
  if (message == nullptr) return {};
  Bytes encoded;
  DWORD size = 0;
  if (CryptMsgUpdate(message, content.data(), static_cast<DWORD>(content.size()), TRUE) &&
      CryptMsgGetParam(message, CMSG_CONTENT_PARAM, 0, nullptr, &size)) {
    encoded.resize(size);
    EXPECT_TRUE(CryptMsgGetParam(message, CMSG_CONTENT_PARAM, 0, encoded.data(), &size));
    encoded.resize(size);
  } else {
    ADD_FAILURE() << "signing failed: " << std::hex << GetLastError();
  }
  CryptMsgClose(message);
  return encoded;
}

DecodedMessage::DecodedMessage(const Bytes& message, DWORD type)
    : handle_(CryptMsgOpenToDecode(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, 0, type, 0, nullptr,
                                   nullptr)) {
  ok_ = CryptMsgUpdate(handle_, message.data(), static_cast<DWORD>(message.size()), TRUE) != FALSE;
  if (!ok_) error_ = GetLastError();
}

DecodedMessage::~DecodedMessage() {
  CryptMsgClose(handle_);
}

bool DecodedMessage::close() {
  const bool closed = CryptMsgClose(handle_) != FALSE;
  handle_ = nullptr;
  return closed;
}

Bytes DecodedMessage::param(DWORD type, DWORD index) const {
  DWORD size = 0;
  if (!CryptMsgGetParam(handle_, type, index, nullptr, &size)) {
    ADD_FAILURE() << "param " << type << ": " << std::hex << GetLastError();
    return {};
  }
  Bytes bytes(size);
  EXPECT_TRUE(CryptMsgGetParam(handle_, type, index, bytes.data(), &size));
  bytes.resize(size);
  return bytes;
}

DWORD DecodedMessage::dword(DWORD type) const {
  DWORD value = 0, size = sizeof value;
  EXPECT_TRUE(CryptMsgGetParam(handle_, type, 0, &value, &size)) << std::hex << GetLastError();
  return value;
}

HRESULT DecodedMessage::verify(const Bytes& certificate) const {
  CertificateHandle cert(blobOf(certificate));
  if (CryptMsgControl(handle_, 0, CMSG_CTRL_VERIFY_SIGNATURE, cert.info())) return S_OK;
  return static_cast<HRESULT>(GetLastError());
}

std::vector<Attribute> attributesOf(const Bytes& block) {
  std::vector<Attribute> attributes;
  const auto* header = reinterpret_cast<const CRYPT_ATTRIBUTES*>(block.data());
  for (DWORD i = 0; i < header->cAttr; ++i) {
    const CRYPT_ATTRIBUTE& attribute = header->rgAttr[i];
    Attribute copy{attribute.pszObjId, {}};
    for (DWORD j = 0; j < attribute.cValue; ++j) {
      const CRYPT_ATTR_BLOB& value = attribute.rgValue[j];
      copy.values.emplace_back(value.pbData, value.pbData + value.cbData);
    }
    attributes.push_back(copy);
  }
  return attributes;
}

namespace {

Bytes derElement(ASN1TAG tag, const BYTE* contents, std::size_t size) {
  ASN1CTXT context;
  DerWriter out(&context);
  out.putElement(tag, contents, size);
  EXPECT_TRUE(out.ok());
  return Bytes(out.data(), out.data() + out.size());
}

}  // namespace

Bytes derUtcTime(const std::string& text) {
  return derElement(kTagUTCTime, reinterpret_cast<const BYTE*>(text.data()), text.size());
}

Bytes derOctetString(const Bytes& octets) {
  return derElement(kTagOctetString, octets.data(), octets.size());
}

}  // namespace platform_test
