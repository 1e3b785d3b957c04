// A small scanner of declarations, enough for the public headers: namespaces, ZTTSP_API classes
// with their access sections, member and free function declarations, and the C interface's
// ZTTSP_C_API functions in an extern "C" block, exported by their bare names. Types are not
// compared, only names, parameter counts and constness; overloads in the headers differ in those.
#include "tests/windows/declared_exports.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <vector>

namespace zttsp_test {
namespace {

using Tokens = std::vector<std::string>;

bool isWordChar(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

// Words, "::" and single punctuation characters; line comments and preprocessor lines are
// dropped (the public headers have no block comments, literals or continued directives).
Tokens tokenize(const std::string& text) {
  Tokens tokens;
  std::size_t i = 0;
  bool lineStart = true;
  while (i < text.size()) {
    const char c = text[i];
    if (std::isspace(static_cast<unsigned char>(c))) {
      lineStart = lineStart || c == '\n';
      ++i;
      continue;
    }
    if ((lineStart && c == '#') || text.compare(i, 2, "//") == 0) {
      i = std::min(text.find('\n', i), text.size());
    } else if (isWordChar(c)) {
      const std::size_t start = i;
      while (i < text.size() && isWordChar(text[i]))
        ++i;
      tokens.push_back(text.substr(start, i - start));
    } else {
      const std::size_t length = text.compare(i, 2, "::") == 0 ? 2 : 1;
      tokens.push_back(text.substr(i, length));
      i += length;
    }
    lineStart = false;
  }
  return tokens;
}

std::size_t indexOf(const Tokens& tokens, const char* token, std::size_t from = 0) {
  for (std::size_t i = from; i < tokens.size(); ++i)
    if (tokens[i] == token) return i;
  return tokens.size();
}

bool contains(const Tokens& tokens, const char* token) {
  return indexOf(tokens, token) < tokens.size();
}

// Index of the bracket that closes the one at `open`.
std::size_t matchingClose(const Tokens& tokens, std::size_t open) {
  int depth = 0;
  for (std::size_t i = open; i < tokens.size(); ++i) {
    if (tokens[i] == "(" || tokens[i] == "<" || tokens[i] == "{") ++depth;
    if (tokens[i] == ")" || tokens[i] == ">" || tokens[i] == "}") --depth;
    if (depth == 0) return i;
  }
  return tokens.size();
}

struct FunctionDeclaration {
  std::string key;
  bool definedHere;  // a body, "= default", "= delete" or "= 0": nothing for the DLL to export
};

// The function declared by `decl` in `scope`; `hasBody` when a body followed it.
FunctionDeclaration functionOf(const Tokens& decl, const std::string& scope, bool hasBody) {
  const std::size_t open = indexOf(decl, "(");
  std::string name;
  std::size_t k = open;
  while (k > 0 && !isWordChar(decl[k - 1][0]))
    name.insert(0, decl[--k]);  // operator symbols
  if (k > 0 && (decl[k - 1] == "operator" || !name.empty())) {
    name.insert(0, "operator");
  } else if (k > 0) {
    name = decl[k - 1];
    if (k > 1 && decl[k - 2] == "~") name.insert(0, "~");
  }
  const std::size_t close = matchingClose(decl, open);
  std::size_t parameters = 0;
  if (close > open + 1) {
    parameters = 1;
    for (std::size_t i = open + 1; i < close; ++i) {
      if (decl[i] == "(" || decl[i] == "<")
        i = matchingClose(decl, i);
      else if (decl[i] == ",")
        ++parameters;
    }
  }
  const bool isConst = close + 1 < decl.size() && decl[close + 1] == "const";
  const bool assigned = indexOf(decl, "=", close) < decl.size();
  return {scope + "::" + name + "/" + std::to_string(parameters) + (isConst ? " const" : ""),
          hasBody || assigned};
}

bool isFunction(const Tokens& decl) {
  const std::size_t open = indexOf(decl, "(");
  return open < decl.size() && (contains(decl, "operator") || open < indexOf(decl, "="));
}

std::string joined(const std::vector<std::string>& names) {
  std::string text;
  for (const auto& name : names)
    text += (text.empty() ? "" : "::") + name;
  return text;
}

class Scanner {
 public:
  Scanner(const std::string& header, DeclaredExports& declared)
      : tokens_(tokenize(header)), declared_(declared) {}

  void scan() { scanNamespaceScope(); }

 private:
  bool at(const char* token) const { return i_ < tokens_.size() && tokens_[i_] == token; }

  // The tokens of one declaration, up to its ';' (consumed) or its '{' (left in place).
  Tokens readDeclaration() {
    Tokens decl;
    while (i_ < tokens_.size() && !at(";") && !at("{"))
      decl.push_back(tokens_[i_++]);
    if (at(";")) ++i_;
    return decl;
  }

  void skipBraces() { i_ = matchingClose(tokens_, i_) + 1; }

  void scanNamespaceScope() {
    while (i_ < tokens_.size() && !at("}")) {
      if (at("extern") && i_ + 4 < tokens_.size() && tokens_[i_ + 2] == "C" &&
          tokens_[i_ + 4] == "{") {
        i_ += 5;
        cLinkage_ = true;
        scanNamespaceScope();
        cLinkage_ = false;
        ++i_;
        continue;
      }
      if (at("namespace")) {
        ++i_;
        std::string name;
        while (!at("{"))
          name += tokens_[i_++];
        ++i_;
        namespaces_.push_back(name);
        scanNamespaceScope();
        namespaces_.pop_back();
        ++i_;
        continue;
      }
      const Tokens decl = readDeclaration();
      const bool exported = contains(decl, cLinkage_ ? "ZTTSP_C_API" : "ZTTSP_API");
      if (at("{")) {
        if (exported && !decl.empty() && (decl[0] == "class" || decl[0] == "struct")) {
          scanClass(joined(namespaces_) + "::" + decl[indexOf(decl, "ZTTSP_API") + 1],
                    decl[0] == "struct");
        } else {
          skipBraces();
        }
        if (at(";")) ++i_;
      } else if (exported && isFunction(decl)) {
        // A C function's export name is the function's name alone.
        const std::string key = cLinkage_ ? decl[indexOf(decl, "(") - 1]
                                          : functionOf(decl, joined(namespaces_), false).key;
        declared_.required.insert(key);
        declared_.allowed.insert(key);
      }
    }
  }

  void scanClass(const std::string& name, bool isStruct) {
    declared_.classes.insert(name);
    ++i_;  // {
    bool isPublic = isStruct;
    while (i_ < tokens_.size() && !at("}")) {
      if ((at("public") || at("private") || at("protected")) && tokens_[i_ + 1] == ":") {
        isPublic = at("public");
        i_ += 2;
        continue;
      }
      const Tokens decl = readDeclaration();
      const bool hasBody = at("{");
      if (hasBody) skipBraces();
      // Data members and nested types; a nested type's closing ';' reads as an empty one.
      if (decl.empty() || decl[0] == "friend" || !isFunction(decl)) continue;
      if (at(";")) ++i_;
      const auto function = functionOf(decl, name, hasBody);
      declared_.allowed.insert(function.key);
      if (isPublic && !function.definedHere) declared_.required.insert(function.key);
    }
    ++i_;  // }
  }

  Tokens tokens_;
  std::size_t i_ = 0;
  std::vector<std::string> namespaces_;
  bool cLinkage_ = false;
  DeclaredExports& declared_;
};

}  // namespace

void scanPublicHeader(const std::string& header, DeclaredExports& declared) {
  Scanner(header, declared).scan();
}

std::string signatureKey(const std::string& demangled) {
  const std::size_t open = demangled.find('(');
  if (open == std::string::npos) return demangled;
  int depth = 0;
  std::size_t parameters = 0, close = open;
  for (; close < demangled.size(); ++close) {
    const char c = demangled[close];
    if (c == '(' || c == '<') ++depth;
    if (c == ')' || c == '>') --depth;
    if (depth == 0) break;
    if (c == ',' && depth == 1) ++parameters;
  }
  if (close > open + 1) ++parameters;
  const bool isConst = demangled.compare(close + 1, std::string::npos, " const") == 0;
  return demangled.substr(0, open) + "/" + std::to_string(parameters) + (isConst ? " const" : "");
}

}  // namespace zttsp_test
