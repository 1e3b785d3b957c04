// Messages that one build signs and the other reads: a time-stamp token and an Authenticode
// stamp, each signed with an authority's key, and a one-line account of a received one that
// both builds write the same way, so that their readings can be compared as text.
#pragma once

#include <string>

#include "outside/ztlib/blob.h"
#include "tests/support/tsa_fixture.h"

namespace cross_test {

// A token over the SHA-256 of a fixed text, with nonce, accuracy, the authority's name, its ESS
// attribute and certificate.
Zanthorel::CBlob signedToken(const tsa_test::Authority& authority);
// A stamp of a fixed content at a fixed signing time, carrying the authority's certificate.
Zanthorel::CBlob signedStamp(const tsa_test::Authority& authority);

// What `token` holds (zttsp_test::describe) and whether it verifies with `certificate`; throws
// what decoding throws.
std::string readToken(const Zanthorel::CBlob& token, const Zanthorel::CBlob& certificate);
std::string readStamp(const Zanthorel::CBlob& stamp, const Zanthorel::CBlob& certificate);

}  // namespace cross_test
