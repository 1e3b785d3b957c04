#include "tools/authority_options.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <vector>

#include "tools/config_file.h"
#include "tools/hash_algorithms.h"
#include "tools/passphrase.h"

namespace Zanthorel {
namespace Tools {
namespace {

const OptionDefinition kAuthorityOptions[] = {{"config", true},        {"policy", true},
                                              {"policies", true},      {"digests", true},
                                              {"accuracy", true},      {"ordering", false},
                                              {"tsa_name", false},     {"ess", true},
                                              {"signer", true},        {"inkey", true},
                                              {"chain", true},         {"passin", true},
                                              {"pkcs11_module", true}, {"pkcs11_serialize", false},
                                              {"expiry_warning", true}};
const OptionDefinition kReplyOnly[] = {{"queryfile", true}, {"token_out", false}, {"out", true}};
const OptionDefinition kServeOnly[] = {{"port", true}, {"bind", true}, {"data", true}};

template <std::size_t N>
std::vector<OptionDefinition> authorityOptionsAnd(const OptionDefinition (&more)[N]) {
  std::vector<OptionDefinition> options(std::begin(kAuthorityOptions), std::end(kAuthorityOptions));
  options.insert(options.end(), std::begin(more), std::end(more));
  return options;
}

// What a configuration file may hold: every option of both commands but -config itself.
std::vector<OptionDefinition> configurableOptions() {
  std::vector<OptionDefinition> options = replyOptions();
  options.insert(options.end(), std::begin(kServeOnly), std::end(kServeOnly));
  options.erase(
      std::remove_if(options.begin(), options.end(),
                     [](const OptionDefinition& o) { return std::string(o.name) == "config"; }),
      options.end());
  return options;
}

// "1", "1,500" or "0,500,100": seconds, then milliseconds and microseconds.
PKI::TSP::CAccuracy accuracyOption(const CommandLine& options) {
  const std::string text = options.value("accuracy");
  std::vector<unsigned long> parts;
  bool readable = true;
  std::size_t begin = 0;
  while (readable && begin <= text.size()) {
    const std::size_t end = std::min(text.find(',', begin), text.size());
    const std::string part = text.substr(begin, end - begin);
    readable = !part.empty() && part.size() <= 9 &&
               std::all_of(part.begin(), part.end(),
                           [](char c) { return std::isdigit(static_cast<unsigned char>(c)); });
    parts.push_back(readable ? std::strtoul(part.c_str(), nullptr, 10) : 0);
    begin = end + 1;
  }
  if (!readable || parts.size() > 3 ||
      std::any_of(parts.begin() + 1, parts.end(), [](unsigned long n) { return n > 999; }) ||
      std::all_of(parts.begin(), parts.end(), [](unsigned long n) { return n == 0; }))
    options.refuse("accuracy",
                   "takes SECONDS[,MILLIS[,MICROS]]: whole numbers, millis and micros from 0 to "
                   "999, not all zero (1,500 is 1.5 s); not " +
                       text);
  parts.resize(3, 0);
  return PKI::TSP::CAccuracy(static_cast<std::uint32_t>(parts[0]),
                             static_cast<std::uint32_t>(parts[1]),
                             static_cast<std::uint32_t>(parts[2]));
}

std::vector<const HashAlgorithm*> digestsOption(const CommandLine& options) {
  if (!options.has("digests")) return allHashAlgorithms();
  std::vector<const HashAlgorithm*> digests;
  for (const std::string& name : options.list("digests")) {
    const HashAlgorithm* algorithm = hashAlgorithmNamed(name);
    if (algorithm == nullptr)
      options.refuse("digests", "takes names among " + hashAlgorithmNames() + ", not " + name);
    digests.push_back(algorithm);
  }
  return digests;
}

}  // namespace

const std::vector<OptionDefinition>& replyOptions() {
  static const std::vector<OptionDefinition> options = authorityOptionsAnd(kReplyOnly);
  return options;
}

const std::vector<OptionDefinition>& serveOptions() {
  static const std::vector<OptionDefinition> options = authorityOptionsAnd(kServeOnly);
  return options;
}

CommandLine authorityCommandLine(const Arguments& arguments,
                                 const std::vector<OptionDefinition>& options) {
  CommandLine commandLine(arguments, options);
  if (commandLine.has("config"))
    commandLine.underlay(readConfigFile(commandLine.value("config"), configurableOptions()));
  return commandLine;
}

AuthoritySettings authoritySettings(const CommandLine& options) {
  AuthoritySettings settings;
  settings.policy = options.objectIdentifier("policy", kDefaultPolicy);
  settings.otherPolicies = options.objectIdentifiers("policies");
  settings.digests = digestsOption(options);
  if (options.has("accuracy")) settings.accuracy = accuracyOption(options);
  settings.ordering = options.has("ordering");
  settings.tsaName = options.has("tsa_name");
  const std::string ess = options.value("ess", "v2");
  if (ess == "v1")
    settings.ess = EssVersion::v1;
  else if (ess == "both")
    settings.ess = EssVersion::both;
  else if (ess != "v2")
    options.refuse("ess", "takes v1, v2 or both, not " + ess);
  return settings;
}

IdentitySettings identitySettings(const CommandLine& options) {
  IdentitySettings settings;
  settings.certificate = options.required("signer");
  settings.key.key = options.required("inkey");
  settings.chain = options.value("chain");
  if (options.has("passin")) settings.key.passphrase = readPassphrase(options, "passin");
  settings.key.pkcs11Module = options.value("pkcs11_module");
  settings.serialSigning = options.has("pkcs11_serialize");
  settings.expiryWarningDays = static_cast<unsigned>(options.number("expiry_warning", 30, 0, 3650));
  return settings;
}

}  // namespace Tools
}  // namespace Zanthorel
