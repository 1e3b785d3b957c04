// zttsp query: an RFC 3161 request, as openssl ts -query makes it.
#include "rfc3161/request.h"
#include "tools/command_line.h"
#include "tools/commands.h"
#include "tools/files.h"
#include "tools/hash_algorithms.h"
#include "tools/random_numbers.h"
#include "tools/report_values.h"
#include "tools/tool_error.h"

namespace Zanthorel {
namespace Tools {
namespace {

const char* const kHashFlags[] = {"sha1", "sha224", "sha256", "sha384", "sha512"};

const HashAlgorithm& chosenHash(const CommandLine& options) {
  const HashAlgorithm* chosen = nullptr;
  for (const char* flag : kHashFlags) {
    if (!options.has(flag)) continue;
    if (chosen != nullptr) throw UsageError("give one hash algorithm");
    chosen = hashAlgorithmNamed(flag);
  }
  return chosen != nullptr ? *chosen : sha256();
}

CBlob digestFromHex(const std::string& text, const HashAlgorithm& algorithm) {
  CBlob digest;
  if (!fromHexText(text, digest)) throw UsageError("-digest takes hex digits, not " + text);
  if (digest.cbData() != algorithm.length)
    throw UsageError("-digest has " + std::to_string(digest.cbData()) + " bytes; a " +
                     algorithm.name + " digest has " + std::to_string(algorithm.length));
  return digest;
}

}  // namespace

int queryCommand(const Arguments& arguments) {
  const CommandLine options(arguments, {{"data", true},
                                        {"digest", true},
                                        {"sha1", false},
                                        {"sha224", false},
                                        {"sha256", false},
                                        {"sha384", false},
                                        {"sha512", false},
                                        {"policy", true},
                                        {"no_nonce", false},
                                        {"cert", false},
                                        {"out", true}});
  const HashAlgorithm& algorithm = chosenHash(options);
  const std::string policy = options.objectIdentifier("policy", "");
  const CBlob digest = options.oneOf({"data", "digest"}) == "data"
                           ? digestOfFile(algorithm, options.value("data"))
                           : digestFromHex(options.value("digest"), algorithm);

  PKI::TSP::CRequest request(identifierOf(algorithm), digest, options.has("cert"));
  if (!policy.empty()) request.put_reqPolicy(policy.c_str());
  if (!options.has("no_nonce")) {
    const ASN1::CBigInteger nonce = randomNonce();
    request.put_nonce(&nonce);
  }
  writeFile(options.value("out", "-"), request.encode());
  return 0;
}

}  // namespace Tools
}  // namespace Zanthorel
