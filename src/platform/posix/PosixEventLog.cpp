// The event log on syslog. Each record goes to the local logger's socket as one
// message in the traditional syslog form, "<PRI>Mmm dd hh:mm:ss SOURCE[pid]: text",
// which journald, rsyslog and syslog-ng all accept. Writing the socket ourselves
// rather than through openlog/syslog keeps the source name per record without
// touching the identity the client process may have given syslog, and tells us
// when no logger is there to take the record.
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "platform/posix/PosixFacilities.h"

namespace platform::posix {
namespace {

const char kLoggerSocket[] = "/dev/log";
// How long a record waits for a logger that has stopped reading (its queue is full).
constexpr int kStalledLoggerMilliseconds = 1000;

// True once the socket takes more data; false when the logger has not read within
// the time limit.
bool waitUntilWritable(int fd) {
  struct pollfd wanted {};
  wanted.fd = fd;
  wanted.events = POLLOUT;
  int ready;
  do {
    ready = poll(&wanted, 1, kStalledLoggerMilliseconds);
  } while (ready < 0 && errno == EINTR);
  return ready > 0 && (wanted.revents & POLLOUT) != 0;
}

int priorityOf(int type) {
  switch (type) {
    case kEventError: return LOG_ERR;
    case kEventWarning: return LOG_WARNING;
    default: return LOG_INFO;
  }
}

// Connected to the logger's socket, a datagram socket as a rule, a stream socket
// on systems whose logger listens that way.
int connectToLogger(int& socketType) {
  struct sockaddr_un address {};
  address.sun_family = AF_UNIX;
  std::snprintf(address.sun_path, sizeof address.sun_path, "%s", kLoggerSocket);
  for (int type : {SOCK_DGRAM, SOCK_STREAM}) {
    const int fd = socket(AF_UNIX, type | SOCK_CLOEXEC, 0);
    if (fd < 0) return -1;
    if (connect(fd, reinterpret_cast<struct sockaddr*>(&address), sizeof address) == 0) {
      socketType = type;
      return fd;
    }
    const int error = errno;
    close(fd);
    if (error != EPROTOTYPE) return -1;
  }
  return -1;
}

class SyslogSource final : public EventSource {
 public:
  SyslogSource(std::string name, int fd, int socketType)
      : m_name(std::move(name)), m_fd(fd), m_socketType(socketType) {}
  ~SyslogSource() override { close(m_fd); }

  bool report(int type, std::uint16_t category, int eventId, const std::string& text) override {
    static const char* const kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                          "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const time_t now = time(nullptr);
    struct tm local {};
    localtime_r(&now, &local);
    char header[128];
    std::snprintf(header, sizeof header, "<%d>%s %2d %02d:%02d:%02d ", LOG_USER | priorityOf(type),
                  kMonths[local.tm_mon % 12], local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
    std::string message = header + m_name + "[" + std::to_string(getpid()) + "]: " + text + " [event " +
                          std::to_string(eventId) + ", category " + std::to_string(category) + "]";
    // A stream logger reads records up to their terminating NUL.
    if (m_socketType == SOCK_STREAM) message.push_back('\0');
    ssize_t sent;
    do {
      sent = send(m_fd, message.data(), message.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    } while (sent < 0 && (errno == EINTR || ((errno == EAGAIN || errno == EWOULDBLOCK) && waitUntilWritable(m_fd))));
    return sent == static_cast<ssize_t>(message.size());
  }

 private:
  std::string m_name;
  int m_fd;
  int m_socketType;
};

class SyslogEventLog final : public EventLog {
 public:
  std::unique_ptr<EventSource> registerSource(const std::string& name) override {
    int socketType = SOCK_DGRAM;
    const int fd = connectToLogger(socketType);
    if (fd < 0) return nullptr;
    // A logger that no longer reads would hold the caller for ever; after a second
    // the log counts as unreachable.
    if (!waitUntilWritable(fd)) {
      close(fd);
      return nullptr;
    }
    return std::make_unique<SyslogSource>(name, fd, socketType);
  }
};

}  // namespace

std::unique_ptr<EventLog> makeEventLog() { return std::make_unique<SyslogEventLog>(); }

}  // namespace platform::posix
