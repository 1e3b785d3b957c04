// Files and the text forms messages travel in: DER, PEM and base64.
#pragma once

#include <string>
#include <vector>

#include "outside/ztlib/blob.h"

namespace Zanthorel {
namespace Tools {

// The whole file; "-" is standard input. Throws ToolError naming the file.
CBlob readFile(const std::string& path);
// Replaces the file; "-" is standard output. Throws ToolError naming the file.
void writeFile(const std::string& path, const CBlob& bytes);
// Like writeFile, but the file is readable by its owner only: for private keys.
void writePrivateFile(const std::string& path, const CBlob& bytes);
// Like writeFile, but whole or not at all: a temporary beside the file, renamed over it once
// written and synced, so that no one ever reads half a file and a failure leaves the old one.
void writeFileAtomically(const std::string& path, const CBlob& bytes);

// Base64 on one line, without line breaks.
std::string toBase64(const CBlob& bytes);
// Base64 with any white space (line breaks included) between the characters. False when the text
// is no base64 or decodes to nothing.
bool fromBase64(const char* text, std::size_t length, CBlob& bytes);

// The message in a file's bytes: DER as it is, the first block of a PEM file, or base64 text.
// Throws ToolError when the bytes are none of them.
CBlob messageBytes(const CBlob& file, const std::string& path);

// Every certificate of a PEM file (in file order) or the one of a DER file, as DER. Throws
// ToolError when there is none.
std::vector<CBlob> readCertificates(const std::string& path);

}  // namespace Tools
}  // namespace Zanthorel
