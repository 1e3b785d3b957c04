#include "tools/serve_config.h"

#include "tools/authority_options.h"
#include "tools/development_identity.h"
#include "tools/listening_socket.h"
#include "tools/log.h"

namespace Zanthorel {
namespace Tools {

ServeConfig readServeConfig(const Arguments& arguments) {
  const CommandLine options = authorityCommandLine(arguments, serveOptions());
  ServeConfig config;
  config.port = static_cast<unsigned>(options.number("port", config.port, 0, 65535));
  config.address = options.value("bind", config.address);
  if (!isIpAddress(config.address))
    options.refuse("bind",
                   "takes an IPv4 or IPv6 address such as 127.0.0.1, 0.0.0.0, ::1 or ::, not " +
                       config.address);
  config.dataDir = options.value("data", config.dataDir);
  config.authority = authoritySettings(options);
  if (options.has("signer") || options.has("inkey"))
    config.identity = identitySettings(options);
  else if (options.has("chain"))
    options.refuse("chain", "goes with -signer and -inkey (the development identity has its own)");
  return config;
}

std::shared_ptr<const TimeStampAuthority> authorityFor(const ServeConfig& config) {
  IdentitySettings identity;
  if (config.identity) {
    identity = *config.identity;
  } else {
    const DevelopmentIdentity development = developmentIdentity(config.dataDir);
    logLine(std::string(development.made ? "made" : "using") + " the development CA and TSA in " +
            config.dataDir + "; clients verify with the CA certificate " +
            development.caCertificate + " (for development only)");
    identity.certificate = development.certificate;
    identity.key.key = development.key;
    identity.chain = development.caCertificate;
  }
  auto authority =
      std::make_shared<const TimeStampAuthority>(SignerIdentity::load(identity), config.authority);
  logLine("signing as " + authority->identity().description());
  if (authority->identity().warning()) logLine("warning: " + *authority->identity().warning());
  return authority;
}

}  // namespace Tools
}  // namespace Zanthorel
