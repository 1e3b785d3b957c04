// The fuzz targets as plain functions, so that the libFuzzer binaries and the regression test
// run the very same checks. A target returns quietly on any input the library handles as it
// promises, and aborts through fuzzFinding when it does not.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "outside/ztlib/blob.h"
#include "sdk/atl_exception.h"

namespace zttsp_fuzz {

struct FuzzTarget {
  const char* name;  // the fuzzer binary's name
  void (*run)(const std::uint8_t* data, std::size_t size);
};

// Every target, in the order the fuzz run takes them.
const std::vector<FuzzTarget>& fuzzTargets();
// The target called `name`; null when there is none.
const FuzzTarget* findFuzzTarget(const char* name);

// Reports a broken promise on stderr and aborts, which libFuzzer keeps as a crash; or, when a
// handler is set, leaves through the handler (which must not return).
[[noreturn]] void fuzzFinding(const char* what);
// For the regression test: a handler that throws, so that the test names the input.
void setFindingHandler(void (*handler)(const char* what));
// A failure must carry a failure code.
void expectFailureCode(const ATL::CAtlException& e);
// The HRESULT that `f` throws as CAtlException, S_OK when it throws nothing.
template <class F>
HRESULT hresultOf(F&& f) {
  try {
    f();
  } catch (const ATL::CAtlException& e) {
    expectFailureCode(e);
    return e.m_hr;
  }
  return S_OK;
}

Zanthorel::CBlob blobOf(const std::uint8_t* data, std::size_t size);

// The targets, by area.
void runRequest(const std::uint8_t* data, std::size_t size);
void runResponse(const std::uint8_t* data, std::size_t size);
void runToken(const std::uint8_t* data, std::size_t size);
void runMSRequest(const std::uint8_t* data, std::size_t size);
void runMSStamp(const std::uint8_t* data, std::size_t size);
void runPlatformMessage(const std::uint8_t* data, std::size_t size);
void runCertificate(const std::uint8_t* data, std::size_t size);
void runTimeStampReqCodec(const std::uint8_t* data, std::size_t size);
void runTimeStampRespCodec(const std::uint8_t* data, std::size_t size);
void runTimeStampTokenCodec(const std::uint8_t* data, std::size_t size);
void runTSTInfoCodec(const std::uint8_t* data, std::size_t size);
void runSignerInfoCodec(const std::uint8_t* data, std::size_t size);
void runTimeStampAuthenticodeRequestCodec(const std::uint8_t* data, std::size_t size);
void runCInterface(const std::uint8_t* data, std::size_t size);

}  // namespace zttsp_fuzz
