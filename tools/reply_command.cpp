// zttsp reply: the authority's answer to one request file, as openssl ts -reply makes it.
#include <cstdio>

#include "tools/authority_options.h"
#include "tools/commands.h"
#include "tools/files.h"
#include "tools/report_values.h"

namespace Zanthorel {
namespace Tools {

int replyCommand(const Arguments& arguments) {
  const CommandLine options = authorityCommandLine(arguments, replyOptions());
  AuthoritySettings settings = authoritySettings(options);
  const IdentitySettings identity = identitySettings(options);
  const std::string queryFile = options.required("queryfile");
  const TimeStampAuthority authority(SignerIdentity::load(identity), std::move(settings));
  if (authority.identity().warning())
    std::fprintf(stderr, "zttsp: warning: %s\n", authority.identity().warning()->c_str());

  AnswerNotes notes;
  const PKI::TSP::CResponse response = authority.answer(readFile(queryFile), &notes);
  if (notes.notDer)
    std::fprintf(stderr, "zttsp: the request is BER, not DER; answered all the same\n");
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
