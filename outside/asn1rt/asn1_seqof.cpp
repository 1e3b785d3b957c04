#include "outside/asn1rt/asn1_seqof.h"

bool rtSeqOfAppend(ASN1CTXT* ctxt, ASN1TSeqOfList& list, void* data) noexcept {
  auto* node = rtAllocZ<ASN1TSeqOfListNode>(ctxt);
  if (node == nullptr) return false;
  node->data = data;
  node->prev = list.tail;
  if (list.tail != nullptr) {
    list.tail->next = node;
  } else {
    list.head = node;
  }
  list.tail = node;
  ++list.count;
  return true;
}
