// One libFuzzer binary per target: ZTTSP_FUZZ_TARGET names the target this one runs.
#include <cstddef>
#include <cstdint>

#include "fuzz/targets/fuzz_targets.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const zttsp_fuzz::FuzzTarget* target = zttsp_fuzz::findFuzzTarget(ZTTSP_FUZZ_TARGET);
  if (target == nullptr) zttsp_fuzz::fuzzFinding("no such target: " ZTTSP_FUZZ_TARGET);
  target->run(data, size);
  return 0;
}
