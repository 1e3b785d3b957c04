// Resource bounds of decoding: every fuzz target (each decode entry point with what follows it:
// getters, verify, re-encoding) on the vectors, on hostile inputs and on inputs grown to a quarter
// of a megabyte, must keep its heap peak within kBytesPerInputByte times the input plus
// kFixedBytes. The test prints the worst measured ratio and constant.
#include <algorithm>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "fuzz/targets/fixed_tsa.h"
#include "fuzz/targets/fuzz_targets.h"
#include "tests/hostile/der_pieces.h"
#include "tests/hostile/heap_meter.h"
#include "tests/hostile/signed_data_builder.h"
#include "tests/support/test_support.h"
#include "tests/support/vectors.h"

using Zanthorel::CBlob;
using zttsp_test::fromHex;

namespace hostile_test {
namespace {

// The bound: peak heap rise <= kBytesPerInputByte * input size + kFixedBytes. The factor is set
// by lists of the smallest elements (two-octet status strings, empty certificates), each of which
// the object model keeps as a list node of its own: about 60 octets of heap per input octet for
// each decoded copy, and the response target holds two. Bulk octets (an imprint, a content, a
// long name) cost at most 8.
constexpr std::size_t kBytesPerInputByte = 128;
constexpr std::size_t kFixedBytes = 256 * 1024;
// Under AddressSanitizer every allocation costs many times more: the same shapes at a sixteenth of
// the size keep the sanitizer build's run short; the plain build measures the full size.
#if defined(__SANITIZE_ADDRESS__)
constexpr std::size_t kGrown = 16 * 1024;
#else
constexpr std::size_t kGrown = 256 * 1024;
#endif

struct Input {
  std::string name;
  CBlob bytes;
};

CBlob octets(std::size_t size) {
  CBlob bytes(static_cast<std::uint32_t>(size));
  std::fill(bytes.pbData(), bytes.pbData() + size, 0x41);
  return bytes;
}

const char kSha1Identifier[] = "300706052B0E03021A";

CBlob requestWith(const CBlob& imprint, const CBlob& tail = {}) {
  return sequence({fromHex("020101"), sequence({fromHex(kSha1Identifier), imprint}), tail});
}

CBlob responseWithFreeText(const CBlob& strings) {
  return sequence({sequence({fromHex("020102"), constructed(kTagSequence, {strings})})});
}

CBlob tokenWith(const CBlob& content, const std::vector<CBlob>& certificates = {},
                const char* contentType = "1.2.840.113549.1.9.16.1.4") {
  SignedDataRecipe recipe;
  recipe.content = content;
  recipe.contentType = contentType;
  recipe.certificates = certificates;
  return buildSignedData(recipe);
}

std::vector<Input> grownInputs() {
  const std::size_t n = kGrown;
  std::vector<Input> inputs;
  inputs.push_back(
      {"request with a large imprint", requestWith(primitive(kTagOctetString, octets(n)))});
  // Extensions of seven octets each: the smallest elements a request keeps one by one.
  inputs.push_back({"request with many extensions",
                    requestWith(fromHex("0400"),
                                join({primitive(asn1ContextTag(0, true),
                                                repeated(fromHex("300506012A0400"), n / 7))}))});
  inputs.push_back({"response with a large status string",
                    responseWithFreeText(primitive(kTagUTF8String, octets(n)))});
  inputs.push_back({"response with many empty status strings",
                    responseWithFreeText(repeated(fromHex("0C00"), n / 2))});
  inputs.push_back(
      {"token with a large tsa name",
       tokenWith(tstInfo("20240621071205Z", {},
                         constructed(asn1ContextTag(0, true),
                                     {primitive(asn1ContextTag(6, false), octets(n))})))});
  inputs.push_back(
      {"token with many empty certificates",
       tokenWith(tstInfo("20240621071205Z"), std::vector<CBlob>(n / 2, fromHex("3000")))});
  inputs.push_back({"stamp with large content", tokenWith(octets(n), {}, "1.2.840.113549.1.7.1")});
  inputs.push_back({"Authenticode request with large content",
                    sequence({fromHex("060A2B0601040182370302 01"),
                              sequence({fromHex("06092A864886F70D010701"),
                                        constructed(asn1ContextTag(0, true),
                                                    {primitive(kTagOctetString, octets(n))})})})});
  inputs.push_back({"nesting 100,000 deep", requestWith(fromHex("0400"), nested(100000))});
  inputs.push_back({"100 KB OID",
                    requestWith(fromHex("0400"),
                                primitive(kTagObjectId, join({fromHex("2B"),
                                                              repeated(fromHex("01"), 100000)})))});
  for (const char* claim : {"30848000000002010100", "3084FFFFFFFF02010100", "30888000000000000000"})
    inputs.push_back({std::string("claimed length ") + claim, fromHex(claim)});
  return inputs;
}

std::vector<Input> vectorInputs() {
  std::vector<Input> inputs;
  for (const zttsp_test::Vector& v : zttsp_test::vectors())
    inputs.push_back({v.file, zttsp_test::readFile(zttsp_test::vectorPath(v.file))});
  return inputs;
}

std::size_t peakRise(const zttsp_fuzz::FuzzTarget& target, const CBlob& input) {
  const HeapMeter meter;
  target.run(input.pbData(), input.cbData());
  return meter.peakRise();
}

TEST(DecodeBounds, HeapPeakIsBoundedByTheInputSize) {
  if (!HeapMeter::available()) GTEST_SKIP() << "another memory checker owns the heap";
  // The first run of a target makes what lives for the whole program (its fixed certificate,
  // OpenSSL's algorithm tables): not the decode's.
  for (const auto& target : zttsp_fuzz::fuzzTargets())
    target.run(zttsp_fuzz::fixedToken().pbData(), zttsp_fuzz::fixedToken().cbData());

  std::vector<Input> inputs = vectorInputs();
  for (Input& input : grownInputs())
    inputs.push_back(std::move(input));

  std::size_t worstFixed = 0;
  double worstRatio = 0;
  std::string worstRatioAt;
  for (const Input& input : inputs) {
    for (const auto& target : zttsp_fuzz::fuzzTargets()) {
      const std::size_t size = input.bytes.cbData();
      const std::size_t rise = peakRise(target, input.bytes);
      EXPECT_LE(rise, kBytesPerInputByte * size + kFixedBytes)
          << target.name << " on " << input.name << " (" << size << " octets)";
      if (size < 16 * 1024) worstFixed = std::max(worstFixed, rise);
      if (size >= kGrown / 2 && double(rise) / double(size) > worstRatio) {
        worstRatio = double(rise) / double(size);
        worstRatioAt = std::string(target.name) + " on " + input.name;
      }
    }
  }
  std::printf(
      "heap peak: at most %zu octets on inputs under 16 KiB; at most %.2f per input octet "
      "on grown inputs (%s)\n",
      worstFixed, worstRatio, worstRatioAt.c_str());
}

}  // namespace
}  // namespace hostile_test
