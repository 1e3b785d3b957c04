#include "outside/asn1/tsp.h"

using Zanthorel::BER::BerReader;
using Zanthorel::BER::DerWriter;

namespace {

constexpr ASN1TAG kTagReqExtensions = asn1ContextTag(0, true);
constexpr ASN1TAG kTagMillis = asn1ContextTag(0, false);
constexpr ASN1TAG kTagMicros = asn1ContextTag(1, false);
constexpr ASN1TAG kTagTsa = asn1ContextTag(0, true);
constexpr ASN1TAG kTagTstExtensions = asn1ContextTag(1, true);

bool readUtf8(BerReader& in, const char*& text) noexcept {
  return in.readText(text, kTagUTF8String);
}

// Number of bits up to and including the last one set: DER leaves trailing zero bits out of a
// named bit list (X.690 11.2.2).
OSUINT32 namedBitLength(const ASN1DynBitStr& bits) {
  OSUINT32 n = bits.numbits;
  while (n > 0 && (bits.data[(n - 1) / 8] & (0x80u >> ((n - 1) % 8))) == 0)
    --n;
  return n;
}

}  // namespace

// MessageImprint ::= SEQUENCE { hashAlgorithm AlgorithmIdentifier, hashedMessage OCTET STRING }
bool asn1D_MessageImprint(BerReader& in, ASN1T_MessageImprint& v) noexcept {
  BerReader seq;
  return in.readSequence(seq) && asn1D_AlgorithmIdentifier(seq, v.hashAlgorithm) &&
         seq.readOctetString(v.hashedMessage) && seq.finish();
}

void asn1E_MessageImprint(DerWriter& out, const ASN1T_MessageImprint& v) noexcept {
  const std::size_t seq = out.open(kTagSequence);
  asn1E_AlgorithmIdentifier(out, v.hashAlgorithm);
  out.putOctetString(v.hashedMessage);
  out.close(seq);
}

// TimeStampReq (RFC 3161 2.4.1)
bool asn1D_TimeStampReq(BerReader& in, ASN1T_TimeStampReq& v) noexcept {
  BerReader seq;
  if (!in.readSequence(seq) || !seq.readInteger(v.version) ||
      !asn1D_MessageImprint(seq, v.messageImprint))
    return false;
  if (seq.nextIs(kTagObjectId)) {
    v.m.reqPolicyPresent = 1;
    if (!seq.readObjId(v.reqPolicy)) return false;
  }
  if (seq.nextIs(kTagInteger)) {
    v.m.noncePresent = 1;
    if (!seq.readInteger(v.nonce)) return false;
  }
  if (seq.nextIs(kTagBoolean) && !seq.readBoolean(v.certReq)) return false;
  if (seq.nextIs(kTagReqExtensions)) {
    v.m.extensionsPresent = 1;
    if (!asn1D_Extensions(seq, v.extensions, kTagReqExtensions)) return false;
  }
  return seq.finish();
}

void asn1E_TimeStampReq(DerWriter& out, const ASN1T_TimeStampReq& v) noexcept {
  const std::size_t seq = out.open(kTagSequence);
  out.putInteger(v.version);
  asn1E_MessageImprint(out, v.messageImprint);
  if (v.m.reqPolicyPresent) out.putObjId(v.reqPolicy);
  if (v.m.noncePresent) out.putInteger(v.nonce);
  if (v.certReq) out.putBoolean(true);  // DER leaves out the DEFAULT FALSE
  if (v.m.extensionsPresent) asn1E_Extensions(out, v.extensions, kTagReqExtensions);
  out.close(seq);
}

// PKIStatusInfo (RFC 3161 2.4.2)
bool asn1D_PKIStatusInfo(BerReader& in, ASN1T_PKIStatusInfo& v) noexcept {
  BerReader seq, text;
  if (!in.readSequence(seq) || !seq.readInt32(v.status)) return false;
  if (seq.nextIs(kTagSequence)) {
    v.m.statusStringPresent = 1;
    if (!seq.readSequence(text) || !rtDecodeSeqOf<const char*>(text, v.statusString, readUtf8))
      return false;
  }
  if (seq.nextIs(kTagBitString)) {
    v.m.failInfoPresent = 1;
    if (!seq.readBitString(v.failInfo)) return false;
  }
  return seq.finish();
}

void asn1E_PKIStatusInfo(DerWriter& out, const ASN1T_PKIStatusInfo& v) noexcept {
  const std::size_t seq = out.open(kTagSequence);
  out.putInt64(v.status);
  if (v.m.statusStringPresent) {
    const std::size_t text = out.open(kTagSequence);
    for (const char** line : rtSeqOfItems<const char*>(v.statusString)) {
      out.putText(*line, kTagUTF8String);
    }
    out.close(text);
  }
  if (v.m.failInfoPresent) {
    out.putBitString({namedBitLength(v.failInfo), v.failInfo.data});
  }
  out.close(seq);
}

