#include "outside/asn1rt/asn1_buffers.h"

#include <climits>

using Zanthorel::BER::BerReader;
using Zanthorel::BER::DerWriter;

ASN1MessageBufferIF::~ASN1MessageBufferIF() = default;

ASN1BEREncodeBuffer::~ASN1BEREncodeBuffer() = default;

ASN1BEREncodeBuffer* ASN1BEREncodeBuffer::asEncodeBuffer() noexcept {
  return this;
}

ASN1BERDecodeBuffer::~ASN1BERDecodeBuffer() = default;

ASN1BERDecodeBuffer* ASN1BERDecodeBuffer::asDecodeBuffer() noexcept {
  return this;
}

int ASN1BERDecodeBuffer::setBuffer(const OSOCTET* data, std::size_t size) noexcept {
  data_ = data;
  size_ = size;
  return ASN_OK;
}

ASN1CType::~ASN1CType() = default;

int ASN1CType::Encode() {
  ASN1BEREncodeBuffer* out = msgbuf_.asEncodeBuffer();
  if (out == nullptr) return ASN_E_INVPARAM;
  ASN1CTXT* ctxt = msgbuf_.getCtxtPtr();
  ctxt->status = ASN_OK;
  DerWriter& writer = out->writer();
  writer.reset();
  encodeValue(writer);
  if (!writer.ok()) return writer.status();
  if (writer.size() == 0 || writer.size() > INT_MAX) return ASN_E_INVLEN;
  return static_cast<int>(writer.size());
}

int ASN1CType::Decode() {
  ASN1BERDecodeBuffer* in = msgbuf_.asDecodeBuffer();
  if (in == nullptr) return ASN_E_INVPARAM;
  ASN1CTXT* ctxt = msgbuf_.getCtxtPtr();
  ctxt->status = ASN_OK;
  BerReader reader = in->reader();
  if (!decodeValue(reader) || !reader.finish()) {
    return ctxt->status != ASN_OK ? ctxt->status : ASN_E_BADVALUE;
  }
  return ASN_OK;
}
