#include "tools/token_verification.h"

#include <openssl/err.h>
#include <openssl/x509v3.h>

#include <cstring>

#include "rfc3161/response.h"
#include "tools/certificate.h"
#include "tools/ess.h"
#include "tools/hash_algorithms.h"
#include "tools/report_values.h"
#include "tools/tool_error.h"

namespace Zanthorel {
namespace Tools {
namespace {

using PKI::TSP::CToken;

class Verification {
 public:
  explicit Verification(const VerificationInput& input) : input_(input) {}

  VerificationOutcome run() {
    const std::optional<CToken> token = readToken();
    if (!token) return std::move(outcome_);
    summarize(*token);
    checkImprint(*token);
    const std::optional<Certificate> signer = signerOf(*token);
    if (signer) {
      checkSignature(*token, *signer);
      checkEss(*token, *signer);
      checkChain(*token, *signer);
    }
    return std::move(outcome_);
  }

 private:
  void fail(const std::string& check, const std::string& why) {
    outcome_.failures.push_back(check + ": " + why);
  }

  std::optional<CToken> readToken() {
    CToken token;
    if (input_.tokenIn) {
      try {
        token.decode(input_.message);
        return token;
      } catch (const ATL::CAtlException& error) {
        fail("token", "not a TimeStampToken (" + hresultText(error.m_hr) + ")");
        return std::nullopt;
      }
    }
    PKI::TSP::CResponse response;
    try {
      response.decode(input_.message);
    } catch (const ATL::CAtlException& error) {
      fail("response",
           "not a TimeStampResp with a readable token (" + hresultText(error.m_hr) + ")");
      return std::nullopt;
    }
    const int status = response.get_status().get_status();
    if (status != ASN1::granted && status != ASN1::grantedWithMods) {
      outcome_.reading = VerificationOutcome::Reading::notGranted;
      fail("status", statusSummary(response.get_status()));
      return std::nullopt;
    }
    if (response.get_timeStampToken() == nullptr) {
      fail("response", "granted, but without a token");
      return std::nullopt;
    }
    return *response.get_timeStampToken();
  }

  void summarize(const CToken& token) {
    outcome_.reading = VerificationOutcome::Reading::token;
    outcome_.genTime = isoTime(token.get_genTime());
    outcome_.serialNumber = token.get_serialNumber().toString().c_str();
    outcome_.summary = "Time stamp: " + outcome_.genTime + ", serial number " +
                       outcome_.serialNumber + ", policy " + token.get_policy();
  }

  void checkImprint(const CToken& token) {
    const char* algorithm = token.get_hashAlgorithm().get_algorithm();
    const CBlob& stamped = token.get_hashedMessage();
    if (input_.query) {
      checkAgainstQuery(token, *input_.query);
    } else if (input_.digest) {
      if (*input_.digest != stamped)
        fail("imprint",
             "the token stamps " + hexText(stamped) + ", not " + hexText(*input_.digest));
    } else if (const HashAlgorithm* hash = hashAlgorithmOf(algorithm)) {
      if (digestOfFile(*hash, input_.dataPath) != stamped)
        fail("imprint", std::string("the token stamps another ") + hash->name + " digest than " +
                            input_.dataPath + "'s");
    } else {
      fail("imprint", "the token's hash algorithm " + oidText(algorithm) + " is not supported");
    }
  }

  void checkAgainstQuery(const CToken& token, const PKI::TSP::CRequest& query) {
    const char* algorithm = token.get_hashAlgorithm().get_algorithm();
    if (std::strcmp(algorithm, query.get_hashAlgorithm().get_algorithm()) != 0)
      fail("imprint", "the token's hash algorithm " + oidText(algorithm) +
                          " is not the request's " +
                          oidText(query.get_hashAlgorithm().get_algorithm()));
    else if (token.get_hashedMessage() != query.get_hashedMessage())
      fail("imprint", "the token stamps another digest than the request's");
    if (const ASN1::CBigInteger* nonce = query.get_nonce()) {
      if (token.get_nonce() == nullptr)
        fail("nonce", "the request has one, the token none");
      else if (*token.get_nonce() != *nonce)
        fail("nonce", std::string("the token's ") + token.get_nonce()->toString().c_str() +
                          " is not the request's " + nonce->toString().c_str());
    }
    if (query.get_reqPolicy() != nullptr &&
        std::strcmp(query.get_reqPolicy(), token.get_policy()) != 0)
      fail("policy", std::string("the token's ") + token.get_policy() + " is not the requested " +
                         query.get_reqPolicy());
  }

