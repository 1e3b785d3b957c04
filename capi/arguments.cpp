#include "capi/arguments.h"

#include <limits>
#include <string>

#include "outside/asn1rt/ber_reader.h"
#include "outside/ztasn1/object_identifier.h"
#include "sdk/atl_exception.h"

namespace Zanthorel {
namespace CApi {

CBlob bytesArgument(const std::uint8_t* data, std::size_t length, const char* name) {
  if (length == 0) fail(ZTTSP_E_INVALIDARG, std::string(name) + " is empty (length 0)");
  return optionalBytesArgument(data, length, name);
}

CBlob optionalBytesArgument(const std::uint8_t* data, std::size_t length, const char* name) {
  if (data == nullptr && length != 0)
    fail(ZTTSP_E_POINTER, std::string(name) + " is null but its length is not 0");
  if (length > std::numeric_limits<std::uint32_t>::max())
    fail(ZTTSP_E_INVALIDARG, std::string(name) + " is longer than 4 GiB");
  return CBlob(data, static_cast<std::uint32_t>(length));
}

const char* textArgument(const char* text, const char* name) {
  if (text == nullptr) fail(ZTTSP_E_POINTER, std::string(name) + " is null");
  if (*text == '\0') fail(ZTTSP_E_INVALIDARG, std::string(name) + " is empty text");
  return text;
}

const char* oidArgument(const char* text, const char* name) {
  textArgument(text, name);
  // The codec's own reading of dotted text, so that what passes here also encodes.
  ASN1CTXT context;
  ASN1OBJID oid{};
  try {
    ASN1::ASN1TObjId_traits::set(&context, oid, text);
  } catch (const ATL::CAtlException& error) {
    if (error.m_hr != E_INVALIDARG) throw;
    fail(ZTTSP_E_INVALIDARG,
         std::string(name) + " \"" + text + "\" is no dotted object identifier");
  }
  return text;
}

CBlob elementArgument(const std::uint8_t* data, std::size_t length, const char* name) {
  CBlob element = bytesArgument(data, length, name);
  ASN1CTXT context;
  BER::BerReader reader(element.pbData(), element.cbData(), &context);
  ASN1OpenType whole{};
  if (!reader.readOpenType(whole) || !reader.empty())
    fail(ZTTSP_E_INVALIDARG, std::string(name) + " is not one complete DER element");
  return element;
}

CDateTime timeArgument(std::int64_t seconds, std::uint32_t nanoseconds) {
  // 0001-01-01T00:00:00Z and 9999-12-31T23:59:59Z.
  constexpr std::int64_t kFirst = -62135596800, kLast = 253402300799;
  if (seconds < kFirst || seconds > kLast)
    fail(ZTTSP_E_INVALIDARG, "the time " + std::to_string(seconds) +
                                 " s is outside the years 1 to 9999 that GeneralizedTime writes");
  if (nanoseconds > 999999999)
    fail(ZTTSP_E_INVALIDARG, "nanoseconds " + std::to_string(nanoseconds) + " is above 999999999");
  return CDateTime(seconds, nanoseconds);
}

}  // namespace CApi
}  // namespace Zanthorel
