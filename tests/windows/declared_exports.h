// What the public headers declare for export, as keys that export names can be matched with:
// "Zanthorel::PKI::TSP::CToken::decode/1", "Zanthorel::PKI::TSP::CToken::encode/0 const" (the
// qualified name, the number of parameters, and " const" for a const member function).
#pragma once

#include <set>
#include <string>

namespace zttsp_test {

struct DeclaredExports {
  // Public member functions defined out of line, and exported free functions: must be exported.
  std::set<std::string> required;
  // Every member function of the exported classes, whatever its access, and the required ones.
  std::set<std::string> allowed;
  // Qualified names of the exported classes, whose virtual tables and type information go too.
  std::set<std::string> classes;
};

// Adds what `header`, the text of a public header, declares with ZTTSP_API to `declared`.
void scanPublicHeader(const std::string& header, DeclaredExports& declared);

// The key of a demangled function signature: "A::f(int, char const*) const" gives "A::f/2 const".
std::string signatureKey(const std::string& demangled);

}  // namespace zttsp_test
