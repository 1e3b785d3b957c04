#include "tools/commands.h"

namespace Zanthorel {
namespace Tools {
namespace {

// The options reply and serve share, joined to their usages as they compile.
#define AUTHORITY_USAGE                                                                          \
  "  -config FILE                the options in a TOML file (KEY = VALUE, keys named as the\n"   \
  "                              options); the command line wins\n"                              \
  "  -signer CERT -inkey KEY     the authority's certificate and private key: a key file (PEM\n" \
  "                              or DER, encrypted or not) or a PKCS #11 URI\n"                  \
  "                              (pkcs11:token=...;object=...?pin-source=...)\n"                 \
  "  -chain PEM                  the certificates above the signer, sent when asked for\n"       \
  "  -passin SOURCE              the key's password or the token's PIN: pass:TEXT, env:VAR,\n"   \
  "                              file:PATH, fd:N or stdin\n"                                     \
  "  -pkcs11_module PATH         the PKCS #11 module, unless the URI has module-path\n"          \
  "  -pkcs11_serialize           one signature at a time (for modules that need it)\n"           \
  "  -expiry_warning DAYS        warn when the certificate runs out this soon (default 30)\n"    \
  "  -policy OID                 the policy of tokens (default 2.999.1, a placeholder)\n"        \
  "  -policies OID,...           other policies granted to requests that ask for them\n"         \
  "  -digests NAME,...           the imprints accepted (default sha1,sha224,sha256,sha384,\n"    \
  "                              sha512)\n"                                                      \
  "  -accuracy S[,MS[,US]]       the accuracy of the time\n"                                     \
  "  -ordering                   promise ordering\n"                                             \
  "  -tsa_name                   name the authority in the token\n"                              \
  "  -ess v1|v2|both             the ESS signing-certificate attribute (default v2)\n"

const Command kCommands[] = {
    {"query", "make an RFC 3161 time-stamp request",
     "  (-data FILE | -digest HEX)  what to stamp: a file, or the digest of one\n"
     "  -sha1|-sha224|-sha256|-sha384|-sha512  the hash (default sha256)\n"
     "  -policy OID                 ask for this policy\n"
     "  -no_nonce                   leave out the nonce\n"
     "  -cert                       ask for the authority's certificate in the token\n"
     "  -out FILE                   where to write the request (default: standard output)\n",
     queryCommand},
    {"reply", "answer a request with a signed token, or a reasoned rejection",
     "  -queryfile REQ              the request\n"
     "  -token_out                  write the token instead of the response\n"
     "  -out FILE                   where to write it (default: standard output)\n" AUTHORITY_USAGE,
     replyCommand},
    {"stamp", "have files time-stamped by an authority, with fallbacks; FILE.tsr beside each",
     "  FILE...                     the files to stamp; each gets FILE.tsr\n"
     "  -tsa URL                    an authority (http:// or https://); give several to fall\n"
     "                              back on the next when one fails, in the order given\n"
     "  -sha256|-sha384|-sha512     the hash (default sha256)\n"
     "  -policy OID                 ask for this policy, and take no other\n"
     "  -CAfile PEM -CApath DIR     trusted certificates for the authority's chain: a file, a\n"
     "                              hashed folder (each may be repeated); default: the system's\n"
     "  -untrusted PEM              more certificates for the chain\n"
     "  -tls_CAfile PEM             trusted certificates for HTTPS (default: the system's)\n"
     "  -out DIR                    write the .tsr files into DIR instead\n"
     "  -jobs N                     requests in flight at once (default 4)\n"
     "  -retries N                  more tries of an authority that is down, slow or answers\n"
     "                              HTTP 5xx, before the next one (default 2)\n"
     "  -backoff MS                 the wait before the first retry, doubled for each next\n"
     "                              one (default 1000)\n"
     "  -timeout S                  the most one exchange may take, connecting included\n"
     "                              (default 30)\n",
     stampCommand},
    {"verify", "check a response or token against the data it stamps",
     "  -in FILE [-token_in]        the response, or with -token_in the bare token\n"
     "  (-data FILE | -digest HEX | -queryfile REQ)  what it must stamp\n"
     "  -CAfile PEM -CApath DIR     trusted certificates: a file, a hashed folder (each may be\n"
     "                              given more than once); default: the system's store\n"
     "  -untrusted PEM              more certificates for the chain\n"
     "  -now                        check the chain now, not at the token's time\n",
     verifyCommand},
    {"inspect", "print any time-stamp message in plain words",
     "  FILE                        a request, response, token, Authenticode request or\n"
     "                              Authenticode stamp, in DER, PEM or base64\n"
     "  --json                      print JSON instead\n",
     inspectCommand},
    {"serve", "run an HTTP time-stamp server (RFC 3161 and Authenticode)",
     "  -port N                     the TCP port (default 3161; 0 picks a free one)\n"
     "  -bind ADDRESS               the IPv4 or IPv6 address to listen on (default 127.0.0.1;\n"
     "                              0.0.0.0 or :: for every interface)\n"
     "  -data DIR                   without -signer: the folder of the development CA and TSA,\n"
     "                              made once (default ./zttsp-data)\n" AUTHORITY_USAGE
     "  SIGHUP reads the configuration and the identity again; SIGINT and SIGTERM stop.\n",
     serveCommand},
};

}  // namespace

const Command* findCommand(const std::string& name) {
  for (const Command& command : kCommands)
    if (name == command.name) return &command;
  return nullptr;
}

std::string commandList() {
  std::string list;
  for (const Command& command : kCommands)
    list += "  " + std::string(command.name) +
            std::string(9 - std::string(command.name).size(), ' ') + command.summary + "\n";
  return list;
}

}  // namespace Tools
}  // namespace Zanthorel
