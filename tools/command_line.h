// The options of one command, spelled as openssl spells them: "-out FILE", "-cert"; "--json" works
// as well as "-json". Options may also come from a configuration file (tools/config_file.h); what
// the command line gives wins, and every error names where the value came from.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <map>
#include <string>
#include <vector>

namespace Zanthorel {
namespace Tools {

struct OptionDefinition {
  const char* name;  // without dashes
  bool takesValue;
};

// One option set by a configuration file: a flag has an empty value.
struct ConfigSetting {
  std::string name;
  std::string value;
  std::string origin;  // "FILE:LINE"
};

class CommandLine {
 public:
  // Reads `arguments` (the command's own, after its name). Throws UsageError for an option not in
  // `options`, a missing value, or more than `maxPositional` other arguments.
  CommandLine(const std::vector<std::string>& arguments,
              const std::vector<OptionDefinition>& options, std::size_t maxPositional = 0);

  // Takes the settings of a configuration file for the options the command line leaves out.
  // Settings of options this command does not have are left out too.
  void underlay(const std::vector<ConfigSetting>& settings);

  bool has(const std::string& name) const { return values_.count(name) != 0; }
  // The value of the last use of an option, or `fallback` when it is not given.
  std::string value(const std::string& name, const std::string& fallback = "") const;
  // Every value of an option that may be given more than once, in the order given.
  std::vector<std::string> values(const std::string& name) const;
  // The value of an option that must be given.
  std::string required(const std::string& name) const;
  // An option whose value must be an object identifier in dotted form.
  std::string objectIdentifier(const std::string& name, const std::string& fallback) const;
  // The items of a list whose values must all be object identifiers in dotted form.
  std::vector<std::string> objectIdentifiers(const std::string& name) const;
  // A whole number from `min` to `max`, or `fallback` when the option is not given.
  unsigned long number(const std::string& name, unsigned long fallback, unsigned long min,
                       unsigned long max) const;
  // The items of a comma-separated value, without spaces; empty when the option is not given.
  std::vector<std::string> list(const std::string& name) const;
  // Exactly one of `names` given, or throws UsageError.
  std::string oneOf(std::initializer_list<const char*> names) const;
  const std::vector<std::string>& positional() const { return positional_; }

  // The option as an error names it: "-port" from the command line, "zttsp.toml:3: port" from a
  // file.
  std::string origin(const std::string& name) const;
  // Refuses the value of `name`: UsageError("-name PROBLEM") when the command line gave it,
  // ToolError("FILE:LINE: name PROBLEM") when a file did.
  [[noreturn]] void refuse(const std::string& name, const std::string& problem) const;

 private:
  struct Value {
    std::string text;
    std::string origin;                // empty: the command line
    std::vector<std::string> earlier;  // the values of the uses before the last
  };

  std::vector<OptionDefinition> options_;
  std::map<std::string, Value> values_;
  std::vector<std::string> positional_;
};

}  // namespace Tools
}  // namespace Zanthorel
