#include "tools/signer_checks.h"

#include <openssl/err.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <memory>

#include "tools/report_values.h"
#include "tools/tool_error.h"

namespace Zanthorel {
namespace Tools {
namespace {

constexpr std::int64_t kDay = 24 * 60 * 60;

const char kRule[] =
    "; a time-stamping certificate has a critical extendedKeyUsage holding timeStamping alone "
    "(RFC 3161 2.3)";

[[noreturn]] void unsuitable(const std::string& path, const std::string& fault) {
  throw ToolError("the signer certificate " + path + " cannot sign time stamps: " + fault);
}

// "codeSigning", as RFC 5280 names the purposes; a purpose OpenSSL does not know by its number.
std::string purposeName(const ASN1_OBJECT* purpose) {
  const int nid = OBJ_obj2nid(purpose);
  if (nid != NID_undef) return OBJ_nid2sn(nid);
  char text[80];
  OBJ_obj2txt(text, sizeof text, purpose, 1);
  return text;
}

void checkExtendedKeyUsage(X509* x509, const std::string& path) {
  int critical = -1;
  const std::unique_ptr<EXTENDED_KEY_USAGE, void (*)(EXTENDED_KEY_USAGE*)> usage(
      static_cast<EXTENDED_KEY_USAGE*>(
          X509_get_ext_d2i(x509, NID_ext_key_usage, &critical, nullptr)),
      EXTENDED_KEY_USAGE_free);
  if (!usage) {
    if (critical == -2) unsuitable(path, "it has extendedKeyUsage twice");
    unsuitable(path, std::string("it has no extendedKeyUsage") + kRule);
  }
  std::string others;
  bool timeStamping = false;
  for (int i = 0; i < sk_ASN1_OBJECT_num(usage.get()); ++i) {
    const ASN1_OBJECT* purpose = sk_ASN1_OBJECT_value(usage.get(), i);
    if (OBJ_obj2nid(purpose) == NID_time_stamp)
      timeStamping = true;
    else
      others += (others.empty() ? "" : ", ") + purposeName(purpose);
  }
  if (!timeStamping) unsuitable(path, "its extendedKeyUsage holds " + others + kRule);
  if (!others.empty())
    unsuitable(path, "its extendedKeyUsage holds " + others + " beside timeStamping" + kRule);
  if (!critical) unsuitable(path, std::string("its extendedKeyUsage is not critical") + kRule);
}

}  // namespace

void checkTimeStampingCertificate(const Certificate& signer, const std::string& path,
                                  const CDateTime& now) {
  X509* x509 = signer.x509();
  // As OpenSSL decides it: CA:TRUE unless a keyUsage without keyCertSign says it cannot issue.
  if (X509_check_ca(x509) != 0)
    unsuitable(path,
               "it is a CA certificate, one that may sign certificates; time stamps are signed by "
               "an end-entity certificate");
  checkExtendedKeyUsage(x509, path);
  const std::uint32_t keyUsage = X509_get_key_usage(x509);
  if (keyUsage != UINT32_MAX && (keyUsage & (KU_DIGITAL_SIGNATURE | KU_NON_REPUDIATION)) == 0)
    unsuitable(path, "its keyUsage allows neither digitalSignature nor nonRepudiation");
  if (now < signer.notBefore())
    unsuitable(path, "it is not valid before " + isoTime(signer.notBefore()));
  if (signer.notAfter() < now) unsuitable(path, "it expired on " + isoTime(signer.notAfter()));
}

std::vector<CBlob> issuingChain(const Certificate& signer, std::vector<CBlob> chain,
                                const std::string& chainPath) {
  std::vector<Certificate> left;
  for (const CBlob& der : chain)
    if (der != signer.der()) left.emplace_back(der);
  std::vector<CBlob> ordered;
  std::optional<Certificate> previous;  // the last one placed, whose issuer comes next
  const Certificate* current = &signer;
  while (!left.empty()) {
    const auto issuer = std::find_if(left.begin(), left.end(), [current](const Certificate& c) {
      return X509_check_issued(c.x509(), current->x509()) == X509_V_OK &&
             X509_verify(current->x509(), X509_get0_pubkey(c.x509())) == 1;
    });
    ERR_clear_error();
    if (issuer == left.end())
      throw ToolError("-chain " + chainPath + " is not the signer's issuing chain: it holds " +
                      nameText(left.front().subjectName()) + ", which did not sign " +
                      (previous ? nameText(current->subjectName()) : "the signer certificate") +
                      " (issued by " + nameText(current->issuerName()) + ")");
    ordered.push_back(issuer->der());
    previous = std::move(*issuer);
    left.erase(issuer);
    current = &*previous;
  }
  return ordered;
}

std::optional<std::string> expiryWarning(const Certificate& signer, const std::string& path,
                                         const CDateTime& now, unsigned days) {
  const std::int64_t left = signer.notAfter().get_seconds() - now.get_seconds();
  if (days == 0 || left >= static_cast<std::int64_t>(days) * kDay) return std::nullopt;
  return "the signer certificate " + path + " expires on " + isoTime(signer.notAfter()) + " (in " +
         std::to_string(left / kDay) + " days)";
}

}  // namespace Tools
}  // namespace Zanthorel
