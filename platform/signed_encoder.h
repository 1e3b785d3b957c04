// A signed message being encoded: CryptMsgOpenToEncode with CMSG_SIGNED.
//
// Everything the caller's parameter block points at is copied at open; the content arrives with
// CryptMsgUpdate and is signed at the final update.
#pragma once

#include <memory>
#include <vector>

#include "outside/asn1/signed_data.h"
#include "platform/message.h"
#include "platform/provider.h"
#include "platform/signature.h"

namespace Zanthorel {
namespace Platform {

class SignedEncoder final : public Message {
 public:
  // Checks and copies `info`. With CMSG_CRYPT_RELEASE_CONTEXT_FLAG the signers' provider
  // references pass to the message, otherwise it takes its own; either way it releases them when
  // it goes.
  SignedEncoder(DWORD flags, const CMSG_SIGNED_ENCODE_INFO& info, LPCSTR innerContentType);

  void update(const BYTE* data, DWORD size, bool final) override;
  void getParam(DWORD type, DWORD index, void* data, DWORD* size) override;
  void control(DWORD flags, DWORD type, const void* para) override;

 private:
  struct Signer {
    Provider* provider = nullptr;
    DWORD keySpec = 0;
    const EVP_MD* digest = nullptr;
    ASN1T_AlgorithmIdentifier digestAlgorithm{};
    ASN1T_IssuerAndSerialNumber id{};
    ASN1TSeqOfList authAttributes{};  // the caller's, contentType and messageDigest left out
    ASN1TSeqOfList unauthAttributes{};
    bool hasAuthAttributes = false;
    Digest contentDigest;
    std::vector<BYTE> encoded;  // the SignerInfo, after the final update
  };
  enum class State { Open, Done, Failed };

  ~SignedEncoder() override;

  void copySigner(const CMSG_SIGNER_ENCODE_INFO& info, bool forceAuthAttributes, Signer& signer);
  void copyAttributes(const CRYPT_ATTRIBUTE* attributes, DWORD count, bool dropComputed,
                      ASN1TSeqOfList& list);
  void copyElements(const CERT_BLOB* blobs, DWORD count, ASN1TSeqOfList& list);
  ASN1OpenType copyElement(const BYTE* bytes, DWORD count);
  void sign(ByteSpan content);
  ByteSpan digestInput(ByteSpan content) const;
  void signOne(Signer& signer, ASN1CTXT& scratch);
  void writeMessage(ByteSpan content, ASN1CTXT& scratch);
  ByteSpan bareContent() const;

  ASN1CTXT arena_;  // copies of the caller's parameters
  std::vector<Signer> signers_;
  ASN1TSeqOfList certificates_{};
  ASN1TSeqOfList crls_{};
  ASN1OBJID innerType_{};
  bool dataContent_ = true;
  bool encapsulated_ = false;  // CMS form: non-data content in an OCTET STRING
  State state_ = State::Open;
  std::vector<BYTE> pending_;  // content of the updates before the final one
  ASN1CTXT outputContext_;
  Zanthorel::BER::DerWriter output_{&outputContext_};  // the ContentInfo, after the final update
};

}  // namespace Platform
}  // namespace Zanthorel
