// zttsp: time stamps from the command line, and a time-stamp server.
//
//   zttsp query -data FILE -cert -out request.tsq
//   zttsp serve -port 3161
//   zttsp verify -in response.tsr -queryfile request.tsq -CAfile zttsp-data/ca.pem
#include <curl/curl.h>
#include <microhttpd.h>
#include <openssl/crypto.h>
#include <toml++/toml.h>

#include <cstdio>
#include <exception>
#include <string>

#include "sdk/atl_exception.h"
#include "tools/commands.h"
#include "tools/report_values.h"
#include "tools/tool_error.h"

using namespace Zanthorel::Tools;

namespace {

void printUsage(std::FILE* out) {
  std::fprintf(out,
               "usage: zttsp COMMAND [options]\n\ncommands:\n%s\n"
               "zttsp COMMAND -help shows the options of a command; zttsp -version the "
               "version.\n",
               commandList().c_str());
}

void printVersion() {
  std::printf("zttsp %s (OpenSSL %s, GNU libmicrohttpd %s, toml++ %d.%d.%d, libcurl %s)\n",
              ZTTSP_VERSION, OpenSSL_version(OPENSSL_FULL_VERSION_STRING), MHD_get_version(),
              TOML_LIB_MAJOR, TOML_LIB_MINOR, TOML_LIB_PATCH,
              curl_version_info(CURLVERSION_NOW)->version);
}

void printCommandUsage(std::FILE* out, const Command& command) {
  std::fprintf(out, "usage: zttsp %s [options]\n%s", command.name, command.usage);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    printUsage(stderr);
    return 2;
  }
  const std::string name = argv[1];
  if (name == "-help" || name == "--help" || name == "help") {
    printUsage(stdout);
    return 0;
  }
  if (name == "-version" || name == "--version" || name == "version") {
    printVersion();
    return 0;
  }
  const Command* command = findCommand(name);
  if (command == nullptr) {
    std::fprintf(stderr, "zttsp: unknown command %s\n", name.c_str());
    printUsage(stderr);
    return 2;
  }
  const Arguments arguments(argv + 2, argv + argc);
  for (const std::string& argument : arguments) {
    if (argument == "-help" || argument == "--help") {
      printCommandUsage(stdout, *command);
      return 0;
    }
  }
  try {
    return command->run(arguments);
  } catch (const UsageError& error) {
    std::fprintf(stderr, "zttsp %s: %s\n", command->name, error.what());
    printCommandUsage(stderr, *command);
    return 2;
  } catch (const ATL::CAtlException& error) {
    std::fprintf(stderr, "zttsp: the library failed with HRESULT %s\n",
                 hresultText(error.m_hr).c_str());
  } catch (const std::exception& error) {
    std::fprintf(stderr, "zttsp: %s\n", error.what());
  }
  return 1;
}
