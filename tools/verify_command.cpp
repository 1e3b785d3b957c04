// zttsp verify: "Verification: OK", or every check that failed and why.
#include <cstdio>

#include "tools/command_line.h"
#include "tools/commands.h"
#include "tools/files.h"
#include "tools/report_values.h"
#include "tools/token_verification.h"
#include "tools/tool_error.h"

namespace Zanthorel {
namespace Tools {

int verifyCommand(const Arguments& arguments) {
  const CommandLine options(arguments, {{"in", true},
                                        {"token_in", false},
                                        {"data", true},
                                        {"digest", true},
                                        {"queryfile", true},
                                        {"CAfile", true},
                                        {"CApath", true},
                                        {"untrusted", true},
                                        {"now", false}});
  VerificationInput input;
  const std::string in = options.required("in");
  const std::string stamped = options.oneOf({"data", "digest", "queryfile"});
  input.tokenIn = options.has("token_in");
  input.atNow = options.has("now");
  if (stamped == "data") {
    input.dataPath = options.value("data");
  } else if (stamped == "digest") {
    CBlob digest;
    if (!fromHexText(options.value("digest"), digest))
      throw UsageError("-digest takes hex digits, not " + options.value("digest"));
    input.digest = digest;
  } else {
    const std::string path = options.value("queryfile");
    input.query.emplace();
    try {
      input.query->decode(messageBytes(readFile(path), path));
    } catch (const ATL::CAtlException&) {
      throw ToolError(path + " holds no TimeStampReq");
    }
  }
  input.trust = TrustStore::fromOptions(options);
  if (options.has("untrusted")) input.untrusted = readCertificates(options.value("untrusted"));
  input.message = messageBytes(readFile(in), in);

  const VerificationOutcome outcome = verifyTimeStamp(input);
  if (!outcome.summary.empty()) std::printf("%s\n", outcome.summary.c_str());
  if (outcome.failures.empty()) {
    std::printf("Verification: OK\n");
    return 0;
  }
  std::printf("Verification: FAILED\n");
  for (const std::string& failure : outcome.failures)
    std::printf("  %s\n", failure.c_str());
  return 1;
}

}  // namespace Tools
}  // namespace Zanthorel
