// Keys, certificates and messages through the Linux platform layer, for the platform tests and the
// hostile catalogue.
#pragma once

#include <string>
#include <vector>

#include "sdk/wincrypt.h"
#include "tests/support/test_signer.h"
#include "tests/support/test_support.h"
#include "tests/support/tsa_fixture.h"

namespace platform_test {

using Bytes = std::vector<BYTE>;

using tsa_test::Authority;
using tsa_test::pki;

// The authority's key in a provider of its own.
inline zttsp_test::TestSigner signerOf(const Authority& authority) {
  return zttsp_test::TestSigner::importKey(authority.key, authority.certificate);
}

Bytes bytesOf(const Zanthorel::CBlob& blob);
Bytes bytesOf(const std::string& text);
Zanthorel::CBlob blobOf(const Bytes& bytes);

// A certificate context; freed by the destructor.
class CertificateHandle {
 public:
  explicit CertificateHandle(const Zanthorel::CBlob& certificate);
  ~CertificateHandle();
  const CERT_INFO* info() const { return context_->pCertInfo; }
  PCCERT_CONTEXT get() const { return context_; }

 private:
  PCCERT_CONTEXT context_;
};

// The parameter blocks of one signer for CryptMsgOpenToEncode: SHA-256, AT_SIGNATURE, no
// attributes or certificates.
struct EncodeInfo {
  EncodeInfo(const CERT_INFO* certificate, HCRYPTPROV provider);
  EncodeInfo(const EncodeInfo&) = delete;
  EncodeInfo& operator=(const EncodeInfo&) = delete;

  CMSG_SIGNER_ENCODE_INFO signer{};
  CMSG_SIGNED_ENCODE_INFO info{};
};

struct Attribute {
  std::string oid;
  std::vector<Bytes> values;  // complete DER elements
};
inline bool operator==(const Attribute& a, const Attribute& b) {
  return a.oid == b.oid && a.values == b.values;
}

struct SignOptions {
  bool cms = false;  // CMSG_CMS_ENCAPSULATED_CONTENT_FLAG
  const char* innerType = nullptr;
  const char* hashOid = szOID_NIST_sha256;
  std::vector<Attribute> authAttributes;
  std::vector<Attribute> unauthAttributes;
  std::vector<Zanthorel::CBlob> certificates;
};

// Signs `content` through CryptMsgOpenToEncode / CryptMsgUpdate / CMSG_CONTENT_PARAM.
Bytes signMessage(const Authority& signer, const Bytes& content, const SignOptions& options = {});

// A message decoded with CryptMsgOpenToDecode (type 0) and one final CryptMsgUpdate; `ok` tells
// whether the update succeeded, `error` holds the last error otherwise.
class DecodedMessage {
 public:
  explicit DecodedMessage(const Bytes& message, DWORD type = 0);
  ~DecodedMessage();
  bool ok() const { return ok_; }
  // Closes the handle now: whether it closed cleanly.
  bool close();
  DWORD error() const { return error_; }
  HCRYPTMSG handle() const { return handle_; }

  // The parameter through the length query; fails the test when the platform refuses it.
  Bytes param(DWORD type, DWORD index = 0) const;
  DWORD dword(DWORD type) const;
  // CMSG_CTRL_VERIFY_SIGNATURE with the certificate; S_OK or the last error.
  HRESULT verify(const Bytes& certificate) const;

 private:
  HCRYPTMSG handle_;
  bool ok_ = false;
  DWORD error_ = 0;
};

// The attributes of CMSG_SIGNER_(UN)AUTH_ATTR_PARAM as OID -> values, in order.
std::vector<Attribute> attributesOf(const Bytes& block);

// Runs openssl in the PKI's folder; fails the test when it does not exit 0.
inline std::string openssl(const std::string& arguments) {
  return tsa_test::shell("openssl " + arguments);
}

// DER elements for attributes.
Bytes derUtcTime(const std::string& text);
Bytes derOctetString(const Bytes& octets);

}  // namespace platform_test
