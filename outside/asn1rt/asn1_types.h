// Value forms of the BER runtime, as the message codec fills them.
//
// Every form is a plain record: a record cleared to all-zero bytes is a valid empty value. What a
// record points to lives in the memory of a codec context (ASN1CTXT), or inside the bytes that were
// decoded, and is never freed one by one.
#pragma once

#include <cstddef>
#include <cstdint>

typedef std::uint8_t OSOCTET;
typedef std::uint8_t OSBOOL;
typedef std::uint16_t OSUINT16;
typedef std::int32_t OSINT32;
typedef std::uint32_t OSUINT32;
typedef std::uint64_t OSUINT64;

// OBJECT IDENTIFIER, held as its content octets (base-128 arcs, the first two arcs combined).
// Decoded identifiers are well formed: at least one octet, minimal arcs, every arc below 2^64.
struct ASN1OBJID {
  OSUINT32 numocts;
  const OSOCTET* data;
};

// OCTET STRING value octets (a constructed BER string arrives concatenated).
struct ASN1DynOctStr {
  OSUINT32 numocts;
  const OSOCTET* data;
};

// BIT STRING: `numbits` bits, most significant bit of data[0] first.
struct ASN1DynBitStr {
  OSUINT32 numbits;
  const OSOCTET* data;
};

// An open type (ANY): one complete element, identifier and length included, as received.
struct ASN1OpenType {
  OSUINT32 numocts;
  const OSOCTET* data;
};

// SEQUENCE OF / SET OF: a doubly linked list whose nodes point at their element.
struct ASN1TSeqOfListNode {
  ASN1TSeqOfListNode* next;
  ASN1TSeqOfListNode* prev;
  void* data;
};

struct ASN1TSeqOfList {
  OSUINT32 count;
  ASN1TSeqOfListNode* head;
  ASN1TSeqOfListNode* tail;
};
