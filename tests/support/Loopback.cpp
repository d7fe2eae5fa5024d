#include "support/Loopback.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include "support/TestPrelude.h"

namespace testsupport {
namespace {

// A TCP socket and 127.0.0.1:port; bound to a port the kernel chooses, which `port`
// gets, when asked.
int loopback(int& port, sockaddr_in& address, bool bound) {
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  address = {AF_INET, htons(static_cast<std::uint16_t>(port)), {htonl(INADDR_LOOPBACK)}, {}};
  socklen_t length = sizeof address;
  if (bound && (fd < 0 || bind(fd, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
                getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0)) {
    throw std::runtime_error("cannot bind a socket to 127.0.0.1");
  }
  port = ntohs(address.sin_port);
  return fd;
}

}  // namespace

int listenOnLoopback(int& port) {
  sockaddr_in address{};
  const int fd = loopback(port = 0, address, true);
  if (listen(fd, 16) != 0) throw std::runtime_error("cannot listen on 127.0.0.1");
  return fd;
}

int freeLoopbackPort() {
  int port = 0;
  sockaddr_in address{};
  close(loopback(port, address, true));
  return port;
}

bool loopbackAccepts(int port) {
  sockaddr_in address{};
  const int fd = loopback(port, address, false);
  const bool connected = connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  close(fd);
  return connected;
}

}  // namespace testsupport
