// The RFC 3161 token through the C interface: what a client reads and checks.
#include <cstring>

#include "capi/certificates.h"
#include "capi/general_name_text.h"
#include "capi/message_calls.h"
#include "capi/objects.h"

using namespace Zanthorel::CApi;
using Zanthorel::CBlob;
using Zanthorel::CDateTime;
using Zanthorel::ASN1::CBigInteger;
using Zanthorel::PKI::TSP::CAccuracy;

zttsp_result zttsp_token_decode(const uint8_t* der, size_t length, zttsp_token** token) {
  return decodeCall(__func__, der, length, token, "token");
}

zttsp_result zttsp_token_encode(const zttsp_token* token, uint8_t** der, size_t* length) {
  return encodeCall(__func__, token, der, length);
}

zttsp_result zttsp_token_release(zttsp_token* token) {
  return releaseHandle(__func__, token);
}

zttsp_result zttsp_token_verify(const zttsp_token* token, const uint8_t* certificate,
                                size_t length) {
  return verifyCall(__func__, token, certificate, length,
                    "the token's signature does not verify with the certificate (or the token has "
                    "not exactly one signer)");
}

zttsp_result zttsp_token_get_gen_time_text(const zttsp_token* token, char** text) {
  return runCall(__func__, [&] {
    TextResult out(text, "text");
    out.give(Use<zttsp_token>(token)->get_genTimeZ());
  });
}

zttsp_result zttsp_token_get_gen_time(const zttsp_token* token, int64_t* seconds,
                                      uint32_t* nanoseconds) {
  return runCall(__func__, [&] {
    int64_t& wholeSeconds = outArgument(seconds, "seconds");
    uint32_t& fraction = outArgument(nanoseconds, "nanoseconds");
    const Use<zttsp_token> object(token);
    // get_genTime cannot tell a text that is no time from the time 0.
    const char* text = object->get_genTimeZ();
    CDateTime time;
    if (!CDateTime::parseGeneralizedTime(text, std::strlen(text), time))
      fail(ZTTSP_E_BAD_MSG, std::string("the token's genTime \"") + text + "\" is no valid time");
    wholeSeconds = time.get_seconds();
    fraction = time.get_nanoseconds();
  });
}

zttsp_result zttsp_token_get_serial(const zttsp_token* token, uint8_t** serial, size_t* length) {
  return runCall(__func__, [&] {
    BytesResult out(serial, length, "serial");
    out.give(Use<zttsp_token>(token)->get_serialNumber().get_value());
  });
}

zttsp_result zttsp_token_get_policy(const zttsp_token* token, char** policy) {
  return runCall(__func__, [&] {
    TextResult out(policy, "policy");
    out.give(Use<zttsp_token>(token)->get_policy());
  });
}

zttsp_result zttsp_token_get_hash_algorithm(const zttsp_token* token, char** oid) {
  return runCall(__func__, [&] {
    TextResult out(oid, "oid");
    out.give(Use<zttsp_token>(token)->get_hashAlgorithm().get_algorithm());
  });
}

zttsp_result zttsp_token_get_hash(const zttsp_token* token, uint8_t** hash, size_t* length) {
  return runCall(__func__, [&] {
    BytesResult out(hash, length, "hash");
    out.give(Use<zttsp_token>(token)->get_hashedMessage());
  });
}

zttsp_result zttsp_token_get_nonce(const zttsp_token* token, uint8_t** nonce, size_t* length) {
  return runCall(__func__, [&] {
    BytesResult out(nonce, length, "nonce");
    const Use<zttsp_token> object(token);
    const CBigInteger* value = object->get_nonce();
    out.give(value != nullptr ? &value->get_value() : nullptr);
  });
}

zttsp_result zttsp_token_get_accuracy(const zttsp_token* token, int* present, uint32_t* seconds,
                                      uint32_t* millis, uint32_t* micros) {
  return runCall(__func__, [&] {
    int& isPresent = outArgument(present, "present");
    uint32_t& wholeSeconds = outArgument(seconds, "seconds");
    uint32_t& milliseconds = outArgument(millis, "millis");
    uint32_t& microseconds = outArgument(micros, "micros");
    const Use<zttsp_token> object(token);
    const CAccuracy* accuracy = object->get_accuracy();
    if (accuracy == nullptr) return;
    isPresent = 1;
    wholeSeconds = accuracy->seconds;
    milliseconds = accuracy->millis;
    microseconds = accuracy->micros;
  });
}

zttsp_result zttsp_token_get_ordering(const zttsp_token* token, int* ordering) {
  return runCall(__func__, [&] {
    int& result = outArgument(ordering, "ordering");
    result = Use<zttsp_token>(token)->get_ordering() ? 1 : 0;
  });
}

zttsp_result zttsp_token_get_tsa_name(const zttsp_token* token, char** text) {
  return runCall(__func__, [&] {
    TextResult out(text, "text");
    const Use<zttsp_token> object(token);
    if (const auto* name = object->get_tsa()) out.give(generalNameText(*name));
  });
}

zttsp_result zttsp_token_get_certificate_count(const zttsp_token* token, size_t* count) {
  return certificateCountCall(__func__, token, count);
}

zttsp_result zttsp_token_get_certificate(const zttsp_token* token, size_t index,
                                         uint8_t** certificate, size_t* length) {
  return certificateCall(__func__, token, index, certificate, length);
}
