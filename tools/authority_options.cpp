#include "tools/authority_options.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <vector>

namespace Zanthorel {
namespace Tools {
namespace {

[[noreturn]] void badAccuracy(const std::string& text) {
  throw UsageError(
      "-accuracy takes seconds[,millis[,micros]] with millis and micros below 1000, "
      "not " +
      text);
}

}  // namespace

std::vector<OptionDefinition> authorityOptionsAnd(std::initializer_list<OptionDefinition> more) {
  std::vector<OptionDefinition> options = {
      {"policy", true}, {"accuracy", true}, {"ordering", false}, {"tsa_name", false},
      {"ess", true},    {"signer", true},   {"inkey", true},     {"chain", true}};
  options.insert(options.end(), more);
  return options;
}

PKI::TSP::CAccuracy parseAccuracy(const std::string& text) {
  std::vector<unsigned long> parts;
  std::size_t begin = 0;
  while (begin <= text.size()) {
    const std::size_t end = std::min(text.find(',', begin), text.size());
    const std::string part = text.substr(begin, end - begin);
    if (part.empty() || part.size() > 9 || !std::all_of(part.begin(), part.end(), [](char c) {
          return std::isdigit(static_cast<unsigned char>(c));
        }))
      badAccuracy(text);
    parts.push_back(std::strtoul(part.c_str(), nullptr, 10));
    begin = end + 1;
  }
  if (parts.size() > 3) badAccuracy(text);
  parts.resize(3, 0);
  if (parts[1] > 999 || parts[2] > 999 || (parts[0] == 0 && parts[1] == 0 && parts[2] == 0))
    badAccuracy(text);
  return PKI::TSP::CAccuracy(static_cast<std::uint32_t>(parts[0]),
                             static_cast<std::uint32_t>(parts[1]),
                             static_cast<std::uint32_t>(parts[2]));
}

AuthoritySettings authoritySettings(const CommandLine& options) {
  AuthoritySettings settings;
  settings.policy = options.objectIdentifier("policy", kDefaultPolicy);
  if (options.has("accuracy")) settings.accuracy = parseAccuracy(options.value("accuracy"));
  settings.ordering = options.has("ordering");
  settings.tsaName = options.has("tsa_name");
  const std::string ess = options.value("ess", "v2");
  if (ess == "v1")
    settings.ess = EssVersion::v1;
  else if (ess == "both")
    settings.ess = EssVersion::both;
  else if (ess != "v2")
    throw UsageError("-ess takes v1, v2 or both, not " + ess);
  return settings;
}

}  // namespace Tools
}  // namespace Zanthorel
