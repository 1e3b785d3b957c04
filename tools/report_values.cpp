#include "tools/report_values.h"

#include <openssl/objects.h>

#include <cctype>
#include <cstdio>
#include <memory>

namespace Zanthorel {
namespace Tools {
namespace {

// What OpenSSL's object table does not know.
const struct {
  const char* oid;
  const char* name;
} kOwnNames[] = {
    {"1.3.6.1.4.1.311.2.1.4", "spcIndirectData, an Authenticode signature"},
    {"1.3.6.1.4.1.311.3.2.1", "Authenticode time-stamp request"},
    {"1.3.6.1.4.1.311.3.3.1", "RFC 3161 counter-signature (Authenticode)"},
};

const struct {
  std::uint32_t bit;
  const char* name;
} kFailures[] = {
    {ASN1::badAlg, "badAlg"},
    {ASN1::badRequest, "badRequest"},
    {ASN1::badDataFormat, "badDataFormat"},
    {ASN1::timeNotAvailable, "timeNotAvailable"},
    {ASN1::unacceptedPolicy, "unacceptedPolicy"},
    {ASN1::unacceptedExtension, "unacceptedExtension"},
    {ASN1::addInfoNotAvailable, "addInfoNotAvailable"},
    {ASN1::systemFailure, "systemFailure"},
};

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

std::string hexText(const CBlob& bytes) {
  static const char kDigits[] = "0123456789abcdef";
  std::string text;
  text.reserve(bytes.cbData() * 2);
  for (std::uint32_t i = 0; i < bytes.cbData(); ++i) {
    text.push_back(kDigits[bytes.pbData()[i] >> 4]);
    text.push_back(kDigits[bytes.pbData()[i] & 0x0F]);
  }
  return text;
}

bool fromHexText(const std::string& text, CBlob& bytes) {
  std::string digits;
  for (const char c : text) {
    if (std::isspace(static_cast<unsigned char>(c)) || c == ':') continue;
    if (hexValue(c) < 0) return false;
    digits.push_back(c);
  }
  if (digits.empty() || digits.size() % 2 != 0) return false;
  CBlob decoded(static_cast<std::uint32_t>(digits.size() / 2));
  for (std::size_t i = 0; i < digits.size(); i += 2)
    decoded.pbData()[i / 2] =
        static_cast<std::uint8_t>(hexValue(digits[i]) * 16 + hexValue(digits[i + 1]));
  bytes = std::move(decoded);
  return true;
}

std::string joined(const std::vector<std::string>& items, const std::string& separator) {
  std::string text;
  for (const std::string& item : items)
    text += (text.empty() ? "" : separator) + item;
  return text;
}

std::string isoTime(const CDateTime& time) {
  // "YYYYMMDDhhmmss[.f...]Z" → "YYYY-MM-DDThh:mm:ss[.f...]Z"
  const std::string z = time.getGeneralizedTime().c_str();
  const std::size_t seconds = z.find_first_of(".Z");  // the year may take more than four digits
  if (seconds == std::string::npos || seconds < 14) return z;
  const std::size_t y = seconds - 10;
  return z.substr(0, y) + "-" + z.substr(y, 2) + "-" + z.substr(y + 2, 2) + "T" +
         z.substr(y + 4, 2) + ":" + z.substr(y + 6, 2) + ":" + z.substr(y + 8);
}

std::string oidName(const std::string& oid) {
  for (const auto& own : kOwnNames)
    if (oid == own.oid) return own.name;
  const std::unique_ptr<ASN1_OBJECT, void (*)(ASN1_OBJECT*)> object(OBJ_txt2obj(oid.c_str(), 1),
                                                                    ASN1_OBJECT_free);
  const int nid = object ? OBJ_obj2nid(object.get()) : NID_undef;
  const char* name = nid != NID_undef ? OBJ_nid2ln(nid) : nullptr;
  return name != nullptr ? name : "";
}

std::string oidText(const std::string& oid) {
  const std::string name = oidName(oid);
  return name.empty() ? oid : oid + " (" + name + ")";
}

std::string hresultText(long hr) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(hr));
  return text;
}

std::string statusName(int status) {
  static const char* const kNames[] = {"granted", "grantedWithMods",   "rejection",
                                       "waiting", "revocationWarning", "revocationNotification"};
  return status >= 0 && status <= 5 ? kNames[status] : "status " + std::to_string(status);
}

std::string failureNames(std::uint32_t bits) {
  std::string names;
  for (const auto& failure : kFailures) {
    if ((bits & failure.bit) == 0) continue;
    if (!names.empty()) names += ", ";
    names += failure.name;
    bits &= ~failure.bit;
  }
  for (unsigned bit = 0; bits != 0; ++bit, bits >>= 1) {
    if ((bits & 1) == 0) continue;
    if (!names.empty()) names += ", ";
    names += "bit " + std::to_string(bit);
  }
  return names;
}

std::string statusSummary(const ASN1::CPKIStatusInfo& status) {
  std::string summary = statusName(status.get_status());
  if (status.has_failInfo()) summary += " (" + failureNames(status.get_failInfo()) + ")";
  if (const ASN1::CStringList* lines = status.get_statusString()) {
    const char* separator = ": ";
    for (const std::string& line : *lines) {
      summary += separator + line;
      separator = "; ";
    }
  }
  return summary;
}

}  // namespace Tools
}  // namespace Zanthorel
