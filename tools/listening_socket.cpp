#include "tools/listening_socket.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "tools/tool_error.h"

namespace Zanthorel {
namespace Tools {
namespace {

std::string withoutBrackets(const std::string& address) {
  return address.size() > 2 && address.front() == '[' && address.back() == ']'
             ? address.substr(1, address.size() - 2)
             : address;
}

}  // namespace

bool isIpAddress(const std::string& address) {
  in_addr v4;
  in6_addr v6;
  return inet_pton(AF_INET, address.c_str(), &v4) == 1 ||
         inet_pton(AF_INET6, withoutBrackets(address).c_str(), &v6) == 1;
}

ListeningSocket::ListeningSocket(const std::string& address, unsigned port) {
  const std::string bare = withoutBrackets(address);
  sockaddr_storage storage{};
  socklen_t length = 0;
  auto* v4 = reinterpret_cast<sockaddr_in*>(&storage);
  auto* v6 = reinterpret_cast<sockaddr_in6*>(&storage);
  const std::string where = address + " port " + std::to_string(port);
  if (port <= 65535 && inet_pton(AF_INET, bare.c_str(), &v4->sin_addr) == 1) {
    v4->sin_family = AF_INET;
    v4->sin_port = htons(static_cast<std::uint16_t>(port));
    length = sizeof *v4;
    host_ = bare;
  } else if (port <= 65535 && inet_pton(AF_INET6, bare.c_str(), &v6->sin6_addr) == 1) {
    v6->sin6_family = AF_INET6;
    v6->sin6_port = htons(static_cast<std::uint16_t>(port));
    length = sizeof *v6;
    host_ = "[" + bare + "]";
  } else {
    throw ToolError("cannot listen on " + where + ": not an IPv4 or IPv6 address and port");
  }
  fd_ = ::socket(storage.ss_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const int on = 1, off = 0;
  // "::" takes IPv4 clients too, whatever the system's default.
  const bool ready = fd_ >= 0 && setsockopt(fd_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0 &&
                     (storage.ss_family != AF_INET6 ||
                      setsockopt(fd_, IPPROTO_IPV6, IPV6_V6ONLY, &off, sizeof off) == 0) &&
                     ::bind(fd_, reinterpret_cast<sockaddr*>(&storage), length) == 0 &&
                     ::listen(fd_, SOMAXCONN) == 0 &&
                     getsockname(fd_, reinterpret_cast<sockaddr*>(&storage), &length) == 0;
  if (!ready) {
    const int error = errno;
    if (fd_ >= 0) ::close(fd_);
    throw ToolError("cannot listen on " + where + ": " + std::strerror(error));
  }
  port_ = ntohs(storage.ss_family == AF_INET ? v4->sin_port : v6->sin6_port);
}

ListeningSocket::ListeningSocket(ListeningSocket&& other) noexcept
    : fd_(std::exchange(other.fd_, -1)), host_(std::move(other.host_)), port_(other.port_) {}

ListeningSocket::~ListeningSocket() {
  if (fd_ >= 0) ::close(fd_);
}

int ListeningSocket::release() noexcept {
  return std::exchange(fd_, -1);
}

std::string ListeningSocket::url() const {
  return "http://" + host_ + ":" + std::to_string(port_) + "/";
}

}  // namespace Tools
}  // namespace Zanthorel
