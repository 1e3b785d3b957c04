#include "outside/asn1/authenticode.h"

using Zanthorel::BER::BerReader;
using Zanthorel::BER::DerWriter;

bool asn1D_TimeStampAuthenticodeRequest(BerReader& in,
                                        ASN1T_TimeStampAuthenticodeRequest& v) noexcept {
  BerReader seq;
  if (!in.readSequence(seq) || !seq.readObjId(v.countersignatureType)) return false;
  // The attributes are a SET (31), which cannot be taken for the ContentInfo SEQUENCE (30).
  if (seq.nextIs(kTagSet)) {
    v.m.attributesPresent = 1;
    if (!asn1D_Attributes(seq, v.attributes)) return false;
  }
  return asn1D_ContentInfo(seq, v.content) && seq.finish();
}

void asn1E_TimeStampAuthenticodeRequest(DerWriter& out,
                                        const ASN1T_TimeStampAuthenticodeRequest& v) noexcept {
  const std::size_t seq = out.open(kTagSequence);
  out.putObjId(v.countersignatureType);
  if (v.m.attributesPresent) asn1E_Attributes(out, v.attributes);
  asn1E_ContentInfo(out, v.content);
  out.close(seq);
}
