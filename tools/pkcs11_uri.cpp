#include "tools/pkcs11_uri.h"

#include <strings.h>

#include <algorithm>
#include <cctype>
#include <set>

#include "tools/tool_error.h"

namespace Zanthorel {
namespace Tools {
namespace {

const std::set<std::string> kPathAttributes = {"token",
                                               "manufacturer",
                                               "model",
                                               "serial",
                                               "object",
                                               "id",
                                               "type",
                                               "slot-id",
                                               "slot-description",
                                               "slot-manufacturer",
                                               "library-description",
                                               "library-manufacturer",
                                               "pin-value"};  // pin-value: seen there too
const std::set<std::string> kQueryAttributes = {"pin-value", "pin-source", "module-path"};

[[noreturn]] void invalid(const std::string& uri, const std::string& problem) {
  throw ToolError("the PKCS #11 URI " + withoutPin(uri) + " " + problem);
}

int hexValue(char c) {
  if (std::isdigit(static_cast<unsigned char>(c))) return c - '0';
  c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

std::string percentDecoded(const std::string& text, const std::string& uri) {
  std::string decoded;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      decoded.push_back(text[i]);
      continue;
    }
    const int high = i + 2 < text.size() ? hexValue(text[i + 1]) : -1;
    const int low = high >= 0 ? hexValue(text[i + 2]) : -1;
    if (low < 0) invalid(uri, "has a % not followed by two hex digits");
    decoded.push_back(static_cast<char>(high * 16 + low));
    i += 2;
  }
  return decoded;
}

// The attributes of one part into `into`.
void readAttributes(const std::string& part, char separator, const std::set<std::string>& known,
                    const std::string& uri, std::map<std::string, std::string>& into) {
  std::size_t begin = 0;
  while (begin < part.size()) {
    const std::size_t end = std::min(part.find(separator, begin), part.size());
    const std::string attribute = part.substr(begin, end - begin);
    begin = end + 1;
    if (attribute.empty()) continue;
    const std::size_t equals = attribute.find('=');
    if (equals == std::string::npos) invalid(uri, "has an attribute without a value: " + attribute);
    const std::string name = attribute.substr(0, equals);
    if (name.compare(0, 2, "x-") == 0) continue;
    if (known.count(name) == 0) invalid(uri, "has an attribute zttsp does not know: " + name);
    if (!into.emplace(name, percentDecoded(attribute.substr(equals + 1), uri)).second)
      invalid(uri, "names " + name + " twice");
  }
}

}  // namespace

const std::string* Pkcs11Uri::find(const std::string& name) const {
  for (const auto* part : {&path, &query}) {
    const auto found = part->find(name);
    if (found != part->end()) return &found->second;
  }
  return nullptr;
}

bool isPkcs11Uri(const std::string& text) {
  return text.size() >= 7 && strncasecmp(text.c_str(), "pkcs11:", 7) == 0;
}

Pkcs11Uri parsePkcs11Uri(const std::string& text) {
  const std::size_t question = text.find('?');
  const std::string path =
      text.substr(7, question == std::string::npos ? std::string::npos : question - 7);
  Pkcs11Uri uri;
  readAttributes(path, ';', kPathAttributes, text, uri.path);
  if (question != std::string::npos)
    readAttributes(text.substr(question + 1), '&', kQueryAttributes, text, uri.query);
  if (uri.path.count("pin-value") != 0 && uri.query.count("pin-value") != 0)
    invalid(text, "names pin-value twice");
  if (uri.path.count("pin-value") != 0) uri.query["pin-value"] = uri.path["pin-value"];
  uri.path.erase("pin-value");
  if (uri.query.count("pin-value") != 0 && uri.query.count("pin-source") != 0)
    invalid(text, "gives both pin-value and pin-source");
  const auto type = uri.path.find("type");
  if (type != uri.path.end() && type->second != "private")
    invalid(text,
            "names a " + type->second + " object; zttsp signs with a private key (type=private)");
  return uri;
}

std::string withoutPin(const std::string& text) {
  std::string shown = text;
  for (std::size_t at = shown.find("pin-value="); at != std::string::npos;
       at = shown.find("pin-value=", at + 1)) {
    const std::size_t begin = at + 10;
    const std::size_t end = std::min(shown.find_first_of(";&?", begin), shown.size());
    shown.replace(begin, end - begin, "***");
  }
  return shown;
}

}  // namespace Tools
}  // namespace Zanthorel
