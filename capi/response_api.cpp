// The RFC 3161 response through the C interface.
#include <string>

#include "capi/message_calls.h"
#include "capi/objects.h"

using namespace Zanthorel::CApi;
using Zanthorel::ASN1::CPKIStatusInfo;

zttsp_result zttsp_response_decode(const uint8_t* der, size_t length, zttsp_response** response) {
  return decodeCall(__func__, der, length, response, "response");
}

zttsp_result zttsp_response_new(int32_t status, zttsp_response** response) {
  return runCall(__func__, [&] {
    outArgument(response, "response");
    if (status < ZTTSP_STATUS_GRANTED || status > ZTTSP_STATUS_REVOCATION_NOTIFICATION)
      fail(ZTTSP_E_INVALIDARG, "status " + std::to_string(status) + " is no PKIStatus (0 to 5)");
    CPKIStatusInfo statusInfo;
    statusInfo.put_status(status);
    auto held = std::make_shared<Holder<Zanthorel::PKI::TSP::CResponse>>();
    held->value.put_status(statusInfo);
    publishHeld(response, std::move(held));
  });
}

zttsp_result zttsp_response_encode(const zttsp_response* response, uint8_t** der, size_t* length) {
  return encodeCall(__func__, response, der, length);
}

zttsp_result zttsp_response_release(zttsp_response* response) {
  return releaseHandle(__func__, response);
}

zttsp_result zttsp_response_get_status(const zttsp_response* response, int32_t* status) {
  return runCall(__func__, [&] {
    int32_t& result = outArgument(status, "status");
    result = Use<zttsp_response>(response)->get_status().get_status();
  });
}

zttsp_result zttsp_response_get_status_text(const zttsp_response* response, char** text) {
  return runCall(__func__, [&] {
    TextResult out(text, "text");
    const Use<zttsp_response> object(response);
    const auto* lines = object->get_status().get_statusString();
    if (lines == nullptr) return;
    std::string joined;
    for (const std::string& line : *lines)
      joined += (joined.empty() ? "" : "\n") + line;
    out.give(joined);
  });
}

zttsp_result zttsp_response_add_status_text(zttsp_response* response, const char* text) {
  return runCall(__func__, [&] {
    const Use<zttsp_response> object(response);
    CPKIStatusInfo status = object->get_status();
    status.add_statusString(textArgument(text, "text"));
    object->put_status(status);
  });
}

zttsp_result zttsp_response_get_fail_info(const zttsp_response* response, uint32_t* fail_info) {
  return runCall(__func__, [&] {
    uint32_t& result = outArgument(fail_info, "fail_info");
    const Use<zttsp_response> object(response);
    const CPKIStatusInfo& status = object->get_status();
    result = status.has_failInfo() ? status.get_failInfo() : 0;
  });
}

zttsp_result zttsp_response_set_fail_info(zttsp_response* response, uint32_t fail_info) {
  return runCall(__func__, [&] {
    const Use<zttsp_response> object(response);
    CPKIStatusInfo status = object->get_status();
    if (fail_info != 0) {
      status.put_failInfo(fail_info);
    } else {
      status.clear_failInfo();
    }
    object->put_status(status);
  });
}

zttsp_result zttsp_response_get_token(const zttsp_response* response, zttsp_token** token) {
  return runCall(__func__, [&] {
    outArgument(token, "token");
    const Use<zttsp_response> object(response);
    if (const auto* held = object->get_timeStampToken()) publish(token, *held);
  });
}

zttsp_result zttsp_response_set_token(zttsp_response* response, const zttsp_token* token) {
  return runCall(__func__, [&] {
    const Use<zttsp_response> object(response);
    if (token == nullptr) return object->put_timeStampToken(nullptr);
    object->put_timeStampToken(&*Use<zttsp_token>(token));
  });
}
