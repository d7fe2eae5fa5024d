// The socket client against a scripted peer of the test's on loopback.
#include <sys/socket.h>
#include <unistd.h>

#include <utils/Socket.h>

#include <chrono>
#include <cstring>
#include <deque>
#include <map>
#include <thread>

#include "support/Loopback.h"
#include "utils/SystemTestSupport.h"

using systemtest::joined;

namespace {

// A listener on 127.0.0.1 that takes one connection and plays a script: texts to
// send, pauses ("~ms") and "close"; then it waits for the client to close.
struct ScriptedPeer {
  explicit ScriptedPeer(std::vector<std::string> script)
      : thread([this, script] {
          const int peer = accept(listener, nullptr, nullptr);
          for (const std::string& step : script) {
            if (step == "close") shutdown(peer, SHUT_WR);
            else if (step[0] == '~') std::this_thread::sleep_for(std::chrono::milliseconds(std::stoi(step.substr(1))));
            else send(peer, step.data(), step.size(), MSG_NOSIGNAL);
          }
          char sink[256];
          while (peer >= 0 && recv(peer, sink, sizeof sink, 0) > 0) continue;
          close(peer);
        }) {}
  ~ScriptedPeer() {
    shutdown(listener, SHUT_RDWR);
    thread.join();
    close(listener);
  }
  int port = 0, listener = testsupport::listenOnLoopback(port);
  std::thread thread;
};

// The log's messages since the mark, a reply's CR dropped.
std::string logged(const systemtest::LogMark& mark) {
  return std::regex_replace(joined(mark.messages()), std::regex("\r"), "");
}

// Sockets whose calls give the codes a test queues, each in turn; without one, success.
struct ScriptedSockets : testsupport::SecondZeroFreeHost, platform::Sockets {
  platform::Sockets& sockets() override { return *this; }
  long next(const char* call, long otherwise) {
    std::deque<long>& queued = results[call];
    const long result = queued.empty() ? otherwise : queued.front();
    return queued.empty() ? result : (queued.pop_front(), result);
  }
  int open() override { return static_cast<int>(next("open", 7)); }
  int connect(int, const unsigned char*, unsigned short) override { return static_cast<int>(next("connect", 0)); }
  int setTimeout(int, bool, unsigned int) override { return static_cast<int>(next("setTimeout", 0)); }
  long send(int, const char*, std::size_t length) override { return next("send", static_cast<long>(length)); }
  long receive(int, char*, std::size_t) override { return next("receive", -1); }
  int close(int) override { return static_cast<int>(next("close", 0)); }
  void sleepMilliseconds(unsigned int) override {}
  std::map<std::string, std::deque<long>> results;
};

}  // namespace

TEST(SocketTest, FailuresOfThePlatformsCallsAreLoggedAndRetried) {
  ScriptedSockets host;
  platform::ScopedHost scope(host);
  host.results = {{"open", {-1}}, {"setTimeout", {-1, -1}}, {"send", {0}}, {"close", {-1}}};
  systemtest::LogMark mark;
  utils::Socket::get_instance();
  utils::Socket* client = utils::Socket::get_instance();
  EXPECT_EQ(0, client->connect("127.0.0.1", 25));
  EXPECT_EQ(0, client->send("x"));  // the second attempt goes through
  EXPECT_EQ(1, client->close());
  EXPECT_EQ(0, client->close());
  EXPECT_EQ("Critical: Error Creating Socket|Critical: Socket Error|Critical: Socket Error|Critical: System call failed",
            joined(mark.messages("Error Creating|Socket Error|System call")));
}

TEST(SocketTest, RepliesAreReadUntilTheyEndInCarriageReturnAndLineFeed) {
  const std::string block(1024, 'a');
  // buffer: what the caller's buffer holds, up to its first NUL.
  const struct { const char* name; std::vector<std::string> script; std::string buffer, log; } rows[] = {
      {"whole", {"220 ready\r\n"}, "220 ready\r\n", "Debug: Received buffer 220 ready"},
      {"pieces", {"220 rea", "~100", "dy\r\n"}, "dy\r\nrea", "Debug: Received buffer 220 ready"},
      {"early end", {"250-first\r\n", "~100", "250 last\r\n"}, "250-first\r\n", "Debug: Received buffer 250-first"},
      {"peer closes", {"close"}, "", "Critical: error receiving data to server or TIMED OUT|Debug: Received buffer "},
      // The log holds the start of a long reply.
      {"full block", {block, "~100", "\r\n"}, "\r\n" + block.substr(2), "Debug: Received buffer " + block.substr(0, 495)},
      // A bare line feed does not end a reply: the read waits for the time-out (5 s).
      {"bare line feed", {"220 ready\n"}, "220 ready\n",
       "Critical: error receiving data from server |Debug: Received buffer 220 ready"},
  };
  for (const auto& row : rows) {
    ScriptedPeer peer(row.script);
    utils::Socket* client = utils::Socket::get_instance();
    ASSERT_EQ(0, client->connect("127.0.0.1", peer.port)) << row.name;
    systemtest::LogMark mark;
    std::vector<char> buffer(2048, 'z');
    buffer[1024] = '\0';
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(0, client->recv(buffer.data())) << row.name;
    EXPECT_EQ(std::string(row.name) == "bare line feed",
              std::chrono::steady_clock::now() - start >= std::chrono::milliseconds(4900)) << row.name;
    EXPECT_EQ(row.buffer, std::string(buffer.data(), strnlen(buffer.data(), 1024))) << row.name;
    EXPECT_EQ(row.log, logged(mark)) << row.name;
    EXPECT_EQ(0, client->close());
  }
}

TEST(SocketTest, SendCloseAndFailedConnections) {
  ScriptedPeer peer({});
  utils::Socket* client = utils::Socket::get_instance();
  systemtest::LogMark connecting;
  ASSERT_EQ(0, client->connect("127.0.0.1", peer.port));
  EXPECT_EQ(0, client->send("EHLO client\r\n"));
  EXPECT_EQ(1, client->send(""));  // nothing to send counts as nothing sent
  EXPECT_EQ(0, client->close());
  EXPECT_EQ(1, client->close());
  // getHostByName of a dotted address has no name to find first.
  const std::string lookup = "Critical: gethostbyname failed, trying gethostbyaddr(windows)|";
  EXPECT_EQ(lookup + "Critical: Server Connection have been established|Critical: error sending data to server or "
                     "TIMED OUT|Debug: Socket is already closed|Debug: Socket is already closed",
            joined(connecting.messages("Critical|closed")));
  client = utils::Socket::get_instance();
  systemtest::LogMark refused;
  EXPECT_EQ(-1, client->connect("127.0.0.1", testsupport::freeLoopbackPort()));
  const std::string retry = "Critical: Unable to establish connection with Server re-trying|";
  EXPECT_EQ(lookup + retry + retry + "Critical: all try failed, so throw an exception and close socket connection",
            joined(refused.messages("Critical")));
  EXPECT_EQ(0, client->close());
  {
    testsupport::ScopedFakeHost fake;  // no name resolves
    client = utils::Socket::get_instance();
    EXPECT_EQ(-1, client->connect("mail.invalid", 25));
    EXPECT_EQ("name:mail.invalid", joined(fake.net.lookups));
  }
  EXPECT_EQ(0, client->close());
  EXPECT_EQ(-1, platform::posixHost().sockets().close(-1));
}
