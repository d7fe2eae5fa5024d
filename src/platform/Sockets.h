// Blocking IPv4 stream sockets.
#pragma once

#include <cstddef>

namespace platform {

class Sockets {
 public:
  virtual ~Sockets() = default;
  // A new IPv4 stream socket, or -1.
  virtual int open() = 0;
  // Connects to the four address bytes (network order) and port; 0, or -1.
  virtual int connect(int socket, const unsigned char* address, unsigned short port) = 0;
  // Receive (or send) time-out in milliseconds; negative on failure.
  virtual int setTimeout(int socket, bool receive, unsigned int milliseconds) = 0;
  // Bytes moved, 0 at the end of the stream, negative on failure or time-out.
  virtual long send(int socket, const char* data, std::size_t length) = 0;
  virtual long receive(int socket, char* buffer, std::size_t length) = 0;
  // 0, or -1.
  virtual int close(int socket) = 0;
  virtual void sleepMilliseconds(unsigned int milliseconds) = 0;
};

}  // namespace platform
