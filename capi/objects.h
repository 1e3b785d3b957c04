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

template <class T, Kind K>
struct HandleKind {
  using Value = T;
  static constexpr Kind kind = K;
};

template <>
struct HandleOf<zttsp_provider> : HandleKind<Provider, Kind::provider> {};
template <>
struct HandleOf<zttsp_request> : HandleKind<PKI::TSP::CRequest, Kind::request> {};
template <>
struct HandleOf<zttsp_response> : HandleKind<PKI::TSP::CResponse, Kind::response> {};
template <>
struct HandleOf<zttsp_token> : HandleKind<PKI::TSP::CToken, Kind::token> {};
template <>
struct HandleOf<zttsp_ms_request> : HandleKind<PKI::TSP::CMSRequest, Kind::msRequest> {};
template <>
struct HandleOf<zttsp_ms_stamp> : HandleKind<PKI::TSP::CMSStamp, Kind::msStamp> {};

}  // namespace CApi
}  // namespace Zanthorel
