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
  void readSignedData(Zanthorel::BER::BerReader& in);
  void readContent();
  const ASN1T_SignerInfo& signer(DWORD index) const;
  static std::vector<const ASN1OpenType*> x509Choices(const ASN1TSeqOfList& choices);

  DWORD messageType_;
  Provider* provider_;
  State state_ = State::Open;
  std::vector<BYTE> input_;  // the message; the decoded structures point into it
  ASN1CTXT ctxt_;
  ASN1T_SignedData signedData_;
  std::vector<ASN1T_SignerInfo> signers_;
  std::vector<ASN1OpenType> signerEncodings_;
  std::vector<const ASN1OpenType*> certificates_, crls_;  // the X.509 choices of each set
  bool dataContent_ = false;
  std::vector<BYTE> rewrapped_;             // a constructed OCTET STRING made primitive
  ByteSpan content_{nullptr, 0};            // what CMSG_CONTENT_PARAM hands out
  ByteSpan digestInput_{nullptr, 0};        // what the messageDigest covers
  ByteSpan wholeContentInput_{nullptr, 0};  // PKCS #7 form: what it may cover instead
};

}  // namespace Platform
}  // namespace Zanthorel
