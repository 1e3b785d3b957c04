// The options that shape an authority's tokens, shared by `zttsp reply` and `zttsp serve`:
// -policy OID, -accuracy S,MS,US, -ordering, -tsa_name, -ess v1|v2|both, and the signer's
// -signer CERT -inkey KEY [-chain PEM].
#pragma once

#include <vector>

#include "tools/authority.h"
#include "tools/command_line.h"

namespace Zanthorel {
namespace Tools {

// The options above followed by `more`, the command's own.
std::vector<OptionDefinition> authorityOptionsAnd(std::initializer_list<OptionDefinition> more);

// Throws UsageError for values that do not read.
AuthoritySettings authoritySettings(const CommandLine& options);
// "1", "1,500" or "0,500,100": seconds, then milliseconds and microseconds (1 to 999 each).
PKI::TSP::CAccuracy parseAccuracy(const std::string& text);

}  // namespace Tools
}  // namespace Zanthorel
