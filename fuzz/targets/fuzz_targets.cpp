#include "fuzz/targets/fuzz_targets.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace zttsp_fuzz {

const std::vector<FuzzTarget>& fuzzTargets() {
  static const std::vector<FuzzTarget> targets = {
      {"request_fuzzer", runRequest},
      {"response_fuzzer", runResponse},
      {"token_fuzzer", runToken},
      {"ms_request_fuzzer", runMSRequest},
      {"ms_stamp_fuzzer", runMSStamp},
      {"platform_message_fuzzer", runPlatformMessage},
      {"certificate_fuzzer", runCertificate},
      {"codec_time_stamp_req_fuzzer", runTimeStampReqCodec},
      {"codec_time_stamp_resp_fuzzer", runTimeStampRespCodec},
      {"codec_time_stamp_token_fuzzer", runTimeStampTokenCodec},
      {"codec_tstinfo_fuzzer", runTSTInfoCodec},
      {"codec_signer_info_fuzzer", runSignerInfoCodec},
      {"codec_time_stamp_authenticode_request_fuzzer", runTimeStampAuthenticodeRequestCodec},
      {"capi_fuzzer", runCInterface},
  };
  return targets;
}

const FuzzTarget* findFuzzTarget(const char* name) {
  for (const FuzzTarget& target : fuzzTargets()) {
    if (std::strcmp(target.name, name) == 0) return &target;
  }
  return nullptr;
}

namespace {
void (*findingHandler)(const char*) = nullptr;
}  // namespace

void setFindingHandler(void (*handler)(const char* what)) {
  findingHandler = handler;
}

void fuzzFinding(const char* what) {
  if (findingHandler != nullptr) findingHandler(what);
  std::fprintf(stderr, "fuzz finding: %s\n", what);
  std::abort();
}

void expectFailureCode(const ATL::CAtlException& e) {
  if (e.m_hr >= 0) fuzzFinding("an error carries a success code");
}

Zanthorel::CBlob blobOf(const std::uint8_t* data, std::size_t size) {
  return Zanthorel::CBlob(data, static_cast<std::uint32_t>(size));
}

}  // namespace zttsp_fuzz
