#include "tools/config_file.h"

#include <toml++/toml.h>

#include <algorithm>

#include "tools/files.h"
#include "tools/tool_error.h"

namespace Zanthorel {
namespace Tools {
namespace {

std::string where(const std::string& path, const toml::source_region& source) {
  return path + ":" + std::to_string(source.begin.line);
}

// A scalar in the command line's form; false when the node is of another kind.
bool scalarText(const toml::node& node, std::string& text) {
  if (const auto* string = node.as_string()) {
    text = string->get();
    return true;
  }
  if (const auto* integer = node.as_integer()) {
    text = std::to_string(integer->get());
    return true;
  }
  return false;
}

bool valueText(const toml::node& node, std::string& text) {
  if (scalarText(node, text)) return true;
  const auto* array = node.as_array();
  if (array == nullptr) return false;
  text.clear();
  for (const toml::node& item : *array) {
    std::string itemText;
    if (!scalarText(item, itemText)) return false;
    text += (text.empty() ? "" : ",") + itemText;
  }
  return true;
}

}  // namespace

std::vector<ConfigSetting> readConfigFile(const std::string& path,
                                          const std::vector<OptionDefinition>& known) {
  const CBlob bytes = readFile(path);
  toml::table table;
  try {
    table = toml::parse(
        std::string_view(reinterpret_cast<const char*>(bytes.pbData()), bytes.cbData()), path);
  } catch (const toml::parse_error& error) {
    throw ToolError(where(path, error.source()) + ": " + std::string(error.description()));
  }
  std::vector<ConfigSetting> settings;
  for (const auto& [key, node] : table) {
    const std::string name(key.str());
    const std::string origin = where(path, key.source());
    const auto option = std::find_if(known.begin(), known.end(),
                                     [&name](const OptionDefinition& o) { return name == o.name; });
    if (option == known.end())
      throw ToolError(origin + ": unknown key " + name + " (the keys are the options of " +
                      "zttsp serve and zttsp reply, without the dash)");
    if (!option->takesValue) {
      const auto* flag = node.as_boolean();
      if (flag == nullptr) throw ToolError(origin + ": " + name + " takes true or false");
      if (flag->get()) settings.push_back({name, "", origin});
      continue;
    }
    std::string text;
    if (!valueText(node, text))
      throw ToolError(origin + ": " + name + " takes a string, a whole number or a list of them");
    settings.push_back({name, text, origin});
  }
  return settings;
}

}  // namespace Tools
}  // namespace Zanthorel
