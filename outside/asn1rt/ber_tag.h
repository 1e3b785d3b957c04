// ASN1TAG: an identifier octet sequence as one number: class in bits 31-30, the constructed flag
// in bit 29, the tag number below.
#pragma once

#include "outside/asn1rt/asn1_types.h"

typedef OSUINT32 ASN1TAG;

enum : OSUINT32 { ASN1_UNIVERSAL = 0, ASN1_APPLICATION = 1, ASN1_CONTEXT = 2, ASN1_PRIVATE = 3 };

constexpr OSUINT32 kAsn1ConstructedBit = 1u << 29;
// Largest tag number the runtime handles; X.690 sets no bound, real protocols stay below 100.
constexpr OSUINT32 kAsn1MaxTagNumber = (1u << 24) - 1;

constexpr ASN1TAG asn1Tag(OSUINT32 tagClass, bool constructed, OSUINT32 number) {
  return (tagClass << 30) | (constructed ? kAsn1ConstructedBit : 0) | number;
}
constexpr ASN1TAG asn1ContextTag(OSUINT32 number, bool constructed) {
  return asn1Tag(ASN1_CONTEXT, constructed, number);
}
constexpr bool asn1IsConstructed(ASN1TAG tag) {
  return (tag & kAsn1ConstructedBit) != 0;
}
constexpr ASN1TAG asn1Primitive(ASN1TAG tag) {
  return tag & ~kAsn1ConstructedBit;
}
constexpr ASN1TAG asn1Constructed(ASN1TAG tag) {
  return tag | kAsn1ConstructedBit;
}
constexpr OSUINT32 asn1TagClass(ASN1TAG tag) {
  return tag >> 30;
}
constexpr OSUINT32 asn1TagNumber(ASN1TAG tag) {
  return tag & (kAsn1ConstructedBit - 1);
}

constexpr ASN1TAG kTagBoolean = asn1Tag(ASN1_UNIVERSAL, false, 1);
constexpr ASN1TAG kTagInteger = asn1Tag(ASN1_UNIVERSAL, false, 2);
constexpr ASN1TAG kTagBitString = asn1Tag(ASN1_UNIVERSAL, false, 3);
constexpr ASN1TAG kTagOctetString = asn1Tag(ASN1_UNIVERSAL, false, 4);
constexpr ASN1TAG kTagNull = asn1Tag(ASN1_UNIVERSAL, false, 5);
constexpr ASN1TAG kTagObjectId = asn1Tag(ASN1_UNIVERSAL, false, 6);
constexpr ASN1TAG kTagUTF8String = asn1Tag(ASN1_UNIVERSAL, false, 12);
constexpr ASN1TAG kTagSequence = asn1Tag(ASN1_UNIVERSAL, true, 16);
constexpr ASN1TAG kTagSet = asn1Tag(ASN1_UNIVERSAL, true, 17);
constexpr ASN1TAG kTagNumericString = asn1Tag(ASN1_UNIVERSAL, false, 18);
constexpr ASN1TAG kTagPrintableString = asn1Tag(ASN1_UNIVERSAL, false, 19);
constexpr ASN1TAG kTagTeletexString = asn1Tag(ASN1_UNIVERSAL, false, 20);
constexpr ASN1TAG kTagIA5String = asn1Tag(ASN1_UNIVERSAL, false, 22);
constexpr ASN1TAG kTagUTCTime = asn1Tag(ASN1_UNIVERSAL, false, 23);
constexpr ASN1TAG kTagGeneralizedTime = asn1Tag(ASN1_UNIVERSAL, false, 24);
constexpr ASN1TAG kTagVisibleString = asn1Tag(ASN1_UNIVERSAL, false, 26);
constexpr ASN1TAG kTagUniversalString = asn1Tag(ASN1_UNIVERSAL, false, 28);
constexpr ASN1TAG kTagBMPString = asn1Tag(ASN1_UNIVERSAL, false, 30);
