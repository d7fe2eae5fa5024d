// The platform's Socket: BSD sockets on Linux.
#pragma once

#include <NorvaneExport.h>
#include <utils/Socket.h>

#include <string>

namespace utils {

class NORVANE_API WindowsSocket : public Socket {
 public:
  // The singleton, after open() has run on it again.
  static WindowsSocket* get_instance();

  int open() override;
  int connect(std::string host, int port) const override;
  int send(const char* text) const override;
  int recv(char* buffer) const override;
  int close() override;

 private:
  WindowsSocket() = default;

  int m_socket = -1;  // a file descriptor
};

}  // namespace utils
