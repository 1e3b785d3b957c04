// zttsp serve: the HTTP time-stamp server, until SIGINT or SIGTERM; SIGHUP reloads its
// configuration and identity.
#include <signal.h>

#include "sdk/atl_exception.h"
#include "tools/commands.h"
#include "tools/http_server.h"
#include "tools/listening_socket.h"
#include "tools/log.h"
#include "tools/report_values.h"
#include "tools/serve_config.h"
#include "tools/time_stamp_service.h"

namespace Zanthorel {
namespace Tools {
namespace {

// The configuration read again and a new authority made of it, which takes over from the next
// request on. Anything wrong leaves the one serving in place.
void reload(const Arguments& arguments, const ServeConfig& running, CurrentAuthority& current) {
  logLine("SIGHUP: reading the configuration and the identity again");
  std::string failure;
  try {
    const ServeConfig config = readServeConfig(arguments);
    current.replace(authorityFor(config));
    if (config.address != running.address || config.port != running.port)
      logLine("-bind and -port take effect at a restart; still listening as before");
    logLine("reloaded");
    return;
  } catch (const std::exception& error) {
    failure = error.what();
  } catch (const ATL::CAtlException& error) {
    failure = "the library failed with HRESULT " + hresultText(error.m_hr);
  }
  logLine("reload refused, still signing as " + current.get()->identity().description() + ": " +
          failure);
}

}  // namespace

int serveCommand(const Arguments& arguments) {
  // Blocked before any thread starts (the server's, a PKCS #11 module's), so that they inherit
  // the mask and only sigwait below takes the signals.
  sigset_t signals;
  sigemptyset(&signals);
  for (const int taken : {SIGINT, SIGTERM, SIGHUP})
    sigaddset(&signals, taken);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  signal(SIGPIPE, SIG_IGN);

  // In this order, so that nothing is written (a development identity) for a server that cannot
  // start: every option read, then the address taken.
  const ServeConfig config = readServeConfig(arguments);
  ListeningSocket socket(config.address, config.port);
  const std::string url = socket.url();
  CurrentAuthority current(authorityFor(config));
  const TimeStampService service(current);

  int received = 0;
  {
    const HttpServer server(
        std::move(socket), HttpServerOptions(),
        [&service](const HttpRequest& request) { return service.handle(request); });
    logLine("serving on " + url + " with " + std::to_string(server.threads()) +
            " threads (RFC 3161: POST application/timestamp-query; Authenticode: POST "
            "application/octet-stream)");
    while (sigwait(&signals, &received) == 0 && received == SIGHUP)
      reload(arguments, config, current);
  }
  logLine(std::string("stopped on ") + (received == SIGINT ? "SIGINT" : "SIGTERM"));
  return 0;
}

}  // namespace Tools
}  // namespace Zanthorel
