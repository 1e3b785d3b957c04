// Values in the words people read: hex, ISO 8601 times, identifiers with their names, statuses.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "outside/ztasn1/pki_status_info.h"
#include "outside/ztlib/blob.h"
#include "outside/ztlib/date_time.h"

namespace Zanthorel {
namespace Tools {

// Lower-case hex digits, no separators.
std::string hexText(const CBlob& bytes);
// Hex digits (white space and colons ignored) to bytes; false when they are not an even number of
// hex digits.
bool fromHexText(const std::string& text, CBlob& bytes);

// The items one after the other: "a, b, c".
std::string joined(const std::vector<std::string>& items, const std::string& separator = ", ");

// "2026-11-23T02:24:46.123Z"; the fraction as the time carries it, left out when zero.
std::string isoTime(const CDateTime& time);

// The usual name of an identifier ("sha256", "signingTime"), or "" when
// neither OpenSSL nor the time-stamping identifiers know it.
std::string oidName(const std::string& oid);
// "2.16.840.1.101.3.4.2.1 (sha256)", or the bare identifier when it has no name.
std::string oidText(const std::string& oid);

// "0x80093101", for the HRESULT of a library failure.
std::string hresultText(long hr);

// "granted", "rejection", ...; "status N" for values RFC 3161 does not define.
std::string statusName(int status);
// The PKIFailureInfo bits by name, comma separated: "badAlg, badDataFormat".
std::string failureNames(std::uint32_t bits);
// A status in one line: "rejection (badAlg): hash algorithm ... is not supported".
std::string statusSummary(const ASN1::CPKIStatusInfo& status);

}  // namespace Tools
}  // namespace Zanthorel
