// The socket client against a scripted peer of the test's on loopback.
#include <sys/socket.h>
#include <unistd.h>

#include <utils/Socket.h>

#include <chrono>
#include <cstring>
#include <thread>

#include "support/Loopback.h"
#include "utils/SystemTestSupport.h"

using systemtest::LogMark;
using Lines = std::vector<std::string>;

namespace {

// A listener on 127.0.0.1 that takes one connection and plays a script: texts to
// send, pauses ("~ms") and "close"; then it waits for the client to close.
class ScriptedPeer {
 public:
  explicit ScriptedPeer(std::vector<std::string> script) {
    m_listener = testsupport::listenOnLoopback(m_port);
    m_thread = std::thread([this, script = std::move(script)] {
      const int peer = accept(m_listener, nullptr, nullptr);
      if (peer < 0) return;
      bool open = true;
      for (const std::string& step : script) {
        if (step == "close") {
          ::close(peer), open = false;
        } else if (step[0] == '~') {
          std::this_thread::sleep_for(std::chrono::milliseconds(std::stoi(step.substr(1))));
        } else {
          ::send(peer, step.data(), step.size(), MSG_NOSIGNAL);
        }
      }
      char sink[256];
      while (open && ::recv(peer, sink, sizeof sink, 0) > 0) continue;  // until the client closes
      if (open) ::close(peer);
    });
  }
  ~ScriptedPeer() {
    shutdown(m_listener, SHUT_RDWR);
    m_thread.join();
    close(m_listener);
  }
  int port() const { return m_port; }

 private:
  int m_listener;
  int m_port = 0;
  std::thread m_thread;
};

// The entries of a mark without the function entries; a reply's CR is dropped.
Lines messages(const LogMark& mark) {
  Lines found;
  for (std::string entry : mark.entries()) {
    if (!entry.empty() && entry.back() == '\r') entry.pop_back();
    if (entry.rfind("Fn Entry", 0) != 0) found.push_back(entry);
  }
  return found;
}

Lines operator+(Lines lines, const Lines& more) {
  lines.insert(lines.end(), more.begin(), more.end());
  return lines;
}

}  // namespace

TEST(SocketTest, RepliesAreReadUntilTheyEndInCarriageReturnAndLineFeed) {
  const std::string block(1024, 'a');
  // buffer: what the caller's buffer holds, up to its first NUL.
  const struct { const char* name; std::vector<std::string> script; std::string buffer; Lines log; } rows[] = {
      {"whole", {"220 ready\r\n"}, "220 ready\r\n", {"Debug: Received buffer 220 ready"}},
      {"pieces", {"220 rea", "~100", "dy\r\n"}, "dy\r\nrea", {"Debug: Received buffer 220 ready"}},
      {"early end", {"250-first\r\n", "~100", "250 last\r\n"}, "250-first\r\n", {"Debug: Received buffer 250-first"}},
      {"peer closes", {"close"}, "",
       {"Critical: error receiving data to server or TIMED OUT", "Debug: Received buffer "}},
      {"full block", {block, "~100", "\r\n"}, "\r\n" + block.substr(2), {"Debug: Received buffer a...a"}},
      // A bare line feed does not end a reply: the read waits for the time-out (5 s).
      {"bare line feed", {"220 ready\n"}, "220 ready\n",
       {"Critical: error receiving data from server ", "Debug: Received buffer 220 ready", ""}},
  };
  for (const auto& row : rows) {
    ScriptedPeer peer(row.script);
    utils::Socket* client = utils::Socket::get_instance();
    ASSERT_EQ(0, client->connect("127.0.0.1", peer.port())) << row.name;
    LogMark mark;
    std::vector<char> buffer(2048, 'z');
    buffer[1024] = '\0';
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(0, client->recv(buffer.data())) << row.name;
    const bool timedOut = std::chrono::steady_clock::now() - start >= std::chrono::milliseconds(4900);
    EXPECT_EQ(std::string(row.name) == "bare line feed", timedOut) << row.name;
    EXPECT_EQ(row.buffer, std::string(buffer.data(), strnlen(buffer.data(), 1024))) << row.name;
    Lines log = messages(mark);
    // The line of the reply holds its CR LF, so it spans two lines of the file.
    if (log.size() > row.log.size()) log.resize(row.log.size());
    // The log keeps the start of a long line: nothing but the block's bytes.
    for (std::string& entry : log) entry = std::regex_replace(entry, std::regex("^(Debug: Received buffer )a{400,}$"), "$1a...a");
    EXPECT_EQ(row.log, log) << row.name;
    EXPECT_EQ(0, client->close());
  }
}

TEST(SocketTest, SendCloseAndFailedConnections) {
  // getHostByName of a dotted address has no name to find first.
  const Lines lookup = {"Info: initialization for using WinSock DLL",
                        "Critical: gethostbyname failed, trying gethostbyaddr(windows)",
                        "Debug: Connect to the SMTP server using socket call",
                        "Debug: re-try connecting to SMTP server for maximum 3 time"};
  ScriptedPeer peer({});
  utils::Socket* client = utils::Socket::get_instance();
  LogMark connecting;
  ASSERT_EQ(0, client->connect("127.0.0.1", peer.port()));
  EXPECT_EQ((lookup + Lines{"Critical: Server Connection have been established",
                            "Debug: setting timeout for recv() function", "Debug: setting timeout for send() function"}),
            messages(connecting));
  EXPECT_EQ(0, client->send("EHLO client\r\n"));
  LogMark sending;
  EXPECT_EQ(1, client->send(""));  // nothing to send counts as nothing sent
  EXPECT_EQ(0, client->close());
  EXPECT_EQ(1, client->close());
  EXPECT_EQ((Lines{"Critical: error sending data to server or TIMED OUT", "Debug: Socket is already closed",
                   "Debug: Socket is already closed"}),
            messages(sending));

  client = utils::Socket::get_instance();
  LogMark refused;
  EXPECT_EQ(-1, client->connect("127.0.0.1", testsupport::freeLoopbackPort()));
  const std::string retry = "Critical: Unable to establish connection with Server re-trying";
  EXPECT_EQ((lookup + Lines{retry, retry, "Critical: all try failed, so throw an exception and close socket connection"}),
            messages(refused));
  EXPECT_EQ(0, client->close());
  {
    testsupport::ScopedFakeHost fake;  // no name resolves
    client = utils::Socket::get_instance();
    EXPECT_EQ(-1, client->connect("mail.invalid", 25));
    EXPECT_EQ((Lines{"name:mail.invalid"}), fake.net.lookups);
  }
  EXPECT_EQ(0, client->close());
}