  // The signer's certificate: in the token, among the untrusted or among the trusted ones.
  std::optional<Certificate> signerOf(const CToken& token) {
    const ASN1::CSignerInfo& signer = token.get_signerInfo();
    std::vector<CBlob> candidates = input_.untrusted;
    if (const CBlobList* carried = token.get_certificates())
      candidates.insert(candidates.begin(), carried->begin(), carried->end());
    if (input_.trust)
      candidates.insert(candidates.end(), input_.trust->certificates().begin(),
                        input_.trust->certificates().end());
    for (const CBlob& der : candidates) {
      try {
        Certificate candidate(der);
        const bool named =
            signer.get_sidType() == ASN1::CSignerInfo::issuerAndSerialNumber
                ? candidate.issuerName() == signer.get_issuer() &&
                      candidate.serialNumber() == signer.get_serialNumber()
                : !signer.get_subjectKeyIdentifier().empty() &&
                      candidate.subjectKeyIdentifier() == signer.get_subjectKeyIdentifier();
        if (named) return candidate;
      } catch (const ToolError&) {
        // Attribute certificates and the like are no candidates.
      }
    }
    fail("signer", "its certificate is neither in the token nor among the given certificates");
    return std::nullopt;
  }

  void checkSignature(const CToken& token, const Certificate& signer) {
    try {
      if (!token.verify(signer.der()))
        fail("signature", "does not verify with the signer's certificate");
    } catch (const ATL::CAtlException& error) {
      fail("signature", "cannot be checked (" + hresultText(error.m_hr) + ")");
    }
  }

  // RFC 5035: the first entry of each attribute present names the signer; RFC 3161 asks for one.
  void checkEss(const CToken& token, const Certificate& signer) {
    const ASN1::CAttributes* attributes = token.get_signedAttributes();
    bool named = false;
    for (const bool v2 : {false, true}) {
      const char* check = v2 ? "ESS signingCertificateV2" : "ESS signingCertificate";
      if (attributes == nullptr) break;
      const auto found = attributes->find(v2 ? kSigningCertificateV2Oid : kSigningCertificateOid);
      if (found == attributes->end()) continue;
      named = true;
      std::vector<EssCertId> ids;
      if (found->size() != 1 || !decodeSigningCertificate(found->begin()->get_value(), v2, ids)) {
        fail(check, "the attribute does not decode");
        continue;
      }
      const std::string why = essMismatch(ids.front(), signer);
      if (!why.empty()) fail(check, "the first entry does not name the signer: " + why);
    }
    if (!named)
      fail("ESS signing certificate",
           "the token carries neither signingCertificate nor signingCertificateV2");
  }

  void checkChain(const CToken& token, const Certificate& signer) {
    const TrustStore trust = input_.trust ? *input_.trust : TrustStore({}, {});
    const X509StackPtr untrusted(sk_X509_new_null());
    const X509StoreCtxPtr context(X509_STORE_CTX_new());
    if (!untrusted || !context) throw ToolError("out of memory");
    std::vector<CBlob> others = input_.untrusted;
    if (const CBlobList* carried = token.get_certificates())
      others.insert(others.end(), carried->begin(), carried->end());
    for (const CBlob& der : others) {
      const unsigned char* cursor = der.pbData();
      X509* certificate = d2i_X509(nullptr, &cursor, static_cast<long>(der.cbData()));
      if (certificate != nullptr && sk_X509_push(untrusted.get(), certificate) == 0)
        X509_free(certificate);
    }
    if (X509_STORE_CTX_init(context.get(), trust.store(), signer.x509(), untrusted.get()) != 1)
      throw ToolError("out of memory");
    X509_STORE_CTX_set_purpose(context.get(), X509_PURPOSE_TIMESTAMP_SIGN);
    const CDateTime at = input_.atNow ? CDateTime::now() : token.get_genTime();
    X509_STORE_CTX_set_time(context.get(), 0, static_cast<time_t>(at.get_seconds()));
    if (X509_verify_cert(context.get()) != 1) {
      const int depth = X509_STORE_CTX_get_error_depth(context.get());
      X509* where = X509_STORE_CTX_get_current_cert(context.get());
      std::string subject = "?";
      if (where != nullptr) {
        unsigned char* der = nullptr;
        const int length = i2d_X509_NAME(X509_get_subject_name(where), &der);
        if (length > 0) subject = nameText(CBlob(der, static_cast<std::uint32_t>(length)));
        OPENSSL_free(der);
      }
      fail("certificate chain",
           std::string(X509_verify_cert_error_string(X509_STORE_CTX_get_error(context.get()))) +
               " at " + (input_.atNow ? "the current time " : "the token's time ") + isoTime(at) +
               " (depth " + std::to_string(depth) + ": " + subject + ")");
    }
    ERR_clear_error();
  }

  const VerificationInput& input_;
  VerificationOutcome outcome_;
};

}  // namespace

VerificationOutcome verifyTimeStamp(const VerificationInput& input) {
  return Verification(input).run();
}

}  // namespace Tools
}  // namespace Zanthorel
