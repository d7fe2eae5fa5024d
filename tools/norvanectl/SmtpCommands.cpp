// A probe of a mail server through the library's socket client.
#include <utils/Log.h>
#include <utils/Socket.h>

#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "Command.h"

namespace norvanectl {
namespace {

// The reply as the client's buffer holds it, each line shown after "< ".
void showReply(std::ostream& out, const char* buffer) {
  std::string text(buffer, strnlen(buffer, 1024));
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    std::string line = text.substr(start, end - start);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    out << "< " << line << "\n";
    start = end + 1;
  }
  if (text.empty()) out << "< (no reply)\n";
}

// The socket client reports a failed connection by its result alone; one more
// attempt of our own recovers the system's reason ("Connection refused").
std::string whyNoConnection(const std::string& host, long port) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  const int resolved = getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found);
  if (resolved != 0) return gai_strerror(resolved);
  std::string why = "no address to connect to";
  for (const addrinfo* address = found; address != nullptr; address = address->ai_next) {
    const int fd = socket(address->ai_family, address->ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd < 0) {
      why = std::strerror(errno);
      continue;
    }
    int error = ::connect(fd, address->ai_addr, address->ai_addrlen) == 0 ? 0 : errno;
    if (error == EINPROGRESS) {
      pollfd wait{fd, POLLOUT, 0};
      const bool settled = poll(&wait, 1, 5000) == 1;
      socklen_t size = sizeof error;
      error = ETIMEDOUT;
      if (settled) getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &size);
    }
    ::close(fd);
    if (error == 0) {
      why = "it accepts now; it did not at three attempts";
      break;
    }
    why = std::strerror(error);
  }
  freeaddrinfo(found);
  return why;
}

int runSmtpProbe(Invocation& call) {
  const Command& self = *findCommand("smtp-probe");
  if (call.args.empty() || call.args.size() > 2) return usageError(call, self, "smtp-probe needs HOST and an optional PORT");
  long port = 25;
  if (call.args.size() == 2) {
    char* end = nullptr;
    errno = 0;
    port = std::strtol(call.args[1].c_str(), &end, 10);
    if (call.args[1].empty() || *end != '\0' || port < 1 || port > 65535) {
      return usageError(call, self, "PORT must be a number from 1 to 65535");
    }
  }
  utils::Socket* client = utils::Socket::get_instance();
  if (client->connect(call.args[0], static_cast<int>(port)) != 0) {
    client->close();
    utils::formatted_log_t::uninitializeLogger();
    return failure(call, "cannot connect to " + call.args[0] + " port " + std::to_string(port) + ": " +
                             whyNoConnection(call.args[0], port));
  }
  call.out << "connected to " << call.args[0] << " port " << port << "\n";
  char buffer[1024];
  int status = kOk;
  const auto exchange = [&](const char* command, const char* shown) {
    if (command != nullptr) {
      call.out << "> " << shown << "\n";
      if (client->send(command) != 0) {
        status = failure(call, std::string("cannot send ") + shown);
        return false;
      }
    }
    // A read ends at the first CR LF, so a multi-line reply written line by line
    // takes a read for each line: read on while the last line is a continuation.
    for (int reads = 0; reads < 100; ++reads) {
      std::memset(buffer, 0, sizeof buffer);
      client->recv(buffer);
      showReply(call.out, buffer);
      if (buffer[0] == '\0') {
        status = failure(call, call.args[0] + " port " + std::to_string(port) +
                                   " accepted the connection but sent no reply (it closed, or stayed silent for 5 "
                                   "seconds)");
        return false;
      }
      const std::string text(buffer, strnlen(buffer, sizeof buffer));
      const std::size_t last = text.size() >= 2 ? text.rfind('\n', text.size() - 2) : std::string::npos;
      const std::string lastLine = last == std::string::npos ? text : text.substr(last + 1);
      if (lastLine.size() < 4 || lastLine[3] != '-') break;
    }
    return true;
  };
  if (exchange(nullptr, nullptr) && exchange("EHLO norvanectl\r\n", "EHLO norvanectl")) exchange("QUIT\r\n", "QUIT");
  client->close();
  utils::formatted_log_t::uninitializeLogger();
  return status;
}

}  // namespace
}  // namespace norvanectl

NORVANECTL_COMMANDS(smtp) {
  using norvanectl::Command;
  return {
      Command{"smtp-probe", "smtp", "talk to a mail server: greeting, EHLO, QUIT", "smtp-probe HOST [PORT]",
              "Connects to HOST (port 25 unless PORT is given) with the library's socket client,\n"
              "reads the greeting, sends EHLO and QUIT and shows every reply line after '< '\n"
              "and every command after '> '. A reply is read until it ends in CR LF, the server\n"
              "closes, or 5 seconds pass.\n\n"
              "Exit status: 0 the server answered each step; 1 the connection cannot be made\n"
              "after three attempts (with the system's reason), a command cannot be sent, or\n"
              "the server stays silent; 2 wrong usage.\n",
              norvanectl::runSmtpProbe},
  };
}
