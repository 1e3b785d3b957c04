#include "tools/report.h"

#include <cstdio>

namespace Zanthorel {
namespace Tools {
namespace {

// The length of the UTF-8 sequence at `text`, or 0 when it is not valid UTF-8.
std::size_t utf8Length(const std::string& text, std::size_t at) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byte(at);
  const std::size_t length = lead < 0x80                   ? 1
                             : lead >= 0xC2 && lead < 0xE0 ? 2
                             : lead >= 0xE0 && lead < 0xF0 ? 3
                             : lead >= 0xF0 && lead < 0xF5 ? 4
                                                           : 0;
  if (length == 0 || at + length > text.size()) return 0;
  for (std::size_t i = 1; i < length; ++i)
    if ((byte(at + i) & 0xC0) != 0x80) return 0;
  return length;
}

void writeJsonString(std::string& out, const std::string& text) {
  out += '"';
  for (std::size_t i = 0; i < text.size();) {
    const auto c = static_cast<unsigned char>(text[i]);
    const std::size_t length = utf8Length(text, i);
    if (length == 0) {
      out += "\\ufffd";  // bytes that are no UTF-8 cannot go into JSON as they are
      ++i;
      continue;
    }
    if (c == '"' || c == '\\') {
      out += '\\';
      out += static_cast<char>(c);
    } else if (c == '\n') {
      out += "\\n";
    } else if (c < 0x20 || c == 0x7F) {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
      out += escaped;
    } else {
      out.append(text, i, length);
    }
    i += length;
  }
  out += '"';
}

void newLine(std::string& out, int indent) {
  out += '\n';
  out.append(static_cast<std::size_t>(indent) * 2, ' ');
}

}  // namespace

void Report::add(const std::string& key, const std::string& text) {
  addChild(key, Report(Kind::text, text));
}

void Report::addNumber(const std::string& key, long long number) {
  addChild(key, Report(Kind::literal, std::to_string(number)));
}

void Report::addBoolean(const std::string& key, bool value) {
  addChild(key, Report(Kind::literal, value ? "true" : "false"));
}

Report& Report::addObject(const std::string& key) {
  return addChild(key, Report(Kind::object));
}

Report& Report::addList(const std::string& key) {
  return addChild(key, Report(Kind::list));
}

void Report::add(const std::string& key, Report child) {
  addChild(key, std::move(child));
}

void Report::append(const std::string& text) {
  addChild("", Report(Kind::text, text));
}

Report& Report::appendObject() {
  return addChild("", Report(Kind::object));
}

Report& Report::addChild(const std::string& key, Report child) {
  children_.emplace_back(key, std::move(child));
  return children_.back().second;
}

std::string Report::toText() const {
  std::string out;
  writeText(out, 0);
  return out;
}

std::string Report::toJson() const {
  std::string out;
  writeJson(out, 0);
  out += '\n';
  return out;
}

// key: value
// key:
//   nested: value
// list:
//   - value
//   - field: value
//     field: value
void Report::writeText(std::string& out, int indent) const {
  const std::string pad(static_cast<std::size_t>(indent) * 2, ' ');
  for (const auto& child : children_) {
    const Report& value = child.second;
    const std::string lead = kind_ == Kind::list ? pad + "- " : pad + child.first + ":";
    if (value.kind_ == Kind::text || value.kind_ == Kind::literal) {
      out += lead + (kind_ == Kind::list ? "" : " ") + value.value_ + "\n";
    } else if (value.children_.empty()) {
      out += lead + (kind_ == Kind::list ? "" : " ") + (value.kind_ == Kind::list ? "(none)" : "") +
             "\n";
    } else if (kind_ == Kind::list && value.kind_ == Kind::object) {
      // The first field goes on the dash's line.
      std::string nested;
      value.writeText(nested, indent + 1);
      out += lead + nested.substr(pad.size() + 2);
    } else {
      out += lead + "\n";
      value.writeText(out, indent + 1);
    }
  }
}

void Report::writeJson(std::string& out, int indent) const {
  switch (kind_) {
    case Kind::text:
      writeJsonString(out, value_);
      return;
    case Kind::literal:
      out += value_;
      return;
    case Kind::object:
    case Kind::list:
      break;
  }
  const bool object = kind_ == Kind::object;
  out += object ? '{' : '[';
  const char* separator = "";
  for (const auto& child : children_) {
    out += separator;
    newLine(out, indent + 1);
    if (object) {
      writeJsonString(out, child.first);
      out += ": ";
    }
    child.second.writeJson(out, indent + 1);
    separator = ",";
  }
  if (!children_.empty()) newLine(out, indent);
  out += object ? '}' : ']';
}

}  // namespace Tools
}  // namespace Zanthorel
