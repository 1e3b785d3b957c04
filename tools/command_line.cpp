#include "tools/command_line.h"

#include <openssl/objects.h>

#include <algorithm>
#include <cctype>
#include <memory>

#include "tools/tool_error.h"

namespace Zanthorel {
namespace Tools {
namespace {

// Dotted form only: a name such as "sha256" is no policy.
bool isDottedIdentifier(const std::string& text) {
  if (text.empty() || text.front() == '.' || text.back() == '.' ||
      text.find("..") != std::string::npos || text.find('.') == std::string::npos ||
      !std::all_of(text.begin(), text.end(),
                   [](char c) { return c == '.' || std::isdigit(static_cast<unsigned char>(c)); }))
    return false;
  const std::unique_ptr<ASN1_OBJECT, void (*)(ASN1_OBJECT*)> object(OBJ_txt2obj(text.c_str(), 1),
                                                                    ASN1_OBJECT_free);
  return object != nullptr;
}

}  // namespace

CommandLine::CommandLine(const std::vector<std::string>& arguments,
                         const std::vector<OptionDefinition>& options, std::size_t maxPositional) {
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    if (argument.size() < 2 || argument[0] != '-') {
      positional_.push_back(argument);
      continue;
    }
    const std::string name = argument.substr(argument.find_first_not_of('-'));
    const auto known = std::find_if(options.begin(), options.end(),
                                    [&name](const OptionDefinition& o) { return name == o.name; });
    if (known == options.end()) throw UsageError("unknown option " + argument);
    if (!known->takesValue) {
      values_[name] = "";
    } else if (i + 1 < arguments.size()) {
      values_[name] = arguments[++i];
    } else {
      throw UsageError(argument + " needs a value");
    }
  }
  if (positional_.size() > maxPositional)
    throw UsageError("unexpected argument " + positional_[maxPositional]);
}

std::string CommandLine::value(const std::string& name, const std::string& fallback) const {
  const auto found = values_.find(name);
  return found != values_.end() ? found->second : fallback;
}

std::string CommandLine::required(const std::string& name) const {
  if (!has(name)) throw UsageError("-" + name + " is required");
  return value(name);
}

std::string CommandLine::objectIdentifier(const std::string& name,
                                          const std::string& fallback) const {
  const std::string oid = value(name, fallback);
  if (!oid.empty() && !isDottedIdentifier(oid))
    throw UsageError("-" + name + " takes an object identifier such as 1.2.3.4, not " + oid);
  return oid;
}

std::string CommandLine::oneOf(std::initializer_list<const char*> names) const {
  std::string chosen, all;
  for (const char* name : names) {
    all += (all.empty() ? "-" : " or -") + std::string(name);
    if (!has(name)) continue;
    if (!chosen.empty()) throw UsageError("give either -" + chosen + " or -" + name);
    chosen = name;
  }
  if (chosen.empty()) throw UsageError("give " + all);
  return chosen;
}

}  // namespace Tools
}  // namespace Zanthorel
