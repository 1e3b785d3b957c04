// request_demo FILE: builds an RFC 3161 request for the SHA-256 of FILE, encodes it, decodes
// the encoding again and prints the fields it read back.
#include <openssl/evp.h>
#include <openssl/rand.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

#include "rfc3161/request.h"

using Zanthorel::CBlob;
using Zanthorel::ASN1::CAlgorithmIdentifierEx;
using Zanthorel::ASN1::CBigInteger;
using Zanthorel::PKI::TSP::CRequest;

namespace {

std::string hex(const CBlob& bytes) {
  std::string text;
  char digits[3];
  for (std::uint32_t i = 0; i < bytes.cbData(); ++i) {
    std::snprintf(digits, sizeof digits, "%02x", bytes.pbData()[i]);
    text += digits;
  }
  return text;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s FILE\n", argv[0]);
    return 2;
  }
  std::ifstream in(argv[1], std::ios::binary);
  if (!in) {
    std::fprintf(stderr, "cannot read %s\n", argv[1]);
    return 1;
  }
  const std::string data((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int digestLength = 0;
  unsigned char nonce[8];
  if (!EVP_Digest(data.data(), data.size(), digest, &digestLength, EVP_sha256(), nullptr) ||
      RAND_bytes(nonce, sizeof nonce) != 1) {
    std::fprintf(stderr, "OpenSSL failed\n");
    return 1;
  }

  try {
    const CBlob nullParameters("\x05\x00", 2);
    CRequest request(CAlgorithmIdentifierEx("2.16.840.1.101.3.4.2.1", nullParameters),
                     CBlob(digest, digestLength), true);
    const CBigInteger nonceValue = CBigInteger::fromUnsigned(nonce, sizeof nonce);
    request.put_nonce(&nonceValue);
    const CBlob encoded = request.encode();

    CRequest decoded;
    decoded.decode(encoded);
    std::printf("encoded TimeStampReq: %u bytes\n%s\n", encoded.cbData(), hex(encoded).c_str());
    std::printf("version:        %u\n", decoded.get_version());
    std::printf("hash algorithm: %s\n", decoded.get_hashAlgorithm().get_algorithm());
    std::printf("hashed message: %s\n", hex(decoded.get_hashedMessage()).c_str());
    std::printf("nonce:          %s\n",
                decoded.get_nonce() ? decoded.get_nonce()->toString().c_str() : "(none)");
    std::printf("certReq:        %s\n", decoded.get_certReq() ? "true" : "false");
    std::printf("policy:         %s\n",
                decoded.get_reqPolicy() ? decoded.get_reqPolicy() : "(none)");
  } catch (const ATL::CAtlException& e) {
    std::fprintf(stderr, "failed with HRESULT 0x%08X\n", static_cast<unsigned>(e.m_hr));
    return 1;
  }
  return 0;
}
