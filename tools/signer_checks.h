// Whether a certificate can sign time stamps that clients accept (RFC 3161 2.3), checked before
// an authority starts, so that it never issues tokens that every client then rejects.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "outside/ztlib/blob.h"
#include "outside/ztlib/date_time.h"
#include "tools/certificate.h"

namespace Zanthorel {
namespace Tools {

// Throws ToolError naming the first fault of the certificate in `path`: a CA certificate (one
// that may sign certificates, as X509_check_ca says); an
// extendedKeyUsage that is missing, not critical or holds more or other than timeStamping; a
// keyUsage that allows neither digitalSignature nor nonRepudiation; not valid at `now`.
void checkTimeStampingCertificate(const Certificate& signer, const std::string& path,
                                  const CDateTime& now);

// The certificates of `chainPath` in issuing order: the signer's issuer first, each signed by the
// next. The signer's own certificate is left out where the file holds it too. Throws ToolError
// when a certificate has no place in the signer's issuing chain.
std::vector<CBlob> issuingChain(const Certificate& signer, std::vector<CBlob> chain,
                                const std::string& chainPath);

// A warning when the signer's certificate runs out within `days` days of `now` (none when `days`
// is 0).
std::optional<std::string> expiryWarning(const Certificate& signer, const std::string& path,
                                         const CDateTime& now, unsigned days);

}  // namespace Tools
}  // namespace Zanthorel
