#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

#include "platform/posix/PosixFacilities.h"

namespace platform::posix {
namespace {

class PosixSockets final : public Sockets {
 public:
  int open() override { return ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0); }

  int connect(int socket, const unsigned char* address, unsigned short port) override {
    sockaddr_in peer{};
    peer.sin_family = AF_INET;
    peer.sin_port = htons(port);
    std::memcpy(&peer.sin_addr, address, 4);
    int result;
    do {
      result = ::connect(socket, reinterpret_cast<const sockaddr*>(&peer), sizeof peer);
    } while (result != 0 && errno == EINTR);
    return result == 0 ? 0 : -1;
  }

  int setTimeout(int socket, bool receive, unsigned int milliseconds) override {
    timeval limit{};
    limit.tv_sec = milliseconds / 1000;
    limit.tv_usec = static_cast<suseconds_t>(milliseconds % 1000) * 1000;
    return ::setsockopt(socket, SOL_SOCKET, receive ? SO_RCVTIMEO : SO_SNDTIMEO, &limit, sizeof limit);
  }

  long send(int socket, const char* data, std::size_t length) override {
    // A peer that went away is an error of this call, not a signal that ends the process.
    return ::send(socket, data, length, MSG_NOSIGNAL);
  }

  long receive(int socket, char* buffer, std::size_t length) override { return ::recv(socket, buffer, length, 0); }

  int close(int socket) override { return ::close(socket) == 0 ? 0 : -1; }

  void sleepMilliseconds(unsigned int milliseconds) override {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
  }
};

}  // namespace

std::unique_ptr<Sockets> makeSockets() { return std::make_unique<PosixSockets>(); }

}  // namespace platform::posix
