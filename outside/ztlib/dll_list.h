// CDllList<T>: a list of values kept in insertion order.
//
// Elements never move once inserted, so iterators and element addresses stay valid until that
// element is erased or the list is destroyed. Copies are deep.
#pragma once

#include <cstddef>
#include <list>
#include <utility>

#include "outside/ztlib/blob.h"

namespace Zanthorel {

template <class T>
class CDllList {
 public:
  using value_type = T;
  using iterator = typename std::list<T>::iterator;
  using const_iterator = typename std::list<T>::const_iterator;

  void push_back(const T& value) { items_.push_back(value); }
  void push_back(T&& value) { items_.push_back(std::move(value)); }
  template <class... Args>
  T& emplace_back(Args&&... args) {
    return items_.emplace_back(std::forward<Args>(args)...);
  }
  iterator erase(const_iterator where) { return items_.erase(where); }
  void clear() noexcept { items_.clear(); }

  std::size_t size() const noexcept { return items_.size(); }
  bool empty() const noexcept { return items_.empty(); }
  iterator begin() noexcept { return items_.begin(); }
  iterator end() noexcept { return items_.end(); }
  const_iterator begin() const noexcept { return items_.begin(); }
  const_iterator end() const noexcept { return items_.end(); }
  T& front() { return items_.front(); }
  const T& front() const { return items_.front(); }
  T& back() { return items_.back(); }
  const T& back() const { return items_.back(); }

  friend bool operator==(const CDllList& a, const CDllList& b) { return a.items_ == b.items_; }
  friend bool operator!=(const CDllList& a, const CDllList& b) { return !(a == b); }

 private:
  std::list<T> items_;
};

using CBlobList = CDllList<CBlob>;

}  // namespace Zanthorel
