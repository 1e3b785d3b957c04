// A message being decoded: CryptMsgOpenToDecode. Signed messages only, as a ContentInfo (type 0)
// or a bare SignedData (CMSG_SIGNED); the bytes arrive with CryptMsgUpdate and are parsed at the
// final update.
#pragma once

#include <vector>

#include "outside/asn1/signed_data.h"
#include "platform/message.h"
#include "platform/provider.h"
#include "platform/signature.h"

namespace Zanthorel {
namespace Platform {

class SignedDecoder final : public Message {
 public:
  // `provider`, when not null, is a reference that the message releases when it goes.
  SignedDecoder(DWORD messageType, Provider* provider) noexcept
      : messageType_(messageType), provider_(provider) {}

  void update(const BYTE* data, DWORD size, bool final) override;
  void getParam(DWORD type, DWORD index, void* data, DWORD* size) override;
  void control(DWORD flags, DWORD type, const void* para) override;

 private:
  enum class State { Open, Done, Failed };

  ~SignedDecoder() override;

  void decode();
  void readSignedData(BerReader& in);
  void readContent();
  const ASN1T_SignerInfo& signer(DWORD index) const;
  const ASN1OpenType* nthX509(const ASN1TSeqOfList& choices, DWORD index) const;
  static DWORD countX509(const ASN1TSeqOfList& choices) noexcept;

  DWORD messageType_;
  Provider* provider_;
  State state_ = State::Open;
  std::vector<BYTE> input_;  // the message; the decoded structures point into it
  ASN1CTXT ctxt_;
  ASN1T_SignedData signedData_;
  std::vector<ASN1T_SignerInfo> signers_;
  std::vector<ASN1OpenType> signerEncodings_;
  bool dataContent_ = false;
  std::vector<BYTE> rewrapped_;       // a constructed OCTET STRING made primitive
  ByteSpan content_{nullptr, 0};      // what CMSG_CONTENT_PARAM hands out
  ByteSpan digestInput_{nullptr, 0};  // what the messageDigest covers
};

}  // namespace Platform
}  // namespace Zanthorel
