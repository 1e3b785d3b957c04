// The C++ value behind each C handle type.
#pragma once

#include "authenticode/ms_request.h"
#include "authenticode/ms_stamp.h"
#include "capi/handles.h"
#include "capi/provider.h"
#include "capi/zttsp.h"
#include "rfc3161/request.h"
#include "rfc3161/response.h"
#include "rfc3161/token.h"

namespace Zanthorel {
namespace CApi {

template <>
struct HandleOf<zttsp_provider> {
  using Value = Provider;
  static constexpr Kind kind = Kind::provider;
};
template <>
struct HandleOf<zttsp_request> {
  using Value = PKI::TSP::CRequest;
  static constexpr Kind kind = Kind::request;
};
template <>
struct HandleOf<zttsp_response> {
  using Value = PKI::TSP::CResponse;
  static constexpr Kind kind = Kind::response;
};
template <>
struct HandleOf<zttsp_token> {
  using Value = PKI::TSP::CToken;
  static constexpr Kind kind = Kind::token;
};
template <>
struct HandleOf<zttsp_ms_request> {
  using Value = PKI::TSP::CMSRequest;
  static constexpr Kind kind = Kind::msRequest;
};
template <>
struct HandleOf<zttsp_ms_stamp> {
  using Value = PKI::TSP::CMSStamp;
  static constexpr Kind kind = Kind::msStamp;
};

}  // namespace CApi
}  // namespace Zanthorel
