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

bool isDigits(const std::string& text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
    return std::isdigit(static_cast<unsigned char>(c));
  });
}

}  // namespace

CommandLine::CommandLine(const std::vector<std::string>& arguments,
                         const std::vector<OptionDefinition>& options, std::size_t maxPositional)
    : options_(options) {
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
      values_[name] = {};
    } else if (i + 1 < arguments.size()) {
      std::vector<std::string> earlier;
      if (has(name)) {
        earlier = std::move(values_[name].earlier);
        earlier.push_back(values_[name].text);
      }
      values_[name] = {arguments[++i], "", std::move(earlier)};
    } else {
      throw UsageError(argument + " needs a value");
    }
  }
  if (positional_.size() > maxPositional)
    throw UsageError("unexpected argument " + positional_[maxPositional]);
}

void CommandLine::underlay(const std::vector<ConfigSetting>& settings) {
  for (const ConfigSetting& setting : settings) {
    const bool known =
        std::any_of(options_.begin(), options_.end(),
                    [&setting](const OptionDefinition& o) { return setting.name == o.name; });
    if (known && !has(setting.name)) values_[setting.name] = {setting.value, setting.origin, {}};
  }
}

std::string CommandLine::value(const std::string& name, const std::string& fallback) const {
  const auto found = values_.find(name);
  return found != values_.end() ? found->second.text : fallback;
}

std::vector<std::string> CommandLine::values(const std::string& name) const {
  const auto found = values_.find(name);
  if (found == values_.end()) return {};
  std::vector<std::string> all = found->second.earlier;
  all.push_back(found->second.text);
  return all;
}

std::string CommandLine::required(const std::string& name) const {
  if (!has(name)) throw UsageError("-" + name + " is required");
  return value(name);
}

std::string CommandLine::objectIdentifier(const std::string& name,
                                          const std::string& fallback) const {
  const std::string oid = value(name, fallback);
  if (!oid.empty() && !isDottedIdentifier(oid))
    refuse(name, "takes an object identifier such as 1.2.3.4, not " + oid);
  return oid;
}

std::vector<std::string> CommandLine::objectIdentifiers(const std::string& name) const {
  std::vector<std::string> oids = list(name);
  for (const std::string& oid : oids)
    if (!isDottedIdentifier(oid))
      refuse(name, "takes object identifiers such as 1.2.3.4, not " + oid);
  return oids;
}

unsigned long CommandLine::number(const std::string& name, unsigned long fallback,
                                  unsigned long min, unsigned long max) const {
  if (!has(name)) return fallback;
  const std::string text = value(name);
  const unsigned long number =
      isDigits(text) && text.size() <= 9 ? std::stoul(text) : max + 1;  // too long: too large
  if (number < min || number > max)
    refuse(name, "takes a whole number from " + std::to_string(min) + " to " + std::to_string(max) +
                     ", not " + text);
  return number;
}

std::vector<std::string> CommandLine::list(const std::string& name) const {
  std::vector<std::string> items;
  if (!has(name)) return items;
  std::string item;
  for (const char c : value(name) + ",") {
    if (c != ',') {
      if (!std::isspace(static_cast<unsigned char>(c))) item.push_back(c);
      continue;
    }
    if (item.empty()) refuse(name, "takes a list separated by commas, not " + value(name));
    items.push_back(std::move(item));
    item.clear();
  }
  return items;
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

std::string CommandLine::origin(const std::string& name) const {
  const auto found = values_.find(name);
  if (found == values_.end() || found->second.origin.empty()) return "-" + name;
  return found->second.origin + ": " + name;
}

void CommandLine::refuse(const std::string& name, const std::string& problem) const {
  const std::string message = origin(name) + " " + problem;
  const auto found = values_.find(name);
  if (found != values_.end() && !found->second.origin.empty()) throw ToolError(message);
  throw UsageError(message);
}

}  // namespace Tools
}  // namespace Zanthorel
