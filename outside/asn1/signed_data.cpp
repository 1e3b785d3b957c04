#include "outside/asn1/signed_data.h"

using Zanthorel::BER::BerReader;
using Zanthorel::BER::DerWriter;

namespace {

constexpr ASN1TAG kTagCertificates = asn1ContextTag(0, true);
constexpr ASN1TAG kTagCrls = asn1ContextTag(1, true);

bool readOpenTypeList(BerReader& in, ASN1TAG tag, ASN1TSeqOfList& v) noexcept {
  BerReader set;
  return in.readConstructed(tag, set) &&
         rtDecodeSeqOf<ASN1OpenType>(set, v, &BerReader::readOpenType);
}

// Written in list order: the caller's order is kept.
void writeOpenTypeList(DerWriter& out, ASN1TAG tag, const ASN1TSeqOfList& v) noexcept {
  const std::size_t set = out.open(tag);
  for (const ASN1OpenType* item : rtSeqOfItems<ASN1OpenType>(v)) {
    out.putOpenType(*item);
  }
  out.close(set);
}

}  // namespace

// SignedData ::= SEQUENCE { version, digestAlgorithms, encapContentInfo,
//   certificates [0] IMPLICIT OPTIONAL, crls [1] IMPLICIT OPTIONAL, signerInfos }
bool asn1D_SignedData(BerReader& in, ASN1T_SignedData& v) noexcept {
  BerReader seq, digests;
  if (!in.readSequence(seq) || !seq.readInt32(v.version) || !seq.readSet(digests) ||
      !rtDecodeSeqOf<ASN1T_AlgorithmIdentifier>(digests, v.digestAlgorithms,
                                                asn1D_AlgorithmIdentifier) ||
      !asn1D_ContentInfo(seq, v.encapContentInfo))
    return false;
  if (seq.nextIs(kTagCertificates)) {
    v.m.certificatesPresent = 1;
    if (!readOpenTypeList(seq, kTagCertificates, v.certificates)) return false;
  }
  if (seq.nextIs(kTagCrls)) {
    v.m.crlsPresent = 1;
    if (!readOpenTypeList(seq, kTagCrls, v.crls)) return false;
  }
  return readOpenTypeList(seq, kTagSet, v.signerInfos) && seq.finish();
}

void asn1E_SignedData(DerWriter& out, const ASN1T_SignedData& v) noexcept {
  const std::size_t seq = out.open(kTagSequence);
  out.putInt64(v.version);
  const std::size_t digests = out.open(kTagSet);
  for (const ASN1T_AlgorithmIdentifier* digest :
       rtSeqOfItems<ASN1T_AlgorithmIdentifier>(v.digestAlgorithms)) {
    asn1E_AlgorithmIdentifier(out, *digest);
  }
  out.closeSetOf(digests);
  asn1E_ContentInfo(out, v.encapContentInfo);
  if (v.m.certificatesPresent) writeOpenTypeList(out, kTagCertificates, v.certificates);
  if (v.m.crlsPresent) writeOpenTypeList(out, kTagCrls, v.crls);
  writeOpenTypeList(out, kTagSet, v.signerInfos);
  out.close(seq);
}
