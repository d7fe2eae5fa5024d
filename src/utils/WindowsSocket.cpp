#include <utils/Log.h>
#include <utils/System.h>
#include <utils/WindowsSocket.h>

#include <cstring>

#include "platform/Host.h"

namespace utils {
namespace {

constexpr std::size_t kReceiveBlock = 1024;
constexpr int kConnectAttempts = 3;
constexpr int kEmptyReadsAllowed = 3;
constexpr unsigned int kTimeoutMilliseconds = 5000;

}  // namespace

Socket* Socket::get_instance() { return WindowsSocket::get_instance(); }

WindowsSocket* WindowsSocket::get_instance() {
  static WindowsSocket instance;
  instance.open();
  return &instance;
}

int WindowsSocket::open() {
  log_function_entry("utils::WindowsSocket::open");
  m_socket = platform::host().sockets().open();
  if (m_socket == -1) {
    log_critical("Error Creating Socket");
    return 1;
  }
  log_debug("Created Socket for Server Connection");
  m_isOpen = 1;
  return 0;
}

int WindowsSocket::connect(std::string host, int port) const {
  log_function_entry("utils::WindowsSocket::connect");
  platform::HostEntryFacts entry;
  const bool resolved = platform::readHostEntry(System::get_instance()->getHostByName(host), entry);
  log_debug("Connect to the SMTP server using socket call");
  // A name that does not resolve has no entry to read an address from: the call
  // ends as a connection that failed every attempt.
  if (!resolved) return -1;
  // The address is four bytes, whatever the entry's own length: an IPv6 entry gives
  // its first four bytes rather than overrunning the IPv4 address.
  unsigned char address[4] = {};
  if (!entry.addresses.empty()) {
    std::memcpy(address, entry.addresses[0].data(), std::min<std::size_t>(entry.addresses[0].size(), 4));
  }
  platform::Sockets& sockets = platform::host().sockets();
  log_debug("re-try connecting to SMTP server for maximum 3 time");
  for (int attempt = 0; attempt < kConnectAttempts; ++attempt) {
    if (sockets.connect(m_socket, address, static_cast<unsigned short>(port)) != -1) {
      log_critical("Server Connection have been established");
      break;
    }
    if (attempt == kConnectAttempts - 1) {
      log_critical("all try failed, so throw an exception and close socket connection");
      return -1;
    }
    log_critical("Unable to establish connection with Server re-trying");
    sockets.sleepMilliseconds(1);
  }
  log_debug("setting timeout for recv() function");
  const int receiveResult = sockets.setTimeout(m_socket, true, kTimeoutMilliseconds);
  log_debug("setting timeout for send() function");
  const int sendResult = sockets.setTimeout(m_socket, false, kTimeoutMilliseconds);
  if (receiveResult < 0) log_critical("Socket Error");
  if (sendResult < 0) log_critical("Socket Error");
  return 0;
}

int WindowsSocket::send(const char* text) const {
  log_function_entry("utils::WindowsSocket::send");
  platform::Sockets& sockets = platform::host().sockets();
  for (int attempt = 0; attempt < 2; ++attempt) {
    if (sockets.send(m_socket, text, std::strlen(text)) > 0) return 0;
    if (attempt == 1) {
      log_critical("error sending data to server or TIMED OUT");
      return 1;
    }
    sockets.sleepMilliseconds(1);
  }
  return 1;
}

int WindowsSocket::recv(char* buffer) const {
  log_function_entry("utils::WindowsSocket::recv");
  platform::Sockets& sockets = platform::host().sockets();
  std::memset(buffer, 0, kReceiveBlock);
  std::string reply;
  int emptyReads = 0;
  for (;;) {
    const long received = sockets.receive(m_socket, buffer, kReceiveBlock);
    if (received == 0) {
      if (emptyReads < kEmptyReadsAllowed) {
        ++emptyReads;
        continue;
      }
      log_critical("error receiving data to server or TIMED OUT");
      break;
    }
    if (received < 0) {
      log_critical("error receiving data from server ");
      break;
    }
    // The buffer read as a C string, but never past the bytes received: a full
    // block carries no terminator.
    reply.append(buffer, strnlen(buffer, static_cast<std::size_t>(received)));
    if (reply.size() >= 2 && reply[reply.size() - 2] == '\r' && reply.back() == '\n') break;
  }
  log_debug("Received buffer %1%") % reply;
  return 0;
}

int WindowsSocket::close() {
  log_function_entry("utils::WindowsSocket::close");
  if (m_isOpen == 0) {
    log_debug("Socket is already closed");
    return 1;
  }
  if (platform::host().sockets().close(m_socket) == -1) {
    log_critical("System call failed");
    return 1;
  }
  m_isOpen = 0;
  log_debug("Socket is already closed");
  return 0;
}

}  // namespace utils
