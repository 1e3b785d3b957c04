// CMSG_SIGNER_AUTH_ATTR_PARAM and CMSG_SIGNER_UNAUTH_ATTR_PARAM output: one self-contained block.
//
// CRYPT_ATTRIBUTES at offset 0, then the CRYPT_ATTRIBUTE array, then for each attribute its
// NUL-terminated OID text, its CRYPT_ATTR_BLOB array and its value bytes (each value the complete
// encoding received). Structures are 8-aligned and every pointer points inside the block, so the
// caller frees one buffer.
#pragma once

#include "outside/asn1/cms.h"
#include "sdk/wincrypt.h"

namespace Zanthorel {
namespace Platform {

// Hands out `attributes` by the length-query convention (param_output.h).
void outputAttributes(const ASN1T_Attributes& attributes, void* data, DWORD* size);

}  // namespace Platform
}  // namespace Zanthorel
