// The options of one command, spelled as openssl spells them: "-out FILE", "-cert"; "--json" works
// as well as "-json".
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

class CommandLine {
 public:
  // Reads `arguments` (the command's own, after its name). Throws UsageError for an option not in
  // `options`, a missing value, or more than `maxPositional` other arguments.
  CommandLine(const std::vector<std::string>& arguments,
              const std::vector<OptionDefinition>& options, std::size_t maxPositional = 0);

  bool has(const std::string& name) const { return values_.count(name) != 0; }
  // The value of the last use of an option, or `fallback` when it is not given.
  std::string value(const std::string& name, const std::string& fallback = "") const;
  // The value of an option that must be given.
  std::string required(const std::string& name) const;
  // An option whose value must be an object identifier in dotted form.
  std::string objectIdentifier(const std::string& name, const std::string& fallback) const;
  // Exactly one of `names` given, or throws UsageError.
  std::string oneOf(std::initializer_list<const char*> names) const;
  const std::vector<std::string>& positional() const { return positional_; }

 private:
  std::map<std::string, std::string> values_;
  std::vector<std::string> positional_;
};

}  // namespace Tools
}  // namespace Zanthorel
