// A fixed time-stamping authority for the targets that verify: its certificate, and a token it
// signed, so that mutated tokens and certificates reach the signature check.
#pragma once

#include "outside/ztlib/blob.h"

namespace zttsp_fuzz {

const Zanthorel::CBlob& fixedCertificate();
// A TimeStampToken that verifies with fixedCertificate(); it carries no certificate.
const Zanthorel::CBlob& fixedToken();

}  // namespace zttsp_fuzz
