#include "authenticode/ms_stamp.h"

#include <memory>

#include "frame/cms_params.h"
#include "frame/crypt_message.h"
#include "frame/record.h"
#include "outside/ztasn1/attributes.h"
#include "outside/ztasn1/octet_string.h"

namespace Zanthorel {
namespace PKI {
namespace TSP {

using ASN1::CAlgorithmIdentifierEx;
using ASN1::CAttribute;
using ASN1::CAttributes;
using ASN1::CAttrSigningTime;
using ASN1::CSignerInfo;

namespace {

// One reference on a caller's provider handle, given back when this goes. A copy takes its own
// without checking, as a copied stamp must not fail for it.
class ProviderReference {
 public:
  ProviderReference() noexcept = default;
  ProviderReference(const ProviderReference& other) noexcept : handle_(other.handle_) {
    if (handle_ != 0) CryptContextAddRef(handle_, nullptr, 0);
  }
  ProviderReference& operator=(const ProviderReference&) = delete;
  ~ProviderReference() { release(); }

  HCRYPTPROV get() const noexcept { return handle_; }

  // Forgets the handle once its reference is given back, so it is never given back twice.
  void release() noexcept {
    if (handle_ != 0) CryptReleaseContext(handle_, 0);
    handle_ = 0;
  }
  // Throws the last platform error when the reference is refused.
  void acquire(HCRYPTPROV handle) {
    if (!CryptContextAddRef(handle, nullptr, 0)) ThrowLastError();
    handle_ = handle;
  }

 private:
  HCRYPTPROV handle_ = 0;
};

// The first signer's signingTime. A signer without authenticated attributes has none either.
CDateTime signingTimeOf(HCRYPTMSG message) {
  const auto attributes = getSignerAttributes(message, CMSG_SIGNER_AUTH_ATTR_PARAM);
  if (!attributes) ThrowHResult(CRYPT_E_BAD_MSG);
  const auto signingTime = attributes->find(CAttrSigningTime::kOid);
  if (signingTime == attributes->end() || signingTime->size() == 0) ThrowHResult(CRYPT_E_BAD_MSG);
  return CAttrSigningTime(signingTime->begin()->get_value()).get_time();
}

}  // namespace

struct CMSStampImpl {
  CBlob content;  // DER OCTET STRING
  CDateTime signingTime;
  std::unique_ptr<CBlobList> certificates;
  // The signer kept by sign for every later signing.
  ProviderReference provider;
  DWORD keySpec = 0;
  CBlob signerCertificate;
  CAlgorithmIdentifierEx hashAlgorithm;
  bool hasSigner = false;
  // The last message signed or decoded.
  CBlob encodedMessage;

