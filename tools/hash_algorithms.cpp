#include "tools/hash_algorithms.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "tools/openssl_types.h"
#include "tools/report_values.h"
#include "tools/tool_error.h"

namespace Zanthorel {
namespace Tools {
namespace {

// MD5 and other broken hashes are left out on purpose: a server refuses them with badAlg.
const HashAlgorithm kAlgorithms[] = {
    {"sha1", "1.3.14.3.2.26", 20, EVP_sha1},
    {"sha224", "2.16.840.1.101.3.4.2.4", 28, EVP_sha224},
    {"sha256", "2.16.840.1.101.3.4.2.1", 32, EVP_sha256},
    {"sha384", "2.16.840.1.101.3.4.2.2", 48, EVP_sha384},
    {"sha512", "2.16.840.1.101.3.4.2.3", 64, EVP_sha512},
};

class Hasher {
 public:
  explicit Hasher(const HashAlgorithm& algorithm) : context_(EVP_MD_CTX_new()) {
    if (!context_ || EVP_DigestInit_ex(context_.get(), algorithm.md(), nullptr) != 1)
      throw ToolError(std::string("cannot compute ") + algorithm.name);
  }
  void update(const void* data, std::size_t length) {
    if (EVP_DigestUpdate(context_.get(), data, length) != 1) throw ToolError("hashing failed");
  }
  CBlob finish() {
    CBlob digest(EVP_MAX_MD_SIZE);
    unsigned length = 0;
    if (EVP_DigestFinal_ex(context_.get(), digest.pbData(), &length) != 1)
      throw ToolError("hashing failed");
    digest.resize_to(length);
    return digest;
  }

 private:
  EvpMdCtxPtr context_;
};

}  // namespace

const HashAlgorithm& sha1() {
  return kAlgorithms[0];
}

const HashAlgorithm& sha256() {
  return kAlgorithms[2];
}

std::vector<const HashAlgorithm*> allHashAlgorithms() {
  std::vector<const HashAlgorithm*> all;
  for (const HashAlgorithm& algorithm : kAlgorithms)
    all.push_back(&algorithm);
  return all;
}

std::string hashAlgorithmNames(const std::vector<const HashAlgorithm*>& algorithms) {
  std::vector<std::string> names;
  for (const HashAlgorithm* algorithm : algorithms)
    names.push_back(algorithm->name);
  return joined(names);
}

const HashAlgorithm* hashAlgorithmNamed(const std::string& name) {
  for (const HashAlgorithm& algorithm : kAlgorithms)
    if (name == algorithm.name) return &algorithm;
  return nullptr;
}

const HashAlgorithm* hashAlgorithmOf(const std::string& oid) {
  for (const HashAlgorithm& algorithm : kAlgorithms)
    if (oid == algorithm.oid) return &algorithm;
  return nullptr;
}

ASN1::CAlgorithmIdentifierEx identifierOf(const HashAlgorithm& algorithm) {
  return ASN1::CAlgorithmIdentifierEx(algorithm.oid, CBlob("\x05\x00", 2));
}

CBlob digestOf(const HashAlgorithm& algorithm, const CBlob& data) {
  Hasher hasher(algorithm);
  hasher.update(data.pbData(), data.cbData());
  return hasher.finish();
}

CBlob digestOfFile(const HashAlgorithm& algorithm, const std::string& path) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"),
                                                             std::fclose);
  if (!file) throw ToolError("cannot read " + path + ": " + std::strerror(errno));
  Hasher hasher(algorithm);
  char chunk[1 << 16];
  std::size_t n;
  while ((n = std::fread(chunk, 1, sizeof chunk, file.get())) > 0)
    hasher.update(chunk, n);
  if (std::ferror(file.get())) throw ToolError("cannot read " + path + ": " + std::strerror(errno));
  return hasher.finish();
}

}  // namespace Tools
}  // namespace Zanthorel
