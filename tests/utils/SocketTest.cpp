// The socket client: its decisions over scripted sockets, and the real sockets
// against a peer of the test's own on loopback.
#include <sys/socket.h>
#include "support/TestPrelude.h"

#include <utils/Socket.h>

#include "support/Loopback.h"
#include "utils/SystemTestSupport.h"

using systemtest::joined;

namespace {

// Sockets whose calls give the codes a test queues, each in turn, success without
// one; a receive gives the next of the replies queued (an error when none is left).
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
  long receive(int, char* buffer, std::size_t length) override {
    if (replies.empty()) return -1;
    const std::string reply = replies.front();
    replies.pop_front();
    std::memcpy(buffer, reply.data(), std::min(length, reply.size()));
    return static_cast<long>(reply.size());
  }
  int close(int) override { return static_cast<int>(next("close", 0)); }
  void sleepMilliseconds(unsigned int) override {}
  std::map<std::string, std::deque<long>> results;
  std::deque<std::string> replies;
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
  // buffer: what the caller's buffer holds, up to its first NUL; then the critical lines.
  const struct { const char* name; std::deque<std::string> replies; std::string buffer, log; } rows[] = {
      {"whole", {"220 ready\r\n"}, "220 ready\r\n", ""}, {"pieces", {"220 rea", "dy\r\n"}, "dy\r\nrea", ""},
      {"early end", {"250-first\r\n", "250 last\r\n"}, "250-first\r\n", ""},
      {"peer closes", {"", "", "", ""}, "", "Critical: error receiving data to server or TIMED OUT"},
      {"full block", {block, "\r\n"}, "\r\n" + block.substr(2), ""},
      {"bare line feed", {"220 ready\n"}, "220 ready\n", "Critical: error receiving data from server "},
  };
  for (const auto& row : rows) {
    ScriptedSockets host;
    platform::ScopedHost scope(host);
    host.replies = row.replies;
    utils::Socket* client = utils::Socket::get_instance();
    ASSERT_EQ(0, client->connect("127.0.0.1", 25)) << row.name;
    systemtest::LogMark mark;
    std::vector<char> buffer(2048, 'z');
    buffer[1024] = '\0';
    EXPECT_EQ(0, client->recv(buffer.data())) << row.name;
    EXPECT_EQ(row.buffer, std::string(buffer.data(), strnlen(buffer.data(), 1024))) << row.name;
    EXPECT_EQ(row.log, joined(mark.messages("Critical"))) << row.name;
    EXPECT_EQ(0, client->close());
  }
}

TEST(SocketTest, ThePlatformsSocketsSendReceiveWithATimeOutAndClose) {
  int port = 0;
  const int listener = testsupport::listenOnLoopback(port);
  // A peer that greets with a bare line feed, which does not end a reply: the read
  // waits for the time-out (5 s).
  std::thread peer([listener] {
    const int connection = accept(listener, nullptr, nullptr);
    char sink[256];
    send(connection, "220 ready\n", 10, MSG_NOSIGNAL);
    while (recv(connection, sink, sizeof sink, 0) > 0) continue;
    close(connection);
  });
  utils::Socket* client = utils::Socket::get_instance();
  systemtest::LogMark connecting;
  ASSERT_EQ(0, client->connect("127.0.0.1", port));
  EXPECT_EQ(0, client->send("EHLO client\r\n"));
  EXPECT_EQ(1, client->send(""));  // nothing to send counts as nothing sent
  std::vector<char> buffer(1024);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(0, client->recv(buffer.data()));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(4900));
  EXPECT_EQ(0, client->close());
  EXPECT_EQ(1, client->close());
  peer.join();
  close(listener);
  // getHostByName of a dotted address has no name to find first.
  const std::string lookup = "Critical: gethostbyname failed, trying gethostbyaddr(windows)|";
  EXPECT_EQ(lookup + "Critical: Server Connection have been established|Critical: error sending data to server or "
                     "TIMED OUT|Critical: error receiving data from server ",
            joined(connecting.messages("Critical")));
  client = utils::Socket::get_instance();
  systemtest::LogMark refused;
  EXPECT_EQ(-1, client->connect("127.0.0.1", testsupport::freeLoopbackPort()));
  const std::string retry = "Critical: Unable to establish connection with Server re-trying|";
  EXPECT_EQ(lookup + retry + retry + "Critical: all try failed, so throw an exception and close socket connection",
            joined(refused.messages("Critical")));
  EXPECT_EQ(0, client->close());
  testsupport::ScopedFakeHost fake;  // no name resolves
  EXPECT_EQ(-1, utils::Socket::get_instance()->connect("mail.invalid", 25));
  EXPECT_EQ("name:mail.invalid", joined(fake.net.lookups));
  EXPECT_EQ(0, utils::Socket::get_instance()->close());
}
