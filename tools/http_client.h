// HTTP and HTTPS POSTs through libcurl, as a client of servers it does not control must make them:
// a deadline for the whole exchange, an answer of bounded size, redirects reported and not
// followed, the proxy of the environment (http_proxy, https_proxy, no_proxy), a User-Agent that
// names zttsp.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "outside/ztlib/blob.h"

namespace Zanthorel {
namespace Tools {

// libcurl's global state, for as long as a command uses it. Made before any thread starts.
class CurlLibrary {
 public:
  CurlLibrary();
  ~CurlLibrary();
  CurlLibrary(const CurlLibrary&) = delete;
  CurlLibrary& operator=(const CurlLibrary&) = delete;
};

struct HttpSettings {
  long timeoutMs = 30000;            // for the whole exchange, connecting included
  std::size_t maxAnswer = 1u << 20;  // bytes of body
  std::string tlsCaFile;             // the certificates HTTPS servers are checked against;
                                     // empty: the system's
};

struct HttpAnswer {
  // Why no whole HTTP answer came (connection refused, deadline, too large, TLS), or empty.
  std::string failure;
  bool worthRetrying = false;  // of a failure: one that may pass on another try
  long status = 0;
  std::string contentType;
  std::string location;  // of a redirect
  CBlob body;
};

// One connection cache: a client per thread, reused from one request to the next.
class HttpClient {
 public:
  explicit HttpClient(const HttpSettings& settings);
  ~HttpClient();
  HttpClient(const HttpClient&) = delete;
  HttpClient& operator=(const HttpClient&) = delete;

  // POSTs `body` with the given headers ("Name: value").
  HttpAnswer post(const std::string& url, const CBlob& body,
                  const std::vector<std::string>& headers);

 private:
  HttpSettings settings_;
  void* curl_;  // CURL*, kept out of the header
};

// "zttsp/VERSION libcurl/VERSION", sent as User-Agent.
std::string userAgent();

}  // namespace Tools
}  // namespace Zanthorel
