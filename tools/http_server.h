// A small HTTP server on GNU libmicrohttpd: a pool of threads, bounded request bodies, one log
// line per request. What to answer is the handler's business; HTTP itself is the library's.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tools/listening_socket.h"

namespace Zanthorel {
namespace Tools {

struct HttpRequest {
  std::string method;
  std::string path;
  std::string contentType;  // the header as sent; empty when there is none
  std::string accept;
  std::string body;
};

struct HttpResponse {
  unsigned status = 200;
  std::string contentType;
  std::string body;
  std::vector<std::pair<std::string, std::string>> headers;  // beyond Content-Type
  std::string note;  // for the log line only: what the client is not told
};

// Called from the pool's threads at once: it must be safe for that, and must not throw.
using HttpHandler = std::function<HttpResponse(const HttpRequest&)>;

struct HttpServerOptions {
  std::size_t maxBody = 64 * 1024;  // larger bodies get 413
  unsigned threads = 0;             // 0: one per core
};

class HttpServer {
 public:
  // Serves on `socket` until destroyed. Throws ToolError when the server cannot start.
  HttpServer(ListeningSocket socket, const HttpServerOptions& options, HttpHandler handler);
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;
  // Stops listening and ends every connection.
  ~HttpServer();

  unsigned port() const noexcept;
  unsigned threads() const noexcept;

  struct State;

 private:
  std::unique_ptr<State> state_;
};

}  // namespace Tools
}  // namespace Zanthorel
