// zttsp reply: the authority's answer to one request file, as openssl ts -reply makes it.
#include <cstdio>

#include "tools/authority_options.h"
#include "tools/commands.h"
#include "tools/files.h"
#include "tools/report_values.h"

namespace Zanthorel {
namespace Tools {

int replyCommand(const Arguments& arguments) {
  const CommandLine options(
      arguments, authorityOptionsAnd({{"queryfile", true}, {"token_out", false}, {"out", true}}));
  AuthoritySettings settings = authoritySettings(options);
  const std::string queryFile = options.required("queryfile");
  const TimeStampAuthority authority(
      SignerIdentity::load(options.required("signer"), options.required("inkey"),
                           options.value("chain")),
      std::move(settings));

  const PKI::TSP::CResponse response = authority.answer(readFile(queryFile));
  const PKI::TSP::CToken* token = response.get_timeStampToken();
  if (token == nullptr) {
    // The rejection is an answer all the same; only a token cannot be written.
    std::fprintf(stderr, "zttsp: the request is refused: %s\n",
                 statusSummary(response.get_status()).c_str());
    if (options.has("token_out")) return 1;
  }
  writeFile(options.value("out", "-"),
            options.has("token_out") ? token->encode() : response.encode());
  return 0;
}

}  // namespace Tools
}  // namespace Zanthorel
