// A report: named fields in order, holding text, numbers and booleans, nested reports and lists.
// The same report prints as indented plain text or as JSON.
#pragma once

#include <list>
#include <string>
#include <utility>

namespace Zanthorel {
namespace Tools {

class Report {
 public:
  // An empty object.
  Report() = default;

  // Fields of an object, in the order added.
  void add(const std::string& key, const std::string& text);
  void addNumber(const std::string& key, long long number);
  void addBoolean(const std::string& key, bool value);
  // A nested object or list, to be filled through the reference (valid as long as this report).
  Report& addObject(const std::string& key);
  Report& addList(const std::string& key);
  void add(const std::string& key, Report child);

  // Elements of a list.
  void append(const std::string& text);
  Report& appendObject();

  std::string toText() const;
  std::string toJson() const;

 private:
  enum class Kind { object, list, text, literal };
  explicit Report(Kind kind, std::string value = "") : kind_(kind), value_(std::move(value)) {}
  Report& addChild(const std::string& key, Report child);

  void writeText(std::string& out, int indent) const;
  void writeJson(std::string& out, int indent) const;

  Kind kind_ = Kind::object;
  std::string value_;                                   // text or literal
  std::list<std::pair<std::string, Report>> children_;  // keys are empty in a list
};

}  // namespace Tools
}  // namespace Zanthorel
