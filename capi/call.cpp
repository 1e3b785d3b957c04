#include "capi/call.h"

#include <cstdio>
#include <new>
#include <stdexcept>

#include "sdk/atl_exception.h"
#include "sdk/win32.h"

namespace Zanthorel {
namespace CApi {
namespace {

// A plain buffer: nothing to construct or destroy per thread.
thread_local char message[1024];

void setMessage(const char* function, const char* text, zttsp_result code) noexcept {
  std::snprintf(message, sizeof message, "%s: %s (0x%08X)", function, text,
                static_cast<unsigned>(code));
}

// The HRESULTs that the library's calls throw, in words.
struct Description {
  HRESULT code;
  const char* text;
};
const Description kDescriptions[] = {
    {E_FAIL, "the object holds no signed or decoded message"},
    {E_INVALIDARG, "an argument, or a value in the data, is not valid"},
    {E_OUTOFMEMORY, "out of memory"},
    {CRYPT_E_ASN1_ERROR, "the bytes do not decode"},
    {CRYPT_E_ASN1_INTERNAL,
     "the bytes are no encoding of the expected structure, or the object cannot be encoded"},
    {CRYPT_E_ASN1_EOD, "the encoding ends early (truncated data)"},
    {CRYPT_E_ASN1_CORRUPT, "the encoding is corrupt"},
    {CRYPT_E_ASN1_LARGE, "a value in the encoding is too large"},
    {CRYPT_E_ASN1_MEMORY, "the codec ran out of memory"},
    {CRYPT_E_ASN1_BADTAG, "the encoding has an unexpected tag"},
    {CRYPT_E_BAD_MSG, "the signed message lacks what is needed of it"},
    {CRYPT_E_INVALID_MSG_TYPE, "the message is of another type than expected"},
    {CRYPT_E_UNEXPECTED_ENCODING, "the bytes are no signed message"},
    {CRYPT_E_NOT_FOUND, "the message has no signer that the certificate names"},
    {NTE_BAD_KEY, "the key is of another algorithm or size than supported"},
    {NTE_BAD_DATA, "the bytes are no PKCS #8 private key"},
    {NTE_BAD_SIGNATURE, "the signature does not verify"},
    {NTE_BAD_ALGID, "the algorithm is not supported"},
    {NTE_BAD_FLAGS, "a flag or the key specification is not valid"},
};

const char* describe(zttsp_result code) noexcept {
  for (const Description& description : kDescriptions)
    if (description.code == code) return description.text;
  return "the operation failed";
}

}  // namespace

void fail(zttsp_result code, std::string message) {
  throw CallError{code, std::move(message)};
}

zttsp_result callSucceeded() noexcept {
  message[0] = '\0';
  return ZTTSP_OK;
}

// One place classifies what a body threw; each C function catches with runCall only.
zttsp_result callFailed(const char* function) noexcept {
  zttsp_result code = ZTTSP_E_FAIL;
  try {
    throw;
  } catch (const CallError& error) {
    setMessage(function, error.message.c_str(), error.code);
    return error.code;
  } catch (const ATL::CAtlException& error) {
    // A failure code whatever was thrown: a caller tests against ZTTSP_OK.
    code = error.m_hr < 0 ? error.m_hr : ZTTSP_E_FAIL;
    setMessage(function, describe(code), code);
  } catch (const std::bad_alloc&) {
    code = ZTTSP_E_OUTOFMEMORY;
    setMessage(function, describe(code), code);
  } catch (const std::length_error& error) {
    code = ZTTSP_E_OUTOFMEMORY;
    setMessage(function, error.what(), code);
  } catch (const std::exception& error) {
    setMessage(function, error.what(), code);
  } catch (...) {
    setMessage(function, "an unexpected failure", code);
  }
  return code;
}

const char* lastMessage() noexcept {
  return message;
}

}  // namespace CApi
}  // namespace Zanthorel
