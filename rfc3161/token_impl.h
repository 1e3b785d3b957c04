// CTokenImpl: the record behind a CToken, shared by the token's model, TSTInfo mapping, signing
// and decoding. Internal to the library.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "rfc3161/token.h"
#include "rfc3161/token_signer.h"
#include "sdk/win32.h"

namespace Zanthorel {
namespace PKI {
namespace TSP {

struct CTokenImpl {
  // The TSTInfo.
  std::uint32_t version = 1;
  std::string policy;  // dotted text
  ASN1::CAlgorithmIdentifierEx hashAlgorithm;
  CBlob hashedMessage;
  ASN1::CBigInteger serialNumber;
  std::string genTime;  // GeneralizedTime text, never parsed
  bool ordering = false;
  std::unique_ptr<CAccuracy> accuracy;
  std::unique_ptr<ASN1::CBigInteger> nonce;
  std::unique_ptr<ASN1::CGeneralName> tsa;
  std::unique_ptr<ASN1::CExtensions> extensions;
  // What the SignedData around it carries. A list is replaced whole, never changed in place, so
  // copies of a record share it; after decode the attribute lists are those of `signer`.
  std::shared_ptr<const ASN1::CAttributes> signedAttributes;
  std::shared_ptr<const ASN1::CAttributes> unsignedAttributes;
  std::shared_ptr<const CBlobList> certificates;
  // The signature state: this record's own reference to the signed or decoded message, its
  // first signer (null before there is a message), and the bytes last decoded.
  HCRYPTMSG message = nullptr;
  std::shared_ptr<const TokenSigner> signer;
  ASN1::CSignerInfo noSigner;  // what get_signerInfo gives while there is no signer
  CBlob encoded;

  CTokenImpl() = default;
  // A copy through the TSTInfo structure, holding its own reference to the message.
  CTokenImpl(const CTokenImpl& other);
  CTokenImpl& operator=(const CTokenImpl&) = delete;
  ~CTokenImpl() { closeMessage(); }

  void closeMessage() noexcept {
    if (message != nullptr) CryptMsgClose(message);
    message = nullptr;
  }
};

}  // namespace TSP
}  // namespace PKI
}  // namespace Zanthorel
