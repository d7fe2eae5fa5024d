// A small blocking TCP client for line-oriented dialogues with a mail server. One
// object for the process: get_instance() hands it out with a fresh socket, so a
// client calls it once per conversation and close() at its end, from one thread at
// a time.
#pragma once

#include <NorvaneExport.h>

#include <string>

namespace utils {

class NORVANE_API Socket {
 public:
  // The WindowsSocket singleton, with a freshly created socket.
  static Socket* get_instance();

  // 0 created; 1 failed.
  virtual int open() = 0;
  // Resolves host and connects with up to three attempts, then sets 5-second
  // receive and send time-outs. 0 connected; -1 after three failed attempts or
  // when the name does not resolve.
  virtual int connect(std::string host, int port) const = 0;
  // Sends the text in up to two attempts. 0 when some of it was sent (the rest of
  // a partly sent text is not); 1 when nothing was.
  virtual int send(const char* text) const = 0;
  // Reads until the reply ends in CR LF, the peer closed (after four empty
  // reads) or an error or time-out. The buffer (at least 1024 bytes) is zeroed once
  // and holds what the last read delivered. 0, always.
  virtual int recv(char* buffer) const = 0;
  // 0 closed; 1 not open or failed.
  virtual int close() = 0;

 protected:
  Socket() = default;
  Socket(const Socket&) = default;
  Socket& operator=(const Socket&) = default;
  ~Socket() = default;  // a singleton, never deleted through this class

  int m_isOpen = 0;
  int m_reserved = 0;
};

}  // namespace utils
