// The commands of zttsp. Each reads its own arguments and returns the exit status; failures are
// thrown as ToolError or UsageError for main to report.
#pragma once

#include <string>
#include <vector>

namespace Zanthorel {
namespace Tools {

using Arguments = std::vector<std::string>;

struct Command {
  const char* name;
  const char* summary;
  const char* usage;  // the options, one per line
  int (*run)(const Arguments& arguments);
};

int queryCommand(const Arguments& arguments);
int replyCommand(const Arguments& arguments);
int verifyCommand(const Arguments& arguments);
int inspectCommand(const Arguments& arguments);
int serveCommand(const Arguments& arguments);
int stampCommand(const Arguments& arguments);

// Null when there is no such command.
const Command* findCommand(const std::string& name);
// The list of commands with their summaries, for the tool's own usage.
std::string commandList();

}  // namespace Tools
}  // namespace Zanthorel
