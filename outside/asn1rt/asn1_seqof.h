// Helpers for ASN1TSeqOfList, the SEQUENCE OF / SET OF form of the codec structures.
//
// A node's data points at its element (for a list of character strings, at a const char*).
//
//   for (ASN1T_Extension* ext : rtSeqOfItems<ASN1T_Extension>(request.extensions)) ...
#pragma once

#include <cstddef>
#include <functional>
#include <iterator>

#include "outside/asn1rt/asn1_context.h"
#include "outside/asn1rt/ber_reader.h"

// Appends a node pointing at `data`; false when there is no memory for the node.
ZTASN1_API bool rtSeqOfAppend(ASN1CTXT* ctxt, ASN1TSeqOfList& list, void* data) noexcept;

// Appends a new zeroed T and returns it; null when there is no memory.
template <class T>
T* rtSeqOfAppendNew(ASN1CTXT* ctxt, ASN1TSeqOfList& list) noexcept {
  T* item = rtAllocZ<T>(ctxt);
  return item != nullptr && rtSeqOfAppend(ctxt, list, item) ? item : nullptr;
}

// The elements of a list as T*, in list order.
template <class T>
class ASN1TSeqOfItems {
 public:
  class iterator {
   public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = T*;
    using difference_type = std::ptrdiff_t;
    using pointer = T**;
    using reference = T*;

    explicit iterator(const ASN1TSeqOfListNode* node) : node_(node) {}
    T* operator*() const { return static_cast<T*>(node_->data); }
    iterator& operator++() {
      node_ = node_->next;
      return *this;
    }
    bool operator==(const iterator& o) const { return node_ == o.node_; }
    bool operator!=(const iterator& o) const { return node_ != o.node_; }

   private:
    const ASN1TSeqOfListNode* node_;
  };

  explicit ASN1TSeqOfItems(const ASN1TSeqOfList& list) : head_(list.head) {}
  iterator begin() const { return iterator(head_); }
  iterator end() const { return iterator(nullptr); }

 private:
  const ASN1TSeqOfListNode* head_;
};

template <class T>
ASN1TSeqOfItems<T> rtSeqOfItems(const ASN1TSeqOfList& list) {
  return ASN1TSeqOfItems<T>(list);
}

// Decodes every element of `contents` with `decodeOne(reader, T&)` into new list elements; a
// reader member such as &BerReader::readOpenType serves as well.
template <class T, class DecodeOne>
bool rtDecodeSeqOf(Zanthorel::BER::BerReader contents, ASN1TSeqOfList& list,
                   DecodeOne decodeOne) noexcept {
  while (!contents.empty()) {
    T* item = rtSeqOfAppendNew<T>(contents.context(), list);
    if (item == nullptr) return contents.fail(ASN_E_NOMEM);
    if (!std::invoke(decodeOne, contents, *item)) return false;
  }
  return true;
}
