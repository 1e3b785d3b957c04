// The hash algorithms the tool and the server know: their names, identifiers and lengths.
#pragma once

#include <openssl/evp.h>

#include <string>
#include <vector>

#include "frame/algorithm_identifier_ex.h"
#include "outside/ztlib/blob.h"

namespace Zanthorel {
namespace Tools {

struct HashAlgorithm {
  const char* name;  // as the command line spells it: "sha256"
  const char* oid;
  unsigned length;  // of a digest, in bytes
  const EVP_MD* (*md)();
};

const HashAlgorithm& sha1();
const HashAlgorithm& sha256();
// SHA-1 and the SHA-2 family, in that order.
std::vector<const HashAlgorithm*> allHashAlgorithms();
// Their names for messages: "sha1, sha224, sha256, sha384, sha512".
std::string hashAlgorithmNames(
    const std::vector<const HashAlgorithm*>& algorithms = allHashAlgorithms());
// Null when the algorithm is not one of SHA-1 and the SHA-2 family.
const HashAlgorithm* hashAlgorithmNamed(const std::string& name);
const HashAlgorithm* hashAlgorithmOf(const std::string& oid);

// The identifier with NULL parameters, as OpenSSL and Windows write it.
ASN1::CAlgorithmIdentifierEx identifierOf(const HashAlgorithm& algorithm);

CBlob digestOf(const HashAlgorithm& algorithm, const CBlob& data);
// Reads the file in pieces, so that large files cost no memory.
CBlob digestOfFile(const HashAlgorithm& algorithm, const std::string& path);

}  // namespace Tools
}  // namespace Zanthorel
