// zttsp inspect: any time-stamp message in plain words, or as JSON.
#include <cstdio>

#include "tools/command_line.h"
#include "tools/commands.h"
#include "tools/files.h"
#include "tools/message_report.h"
#include "tools/tool_error.h"

namespace Zanthorel {
namespace Tools {

int inspectCommand(const Arguments& arguments) {
  const CommandLine options(arguments, {{"json", false}}, 1);
  if (options.positional().empty()) throw UsageError("name the file to inspect");
  const std::string path = options.positional().front();
  const Report report = reportMessage(messageBytes(readFile(path), path));
  const std::string text = options.has("json") ? report.toJson() : report.toText();
  std::fwrite(text.data(), 1, text.size(), stdout);
  return 0;
}

}  // namespace Tools
}  // namespace Zanthorel
