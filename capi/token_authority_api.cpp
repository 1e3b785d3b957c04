// The RFC 3161 token through the C interface: what an authority builds and signs.
#include "capi/algorithms.h"
#include "capi/certificates.h"
#include "capi/message_calls.h"
#include "capi/objects.h"

using namespace Zanthorel::CApi;
using Zanthorel::CBlob;
using Zanthorel::CBlobList;
using Zanthorel::ASN1::CAttribute;
using Zanthorel::ASN1::CAttributes;
using Zanthorel::ASN1::CBigInteger;
using Zanthorel::ASN1::CGeneralName;
using Zanthorel::PKI::TSP::CAccuracy;
using Zanthorel::PKI::TSP::CToken;

namespace {

// The token as Use gives it, when it is still being built: a signed or decoded one carries
// what the message holds (its signed attributes among them), which signing again would repeat.
Use<zttsp_token> unsignedToken(zttsp_token* token) {
  Use<zttsp_token> object(token);
  try {
    object->encode();
  } catch (const ATL::CAtlException& error) {
    if (error.m_hr == E_FAIL) return object;  // no message: unsigned
    throw;
  }
  fail(ZTTSP_E_ILLEGAL_METHOD_CALL,
       "the token is signed or decoded already; build another with zttsp_token_new");
}

}  // namespace

zttsp_result zttsp_token_new(const zttsp_request* request, const char* policy,
                             const uint8_t* serial, size_t serial_length, int64_t seconds,
                             uint32_t nanoseconds, zttsp_token** token) {
  return runCall(__func__, [&] {
    outArgument(token, "token");
    const Use<zttsp_request> answered(request);
    const char* policyOid = oidArgument(policy, "policy");
    const CBlob serialBytes = bytesArgument(serial, serial_length, "serial");
    const auto genTime = timeArgument(seconds, nanoseconds);
    auto held = std::make_shared<Holder<CToken>>(
        policyOid, answered->get_hashAlgorithm(), answered->get_hashedMessage(),
        CBigInteger::fromUnsigned(serialBytes.pbData(), serialBytes.cbData()), genTime, false);
    held->value.put_nonce(answered->get_nonce());
    publishHeld(token, std::move(held));
  });
}

zttsp_result zttsp_token_set_accuracy(zttsp_token* token, uint32_t seconds, uint32_t millis,
                                      uint32_t micros) {
  return runCall(__func__, [&] {
    const Use<zttsp_token> object = unsignedToken(token);
    if (millis > 999 || micros > 999)
      fail(ZTTSP_E_INVALIDARG, "millis and micros run from 0 to 999");
    const CAccuracy accuracy(seconds, millis, micros);
    object->put_accuracy(&accuracy);
  });
}

zttsp_result zttsp_token_set_tsa_name(zttsp_token* token, const uint8_t* certificate,
                                      size_t length) {
  return runCall(__func__, [&] {
    const Use<zttsp_token> object = unsignedToken(token);
    const CBlob subject =
        subjectOf(bytesArgument(certificate, length, "certificate"), "certificate");
    const CGeneralName name = CGeneralName::fromDirectoryName(subject);
    object->put_tsa(&name);
  });
}

zttsp_result zttsp_token_add_certificate(zttsp_token* token, const uint8_t* certificate,
                                         size_t length) {
  return runCall(__func__, [&] {
    const Use<zttsp_token> object = unsignedToken(token);
    const CBlobList certificates =
        withCertificate(object->get_certificates(),
                        bytesArgument(certificate, length, "certificate"), "certificate");
    object->put_certificates(&certificates);
  });
}

zttsp_result zttsp_token_add_signed_attribute(zttsp_token* token, const char* oid,
                                              const uint8_t* value, size_t length) {
  return runCall(__func__, [&] {
    const Use<zttsp_token> object = unsignedToken(token);
    CAttribute attribute(oidArgument(oid, "oid"));
    attribute.add(elementArgument(value, length, "value"));
    const CAttributes* current = object->get_signedAttributes();
    CAttributes attributes = current != nullptr ? *current : CAttributes();
    attributes.push_back(attribute);
    object->put_signedAttributes(&attributes);
  });
}

zttsp_result zttsp_token_sign(zttsp_token* token, const zttsp_provider* provider,
                              const uint8_t* certificate, size_t length,
                              const char* digest_algorithm) {
  return runCall(__func__, [&] {
    const Use<zttsp_token> object = unsignedToken(token);
    const Use<zttsp_provider> key(provider);
    const CBlob signer = bytesArgument(certificate, length, "certificate");
    const auto digest = digestIdentifier(digest_algorithm);
    object->sign(key->handle(), key->keySpec(), signer, digest);
    // From here on the token stands on its own bytes, as a decoded one: Wine's CRYPT32 keeps
    // pointing at the signing call's parameters after signing, and a decoded token verifies.
    const CBlob signedToken = object->encode();
    object->decode(signedToken);
  });
}
