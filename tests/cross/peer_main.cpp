// The Linux build's side of the cross-build test: signs a token or stamp for the Windows build
// to read, or reads one that the Windows build signed, and prints what it read.
//
//   zttsp-cross-peer sign-token|sign-stamp KEY CERTIFICATE OUT   (PKCS #8 key and X.509, DER)
//   zttsp-cross-peer read-token|read-stamp IN CERTIFICATE
#include <cstdio>
#include <exception>
#include <string>

#include "sdk/atl_exception.h"
#include "tests/cross/cross_messages.h"
#include "tests/support/test_support.h"

using zttsp_test::readFile;

int main(int argc, char** argv) {
  const std::string command = argc > 1 ? argv[1] : "";
  try {
    if ((command == "sign-token" || command == "sign-stamp") && argc == 5) {
      const tsa_test::Authority authority{"peer", readFile(argv[2]), readFile(argv[3])};
      zttsp_test::writeFile(argv[4], command == "sign-token" ? cross_test::signedToken(authority)
                                                             : cross_test::signedStamp(authority));
      return 0;
    }
    if ((command == "read-token" || command == "read-stamp") && argc == 4) {
      const Zanthorel::CBlob message = readFile(argv[2]), certificate = readFile(argv[3]);
      std::puts((command == "read-token" ? cross_test::readToken(message, certificate)
                                         : cross_test::readStamp(message, certificate))
                    .c_str());
      return 0;
    }
  } catch (const ATL::CAtlException& error) {
    std::fprintf(stderr, "%s: %s\n", command.c_str(), zttsp_test::hresultText(error.m_hr).c_str());
    return 1;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s: %s\n", command.c_str(), error.what());
    return 1;
  }
  std::fprintf(stderr,
               "usage: zttsp-cross-peer sign-token|sign-stamp KEY CERTIFICATE OUT\n"
               "       zttsp-cross-peer read-token|read-stamp IN CERTIFICATE\n");
  return 2;
}
