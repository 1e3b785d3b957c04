// zttsp serve: the HTTP time-stamp server, until SIGINT or SIGTERM.
#include <signal.h>

#include <cstdio>

#include "tools/authority_options.h"
#include "tools/commands.h"
#include "tools/development_identity.h"
#include "tools/http_server.h"
#include "tools/time_stamp_service.h"
#include "tools/tool_error.h"

namespace Zanthorel {
namespace Tools {
namespace {

unsigned portOption(const CommandLine& options) {
  const std::string text = options.value("port", "3161");
  char* end = nullptr;
  const unsigned long port = std::strtoul(text.c_str(), &end, 10);
  if (text.empty() || *end != '\0' || port > 65535)
    throw UsageError("-port takes a TCP port number, not " + text);
  return static_cast<unsigned>(port);
}

// The identity given, or the development one of the data folder, said so.
SignerIdentity identityFor(const CommandLine& options) {
  if (options.has("signer") || options.has("inkey"))
    return SignerIdentity::load(options.required("signer"), options.required("inkey"),
                                options.value("chain"));
  const DevelopmentIdentity development = developmentIdentity(options.value("data", "zttsp-data"));
  std::fprintf(stderr,
               "zttsp: %s the development CA and TSA in %s; clients verify with the CA "
               "certificate %s (for development only)\n",
               development.made ? "made" : "using", options.value("data", "zttsp-data").c_str(),
               development.caCertificate.c_str());
  return SignerIdentity::load(development.certificate, development.key, development.caCertificate);
}

}  // namespace

int serveCommand(const Arguments& arguments) {
  const CommandLine options(arguments,
                            authorityOptionsAnd({{"port", true}, {"bind", true}, {"data", true}}));
  HttpServerOptions http;
  http.port = portOption(options);
  http.address = options.value("bind", http.address);
  AuthoritySettings settings = authoritySettings(options);
  const TimeStampAuthority authority(identityFor(options), std::move(settings));
  const TimeStampService service(authority);

  // Blocked before the server's threads start, so that they inherit the mask and only sigwait
  // below takes the signals.
  sigset_t stopSignals;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGINT);
  sigaddset(&stopSignals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
  signal(SIGPIPE, SIG_IGN);

  int received = 0;
  {
    const HttpServer server(
        http, [&service](const HttpRequest& request) { return service.handle(request); });
    std::fprintf(stderr,
                 "zttsp: serving on http://%s:%u/ with %u threads (RFC 3161: POST "
                 "application/timestamp-query; Authenticode: POST application/octet-stream)\n",
                 http.address.c_str(), server.port(), server.threads());
    std::fflush(stderr);
    sigwait(&stopSignals, &received);
  }
  std::fprintf(stderr, "zttsp: stopped on %s\n", received == SIGINT ? "SIGINT" : "SIGTERM");
  return 0;
}

}  // namespace Tools
}  // namespace Zanthorel
