// Message buffers and the base of the codec's control classes.
//
//   ASN1BEREncodeBuffer out;
//   ASN1C_TimeStampReq codec(out, request);       // request: an ASN1T_TimeStampReq
//   int length = codec.Encode();                  // > 0: out.getMsgPtr() holds `length` octets
//
//   ASN1BERDecodeBuffer in(bytes, count);
//   ASN1T_TimeStampReq decoded;
//   int status = ASN1C_TimeStampReq(in, decoded).Decode();   // 0, or a negative Asn1Status
//
// A buffer owns a codec context; what decoding or structure filling allocates lives until the
// buffer goes. Decoded structures may also point into the decoded bytes, which the caller keeps.
#pragma once

#include <cstddef>

#include "outside/asn1rt/asn1_context.h"
#include "outside/asn1rt/ber_reader.h"
#include "outside/asn1rt/der_writer.h"

class ASN1BEREncodeBuffer;
class ASN1BERDecodeBuffer;

class ZTASN1_API ASN1MessageBufferIF {
 public:
  ASN1MessageBufferIF() noexcept = default;
  ASN1MessageBufferIF(const ASN1MessageBufferIF&) = delete;
  ASN1MessageBufferIF& operator=(const ASN1MessageBufferIF&) = delete;
  virtual ~ASN1MessageBufferIF();

  ASN1CTXT* getCtxtPtr() noexcept { return &ctxt_; }
  virtual ASN1BEREncodeBuffer* asEncodeBuffer() noexcept { return nullptr; }
  virtual ASN1BERDecodeBuffer* asDecodeBuffer() noexcept { return nullptr; }

 protected:
  ASN1CTXT ctxt_;
};

class ZTASN1_API ASN1BEREncodeBuffer final : public ASN1MessageBufferIF {
 public:
  ASN1BEREncodeBuffer() noexcept : writer_(&ctxt_) {}
  ~ASN1BEREncodeBuffer() override;

  // The last encoding made into this buffer.
  const OSOCTET* getMsgPtr() const noexcept { return writer_.data(); }
  std::size_t getMsgLen() const noexcept { return writer_.size(); }
  Zanthorel::BER::DerWriter& writer() noexcept { return writer_; }
  ASN1BEREncodeBuffer* asEncodeBuffer() noexcept override;

 private:
  Zanthorel::BER::DerWriter writer_;
};

class ZTASN1_API ASN1BERDecodeBuffer final : public ASN1MessageBufferIF {
 public:
  ASN1BERDecodeBuffer() noexcept = default;
  ASN1BERDecodeBuffer(const OSOCTET* data, std::size_t size) noexcept : data_(data), size_(size) {}
  ~ASN1BERDecodeBuffer() override;

  // Points the buffer at other bytes; returns 0.
  int setBuffer(const OSOCTET* data, std::size_t size) noexcept;
  // A reader over the whole of the bytes.
  Zanthorel::BER::BerReader reader() noexcept {
    return Zanthorel::BER::BerReader(data_, size_, &ctxt_);
  }
  ASN1BERDecodeBuffer* asDecodeBuffer() noexcept override;

 private:
  const OSOCTET* data_ = nullptr;
  std::size_t size_ = 0;
};

class ZTASN1_API ASN1CType {
 public:
  explicit ASN1CType(ASN1MessageBufferIF& buffer) noexcept : msgbuf_(buffer) {}
  ASN1CType(const ASN1CType&) = delete;
  ASN1CType& operator=(const ASN1CType&) = delete;
  virtual ~ASN1CType();

  // Encodes the bound value into the encode buffer, replacing what it held. Returns the length
  // of the encoding, or a negative status.
  int Encode();
  // Decodes one value from the decode buffer into the bound structure. Returns 0, or a negative
  // status; bytes after the value are ASN_E_EXTRA.
  int Decode();

 protected:
  virtual void encodeValue(Zanthorel::BER::DerWriter& out) = 0;
  virtual bool decodeValue(Zanthorel::BER::BerReader& in) = 0;

  ASN1MessageBufferIF& msgbuf_;
};

// The control class of one type: binds a buffer to a structure and to the type's codec
// functions `Encoder` and `Decoder`.
template <class T, void (*Encoder)(Zanthorel::BER::DerWriter&, const T&),
          bool (*Decoder)(Zanthorel::BER::BerReader&, T&)>
class ASN1CTypeOf : public ASN1CType {
 public:
  ASN1CTypeOf(ASN1MessageBufferIF& buffer, T& data) noexcept : ASN1CType(buffer), msgData(data) {}

 protected:
  void encodeValue(Zanthorel::BER::DerWriter& out) override { Encoder(out, msgData); }
  bool decodeValue(Zanthorel::BER::BerReader& in) override { return Decoder(in, msgData); }

  T& msgData;
};