// TimeStampResp (RFC 3161 2.4.2)
bool asn1D_TimeStampResp(BerReader& in, ASN1T_TimeStampResp& v) noexcept {
  BerReader seq;
  if (!in.readSequence(seq) || !asn1D_PKIStatusInfo(seq, v.status)) return false;
  if (!seq.empty()) {
    v.m.timeStampTokenPresent = 1;
    const OSOCTET* start = seq.position();
    if (!asn1D_ContentInfo(seq, v.timeStampToken)) return false;
    v.timeStampTokenElement = {static_cast<OSUINT32>(seq.position() - start), start};
  }
  return seq.finish();
}

void asn1E_TimeStampResp(DerWriter& out, const ASN1T_TimeStampResp& v) noexcept {
  const std::size_t seq = out.open(kTagSequence);
  asn1E_PKIStatusInfo(out, v.status);
  if (v.m.timeStampTokenPresent && v.timeStampTokenElement.numocts != 0) {
    out.putOpenType(v.timeStampTokenElement);
  } else if (v.m.timeStampTokenPresent) {
    asn1E_ContentInfo(out, v.timeStampToken);
  }
  out.close(seq);
}

// Accuracy ::= SEQUENCE { seconds INTEGER OPTIONAL, millis [0] INTEGER OPTIONAL,
//                         micros [1] INTEGER OPTIONAL }
bool asn1D_Accuracy(BerReader& in, ASN1T_Accuracy& v) noexcept {
  BerReader seq;
  if (!in.readSequence(seq)) return false;
  if (seq.nextIs(kTagInteger)) {
    v.m.secondsPresent = 1;
    if (!seq.readUInt32(v.seconds)) return false;
  }
  if (seq.nextIs(kTagMillis)) {
    v.m.millisPresent = 1;
    if (!seq.readUInt16(v.millis, kTagMillis)) return false;
  }
  if (seq.nextIs(kTagMicros)) {
    v.m.microsPresent = 1;
    if (!seq.readUInt16(v.micros, kTagMicros)) return false;
  }
  return seq.finish();
}

void asn1E_Accuracy(DerWriter& out, const ASN1T_Accuracy& v) noexcept {
  const std::size_t seq = out.open(kTagSequence);
  if (v.m.secondsPresent) out.putInt64(v.seconds);
  if (v.m.millisPresent) out.putInt64(v.millis, kTagMillis);
  if (v.m.microsPresent) out.putInt64(v.micros, kTagMicros);
  out.close(seq);
}

// TSTInfo (RFC 3161 2.4.2)
bool asn1D_TSTInfo(BerReader& in, ASN1T_TSTInfo& v) noexcept {
  BerReader seq, tsa;
  if (!in.readSequence(seq) || !seq.readInteger(v.version) || !seq.readObjId(v.policy) ||
      !asn1D_MessageImprint(seq, v.messageImprint) || !seq.readInteger(v.serialNumber) ||
      !seq.readText(v.genTime, kTagGeneralizedTime))
    return false;
  // genTime is kept as text; the token model reads it, but it must at least be there.
  if (v.genTime[0] == '\0') return seq.fail(ASN_E_BADVALUE);
  if (seq.nextIs(kTagSequence)) {
    v.m.accuracyPresent = 1;
    if (!asn1D_Accuracy(seq, v.accuracy)) return false;
  }
  if (seq.nextIs(kTagBoolean) && !seq.readBoolean(v.ordering)) return false;
  if (seq.nextIs(kTagInteger)) {
    v.m.noncePresent = 1;
    if (!seq.readInteger(v.nonce)) return false;
  }
  if (seq.nextIs(kTagTsa)) {
    v.m.tsaPresent = 1;
    if (!seq.readConstructed(kTagTsa, tsa) || !asn1D_GeneralName(tsa, v.tsa) || !tsa.finish())
      return false;
  }
  if (seq.nextIs(kTagTstExtensions)) {
    v.m.extensionsPresent = 1;
    if (!asn1D_Extensions(seq, v.extensions, kTagTstExtensions)) return false;
  }
  return seq.finish();
}

void asn1E_TSTInfo(DerWriter& out, const ASN1T_TSTInfo& v) noexcept {
  if (v.genTime == nullptr || v.genTime[0] == '\0') return out.fail(ASN_E_INVPARAM);
  const std::size_t seq = out.open(kTagSequence);
  out.putInteger(v.version);
  out.putObjId(v.policy);
  asn1E_MessageImprint(out, v.messageImprint);
  out.putInteger(v.serialNumber);
  out.putText(v.genTime, kTagGeneralizedTime);
  if (v.m.accuracyPresent) asn1E_Accuracy(out, v.accuracy);
  if (v.ordering) out.putBoolean(true);  // DER leaves out the DEFAULT FALSE
  if (v.m.noncePresent) out.putInteger(v.nonce);
  if (v.m.tsaPresent) {
    const std::size_t tsa = out.open(kTagTsa);
    asn1E_GeneralName(out, v.tsa);
    out.close(tsa);
  }
  if (v.m.extensionsPresent) asn1E_Extensions(out, v.extensions, kTagTstExtensions);
  out.close(seq);
}
