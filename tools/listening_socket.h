// The server's listening socket, opened before anything else is made so that an address or port
// that cannot be had is refused first. IPv4 and IPv6 alike.
#pragma once

#include <string>

namespace Zanthorel {
namespace Tools {

// Whether `address` is a numeric IPv4 or IPv6 address, the latter with or without brackets.
bool isIpAddress(const std::string& address);

class ListeningSocket {
 public:
  // Listens on `address` (as isIpAddress takes it; "::" is every interface, IPv4 included) and
  // `port` (0 picks a free one). Throws ToolError naming the address and the reason.
  ListeningSocket(const std::string& address, unsigned port);
  ListeningSocket(ListeningSocket&& other) noexcept;
  ListeningSocket(const ListeningSocket&) = delete;
  ListeningSocket& operator=(const ListeningSocket&) = delete;
  ListeningSocket& operator=(ListeningSocket&&) = delete;
  ~ListeningSocket();

  // The descriptor, handed over: the caller closes it from now on.
  int release() noexcept;
  unsigned port() const noexcept { return port_; }
  // "http://127.0.0.1:3161/", "http://[::1]:3161/".
  std::string url() const;

 private:
  int fd_ = -1;
  std::string host_;  // as a URL writes it
  unsigned port_ = 0;
};

}  // namespace Tools
}  // namespace Zanthorel