  CMSStampImpl() = default;
  CMSStampImpl(const CMSStampImpl& other)
      : content(other.content),
        signingTime(other.signingTime),
        certificates(other.certificates ? std::make_unique<CBlobList>(*other.certificates)
                                        : nullptr),
        provider(other.provider),
        keySpec(other.keySpec),
        signerCertificate(other.signerCertificate),
        hashAlgorithm(other.hashAlgorithm),
        hasSigner(other.hasSigner),
        encodedMessage(other.encodedMessage) {}
  CMSStampImpl& operator=(const CMSStampImpl&) = delete;
};

CMSStamp::CMSStamp() : impl_(new CMSStampImpl) {}

CMSStamp::CMSStamp(const CBlob& content, const CDateTime& signingTime)
    : impl_(newRecord<CMSStampImpl>([&](CMSStampImpl& record) {
        record.content = content;
        record.signingTime = signingTime;
      })) {}

CMSStamp::CMSStamp(const CMSStamp& other) : impl_(copyRecord(other.impl_)) {}

CMSStamp& CMSStamp::operator=(const CMSStamp& other) {
  assignRecord(impl_, other.impl_);
  return *this;
}

CMSStamp::~CMSStamp() {
  clear();
}

void CMSStamp::clear() {
  releaseRecord(impl_);  // gives back the provider reference
}

const CBlob& CMSStamp::get_content() const {
  return impl_->content;
}

void CMSStamp::put_content(const CBlob& content) const {
  impl_->content = content;
  signMessage();
}

const CDateTime& CMSStamp::get_signingTime() const {
  return impl_->signingTime;
}

void CMSStamp::put_signingTime(const CDateTime& signingTime) {
  impl_->signingTime = signingTime;
  signMessage();
}

const CBlobList* CMSStamp::get_certificates() const {
  return impl_->certificates.get();
}

void CMSStamp::put_certificates(const CBlobList* certificates) {
  // The copy is made before the old list goes, so the stamp's own list may be passed.
  impl_->certificates =
      certificates != nullptr ? std::make_unique<CBlobList>(*certificates) : nullptr;
  signMessage();
}

CSignerInfo CMSStamp::get_signerInfo() const {
  const MessageHandle message = openMessageToDecode(impl_->encodedMessage, 0);
  CSignerInfo signerInfo;
  decodeSignerInfo(getMessageParam(message.get(), CMSG_ENCODED_SIGNER, 0), signerInfo);
  return signerInfo;
}

CBlob CMSStamp::encode() const {
  if (!impl_->hasSigner) ThrowHResult(E_FAIL);
  return impl_->encodedMessage;
}

void CMSStamp::decode(const CBlob& encoded) {
  // Each field is replaced once it is read; the signer stays as it is.
  CMSStampImpl& stamp = *impl_;
  stamp.encodedMessage = encoded;
  const MessageHandle message = openMessageToDecode(stamp.encodedMessage, 0);
  stamp.content = ASN1::toOctetString(getMessageParam(message.get(), CMSG_CONTENT_PARAM, 0));
  stamp.signingTime = signingTimeOf(message.get());
  if (auto certificates = getMessageCertificates(message.get()))
    stamp.certificates = std::move(certificates);
}

void CMSStamp::sign(std::uintptr_t hCryptProv, std::uint32_t dwKeySpec, const CBlob& certificate,
                    const CAlgorithmIdentifierEx& hashAlgorithm) {
  CMSStampImpl& stamp = *impl_;
  // The old reference goes first, also when the same handle comes again.
  stamp.provider.release();
  stamp.provider.acquire(hCryptProv);
  stamp.keySpec = dwKeySpec;
  stamp.signerCertificate = certificate;
  stamp.hashAlgorithm = hashAlgorithm;
  stamp.hasSigner = true;
  signMessage();
}

void CMSStamp::signMessage() const {
  CMSStampImpl& stamp = *impl_;
  if (!stamp.hasSigner) return;
  const CertificateContext signer = createCertificateContext(stamp.signerCertificate);

  // The signing time is the one attribute of the stamp's own; the message functions add
  // contentType and messageDigest.
  const CAttrSigningTime signingTime(stamp.signingTime);
  CAttribute attribute(signingTime.get_oid());
  attribute.add(signingTime);
  CAttributes authenticated;
  authenticated.push_back(attribute);
  CmsSignParameters parameters(signer.get(), stamp.provider.get(), stamp.keySpec,
                               stamp.hashAlgorithm, &authenticated, nullptr,
                               stamp.certificates.get());

  // PKCS #7 form with data content, carried in the message.
  const MessageHandle message(CryptMsgOpenToEncode(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, 0,
                                                   CMSG_SIGNED, parameters.signedInfo(), nullptr,
                                                   nullptr));
  if (!message) ThrowLastError();
  const CBlob octets = ASN1::fromOctetString(stamp.content);
  if (!CryptMsgUpdate(message.get(), octets.pbData(), octets.cbData(), TRUE)) ThrowLastError();
  stamp.encodedMessage = getMessageParam(message.get(), CMSG_CONTENT_PARAM, 0);
}

bool CMSStamp::verify(const CBlob& certificate) const {
  const CertificateContext signer = createCertificateContext(certificate);
  const MessageHandle message = openMessageToDecode(impl_->encodedMessage, 0);
  // Any refusal, a signature that does not verify included, is an answer and no error.
  return CryptMsgControl(message.get(), 0, CMSG_CTRL_VERIFY_SIGNATURE, signer->pCertInfo) != FALSE;
}

}  // namespace TSP
}  // namespace PKI
}  // namespace Zanthorel
