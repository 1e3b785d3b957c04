// The authority that answers now. A reload replaces it whole; requests that already hold the old
// one finish with it, and it goes (its key released) when the last of them is done.
#pragma once

#include <memory>
#include <mutex>
#include <utility>

#include "tools/authority.h"

namespace Zanthorel {
namespace Tools {

class CurrentAuthority {
 public:
  explicit CurrentAuthority(std::shared_ptr<const TimeStampAuthority> authority)
      : authority_(std::move(authority)) {}

  std::shared_ptr<const TimeStampAuthority> get() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return authority_;
  }
  void replace(std::shared_ptr<const TimeStampAuthority> authority) {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      authority_.swap(authority);
    }
    // `authority` now holds the old one; it goes here unless requests still hold it.
  }

 private:
  mutable std::mutex mutex_;
  std::shared_ptr<const TimeStampAuthority> authority_;
};

}  // namespace Tools
}  // namespace Zanthorel
