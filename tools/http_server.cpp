#include "tools/http_server.h"

#include <arpa/inet.h>
#include <microhttpd.h>
#include <netinet/in.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <thread>

#include "tools/log.h"
#include "tools/tool_error.h"

namespace Zanthorel {
namespace Tools {

struct HttpServer::State {
  HttpServerOptions options;
  HttpHandler handler;
  MHD_Daemon* daemon = nullptr;
  unsigned port = 0;
};

namespace {

using Clock = std::chrono::steady_clock;

// What one request has sent so far; freed when libmicrohttpd is done with the request, however it
// ends.
struct Exchange {
  Clock::time_point start = Clock::now();
  std::string body;
  bool tooLarge = false;
};

std::string header(MHD_Connection* connection, const char* name) {
  const char* value = MHD_lookup_connection_value(connection, MHD_HEADER_KIND, name);
  return value != nullptr ? value : "";
}

std::string clientAddress(MHD_Connection* connection) {
  const MHD_ConnectionInfo* info =
      MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
  char text[INET6_ADDRSTRLEN] = "-";
  if (info != nullptr && info->client_addr != nullptr) {
    const sockaddr* address = info->client_addr;
    const void* raw =
        address->sa_family == AF_INET6
            ? static_cast<const void*>(&reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr)
            : static_cast<const void*>(&reinterpret_cast<const sockaddr_in*>(address)->sin_addr);
    inet_ntop(address->sa_family, raw, text, sizeof text);
  }
  return text;
}

// One line for each request.
void logExchange(MHD_Connection* connection, const char* method, const char* path,
                 const Exchange& exchange, const HttpResponse& response) {
  const auto micros =
      std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - exchange.start).count();
  const std::string contentType = header(connection, MHD_HTTP_HEADER_CONTENT_TYPE);
  char counts[96];
  std::snprintf(counts, sizeof counts, " %u %zu>%zu bytes %lld us", response.status,
                exchange.body.size(), response.body.size(), static_cast<long long>(micros));
  logLine(clientAddress(connection) + " " + method + " " + path + " " +
          (contentType.empty() ? "-" : contentType) + counts +
          (response.note.empty() ? "" : ", " + response.note));
}

MHD_Result queue(MHD_Connection* connection, const char* method, const char* path,
                 const Exchange& exchange, const HttpResponse& answer) {
  MHD_Response* response = MHD_create_response_from_buffer(
      answer.body.size(), const_cast<char*>(answer.body.data()), MHD_RESPMEM_MUST_COPY);
  if (response == nullptr) return MHD_NO;
  bool ok =
      answer.contentType.empty() || MHD_add_response_header(response, MHD_HTTP_HEADER_CONTENT_TYPE,
                                                            answer.contentType.c_str()) == MHD_YES;
  for (const auto& extra : answer.headers)
    ok = ok &&
         MHD_add_response_header(response, extra.first.c_str(), extra.second.c_str()) == MHD_YES;
  const MHD_Result queued = ok ? MHD_queue_response(connection, answer.status, response) : MHD_NO;
  MHD_destroy_response(response);
  logExchange(connection, method, path, exchange, answer);
  return queued;
}

HttpResponse tooLarge(std::size_t limit) {
  return {413,
          "text/plain; charset=utf-8",
          "request body too large: time-stamp requests take at most " + std::to_string(limit) +
              " bytes\n",
          {},
          {}};
}

MHD_Result onRequest(void* cls, MHD_Connection* connection, const char* url, const char* method,
                     const char* /*version*/, const char* uploadData, size_t* uploadSize,
                     void** context) {
  const auto& state = *static_cast<HttpServer::State*>(cls);
  auto* exchange = static_cast<Exchange*>(*context);
  const std::size_t limit = state.options.maxBody;
  if (exchange == nullptr) {
    exchange = new (std::nothrow) Exchange;
    if (exchange == nullptr) return MHD_NO;
    *context = exchange;
    // Refused before a byte of the body is read when its length says enough.
    const std::string length = header(connection, MHD_HTTP_HEADER_CONTENT_LENGTH);
    if (!length.empty() && std::strtoull(length.c_str(), nullptr, 10) > limit)
      return queue(connection, method, url, *exchange, tooLarge(limit));
    return MHD_YES;
  }
  if (*uploadSize != 0) {
    // A body without a length (chunked) is read to its end, but not kept past the limit.
    if (exchange->tooLarge || exchange->body.size() + *uploadSize > limit) {
      exchange->tooLarge = true;
      std::string().swap(exchange->body);
    } else {
      exchange->body.append(uploadData, *uploadSize);
    }
    *uploadSize = 0;
    return MHD_YES;
  }
  if (exchange->tooLarge) return queue(connection, method, url, *exchange, tooLarge(limit));
  HttpRequest request;
  request.method = method;
  request.path = url;
  request.contentType = header(connection, MHD_HTTP_HEADER_CONTENT_TYPE);
  request.accept = header(connection, MHD_HTTP_HEADER_ACCEPT);
  request.body.swap(exchange->body);
  HttpResponse response;
  try {
    response = state.handler(request);
  } catch (...) {
    response = {500, "text/plain; charset=utf-8", "internal error\n", {}, {}};
  }
  request.body.swap(exchange->body);  // kept for the log line's byte count
  return queue(connection, method, url, *exchange, response);
}

void onCompleted(void* /*cls*/, MHD_Connection* /*connection*/, void** context,
                 MHD_RequestTerminationCode /*why*/) {
  delete static_cast<Exchange*>(*context);
  *context = nullptr;
}

void logLibraryError(void* /*cls*/, const char* format, va_list arguments) {
  char text[512];
  std::vsnprintf(text, sizeof text, format, arguments);
  std::string line = std::string("http: ") + text;
  while (!line.empty() && line.back() == '\n')
    line.pop_back();
  logLine(line);
}

}  // namespace

HttpServer::HttpServer(ListeningSocket socket, const HttpServerOptions& options,
                       HttpHandler handler)
    : state_(new State{options, std::move(handler)}) {
  if (state_->options.threads == 0)
    state_->options.threads = std::max(1u, std::thread::hardware_concurrency());
  state_->port = socket.port();
  const int fd = socket.release();
  errno = 0;
  state_->daemon = MHD_start_daemon(
      MHD_USE_AUTO_INTERNAL_THREAD | MHD_USE_ERROR_LOG, 0, nullptr, nullptr, onRequest,
      state_.get(), MHD_OPTION_EXTERNAL_LOGGER, logLibraryError, nullptr, MHD_OPTION_LISTEN_SOCKET,
      fd, MHD_OPTION_THREAD_POOL_SIZE, state_->options.threads, MHD_OPTION_CONNECTION_MEMORY_LIMIT,
      static_cast<size_t>(32 * 1024), MHD_OPTION_CONNECTION_TIMEOUT, 30u,
      MHD_OPTION_NOTIFY_COMPLETED, onCompleted, nullptr, MHD_OPTION_END);
  if (state_->daemon == nullptr) {
    const int error = errno;
    ::close(fd);
    throw ToolError("cannot start the HTTP server" +
                    (error != 0 ? std::string(": ") + std::strerror(error) : std::string()));
  }
}

HttpServer::~HttpServer() {
  MHD_stop_daemon(state_->daemon);
}

unsigned HttpServer::port() const noexcept {
  return state_->port;
}

unsigned HttpServer::threads() const noexcept {
  return state_->options.threads;
}

}  // namespace Tools
}  // namespace Zanthorel
