// CStringProxy: a text handed out by value, read through c_str().
#pragma once

#include <cstddef>
#include <string>
#include <utility>

namespace Zanthorel {

class CStringProxy {
 public:
  CStringProxy() = default;
  explicit CStringProxy(std::string text) : text_(std::move(text)) {}

  const char* c_str() const noexcept { return text_.c_str(); }
  std::size_t length() const noexcept { return text_.size(); }
  const std::string& str() const noexcept { return text_; }

 private:
  std::string text_;
};

}  // namespace Zanthorel
