// The Authenticode requests and time stamps of other implementations, as the table of vectors
// describes them (tests/support/vectors.h).
#include <gtest/gtest.h>

#include "authenticode/ms_request.h"
#include "authenticode/ms_stamp.h"
#include "outside/ztasn1/octet_string.h"
#include "tests/support/test_support.h"
#include "tests/support/vectors.h"

using namespace Zanthorel::PKI::TSP;
using Zanthorel::CBlob;
using zttsp_test::toHex;
using K = zttsp_test::VectorKind;

// Requests are written back as they came. A stamp's content is what openssl finds under its
// signature, and exactly one certificate of its signer's file verifies it.
TEST(Vectors, RequestsAndStampsReadAsTheTableSays) {
  for (const zttsp_test::Vector& v : zttsp_test::vectorsOf({K::msRequest, K::msStamp})) {
    SCOPED_TRACE(v.file);
    const CBlob bytes = v.bytes();
    if (v.kind == K::msRequest) {
      CMSRequest request;
      request.decode(bytes);
      EXPECT_EQ(v.decodesTo, zttsp_test::describe(request));
      EXPECT_EQ(toHex(bytes), toHex(request.encode()));
      continue;
    }
    CMSStamp stamp;
    stamp.decode(bytes);
    EXPECT_EQ(v.decodesTo, zttsp_test::describe(stamp));
    const zttsp_test::TempDir dir;
    zttsp_test::writeFile(dir.path("stamp.der"), bytes);
    zttsp_test::runIn(
        dir.path(), "openssl cms -verify -binary -noverify -inform DER -in stamp.der -out content");
    EXPECT_EQ(toHex(zttsp_test::readFile(dir.path("content"))),
              toHex(Zanthorel::ASN1::fromOctetString(stamp.get_content())));
    int signers = 0;
    for (const CBlob& certificate : zttsp_test::certificatesIn(v.signer ? v.signer : v.file))
      signers += stamp.verify(certificate) ? 1 : 0;
    EXPECT_EQ(1, signers);
  }
}
