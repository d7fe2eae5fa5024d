// norvanectl keys, secret and rekey end to end: the built binary against a temporary
// installation, with secrets given through a pipe and through a pseudo-terminal.
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/TempInstallation.h"
#include "support/ToolRun.h"

using testsupport::readFile;
using testsupport::TempInstallation;
using testsupport::writeFile;

namespace {

using CtlRun = testsupport::ToolResult;
using testsupport::shown;

// norvanectl --store-root <store> ARGS, standard input from `input`.
CtlRun ctl(const TempInstallation& installation, const std::vector<std::string>& args, const std::string& input = "") {
  return testsupport::runCtl(NORVANECTL_PATH, installation.storeRoot(), args, input);
}

struct Installed : TempInstallation {
  Installed() {
    registerHome();
    writeConfig("log_level = 255\nlog_cache_mode = 0\n");
  }
  std::string bin() const { return home() + "/bin"; }
  std::string log() const { return readFile(home() + "/logs/norvane.txt"); }
};

// norvanectl secret put FILE on a pseudo-terminal: everything the terminal showed.
std::string putThroughTerminal(const Installed& installation, const std::string& file, const std::string& typed) {
  int master = -1;
  const pid_t pid = forkpty(&master, nullptr, nullptr, nullptr);
  if (pid < 0) return "<forkpty failed>";
  if (pid == 0) {
    execl(NORVANECTL_PATH, NORVANECTL_PATH, "--store-root", installation.storeRoot().c_str(), "secret", "put",
          file.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  std::string screen;
  bool sent = false;
  for (;;) {
    pollfd ready{master, POLLIN, 0};
    if (poll(&ready, 1, 10000) <= 0) break;
    char buffer[512];
    const ssize_t n = read(master, buffer, sizeof buffer);
    if (n <= 0) break;  // EIO once the program has ended
    screen.append(buffer, static_cast<std::size_t>(n));
    if (!sent && screen.find("Secret: ") != std::string::npos) {
      (void)!write(master, typed.data(), typed.size());
      sent = true;
    }
  }
  close(master);
  int status = 0;
  waitpid(pid, &status, 0);
  return screen + "|exit " + std::to_string(WIFEXITED(status) ? WEXITSTATUS(status) : -1);
}

}  // namespace

TEST(NorvanectlSecretTest, KeysInitCreatesTheStoreFilesOnceAndShowsNoKey) {
  Installed installation;
  const std::string key = installation.bin() + "/key.store", value = installation.bin() + "/value.store";
  const CtlRun first = ctl(installation, {"keys", "init"});
  EXPECT_EQ("0|created directory " + installation.bin() + "\ncreated " + key + "\ncreated " + value +
                "\nwrote a new random key into " + key + " and " + value + "\n|",
            shown(first));
  const std::string keyText = readFile(key), valueText = readFile(value);
  EXPECT_EQ(36u, keyText.size());
  EXPECT_EQ(36u, valueText.size());
  EXPECT_NE(keyText, valueText);
  for (const std::string& path : {key, value}) {
    struct stat info {};
    ASSERT_EQ(0, stat(path.c_str(), &info));
    EXPECT_EQ(0600u, info.st_mode & 07777) << path;
  }
  EXPECT_EQ(std::string::npos, (first.out + installation.log()).find(keyText.substr(0, 8)));

  // A store file with a key is never touched again; an empty one is filled.
  std::filesystem::remove(value);
  EXPECT_EQ("1||norvanectl: " + key + " already holds a key; 'norvanectl rekey' replaces the store files\n",
            shown(ctl(installation, {"keys", "init"})));
  EXPECT_EQ(keyText, readFile(key));
  EXPECT_FALSE(std::filesystem::exists(value));
  writeFile(key, "");
  EXPECT_EQ("0|created " + value + "\nwrote a new random key into " + key + " and " + value + "\n|",
            shown(ctl(installation, {"keys", "init"})));
  EXPECT_EQ(36u, readFile(key).size());
}

TEST(NorvanectlSecretTest, UsageAndMissingHome) {
  TempInstallation bare;
  EXPECT_EQ("1||norvanectl: no home path is registered; run 'norvanectl set-home DIR' first\n",
            shown(ctl(bare, {"keys", "init"})));
  const struct { std::vector<std::string> args; std::string message; } cases[] = {
      {{"keys"}, "keys needs the word init"},
      {{"keys", "reset"}, "keys needs the word init"},
      {{"secret", "put"}, "secret needs put FILE or get FILE"},
      {{"secret", "show", "x"}, "secret needs put FILE or get FILE"},
      {{"secret", "get", ""}, "FILE must not be empty"},
      {{"rekey", "now"}, "rekey takes no arguments"},
  };
  for (const auto& c : cases) {
    const CtlRun run = ctl(bare, c.args);
    EXPECT_EQ("2||norvanectl: " + c.message + "\n", shown(run).substr(0, c.message.size() + 16)) << c.message;
  }
  for (const std::string command : {"keys", "secret", "rekey"}) {
    const CtlRun help = ctl(bare, {command, "--help"});
    EXPECT_EQ(0, help.exitCode);
    EXPECT_EQ(0u, help.out.find("usage: norvanectl [--store-root DIR] " + command)) << help.out;
  }
}

TEST(NorvanectlSecretTest, SecretPutAndGetThroughAPipe) {
  Installed installation;
  ASSERT_EQ(0, ctl(installation, {"keys", "init"}).exitCode);
  const std::string file = installation.bin() + "/mail";
  EXPECT_EQ("0|stored the secret in " + file + " (32 bytes)\n|",
            shown(ctl(installation, {"secret", "put", file}, "pw with_spaces\n")));
  EXPECT_EQ("0|pw with_spaces\n|", shown(ctl(installation, {"secret", "get", file})));
  EXPECT_EQ(std::string::npos, installation.log().find("pw with_spaces"));

  writeFile(installation.bin() + "/empty", "");
  EXPECT_EQ("0|\n|norvanectl: " + installation.bin() + "/empty is empty: it holds no secret\n",
            shown(ctl(installation, {"secret", "get", installation.bin() + "/empty"})));
  EXPECT_EQ("1||norvanectl: deciphering " + installation.bin() + "/none failed (result -1; the log says why)\n",
            shown(ctl(installation, {"secret", "get", installation.bin() + "/none"})));
  EXPECT_EQ("1||norvanectl: enciphering into " + installation.bin() +
                "/no/file failed (result -1; the log says why)\n",
            shown(ctl(installation, {"secret", "put", installation.bin() + "/no/file"}, "x")));
}

TEST(NorvanectlSecretTest, SecretPutFromATerminalDoesNotEcho) {
  Installed installation;
  ASSERT_EQ(0, ctl(installation, {"keys", "init"}).exitCode);
  const std::string file = installation.bin() + "/mail";
  const std::string screen = putThroughTerminal(installation, file, "hunter2\n");
  EXPECT_EQ("Secret: \r\nstored the secret in " + file + " (32 bytes)\r\n|exit 0", screen);
  EXPECT_EQ("0|hunter2\n|", shown(ctl(installation, {"secret", "get", file})));
}

TEST(NorvanectlSecretTest, RekeyShowsItsProgressAndExitsByItsResult) {
  Installed installation;
  ASSERT_EQ(0, ctl(installation, {"keys", "init"}).exitCode);
  std::filesystem::create_directories(installation.bin() + "/managedservers");
  const std::string server = installation.bin() + "/managedservers/alice", smtp = installation.bin() + "/smtpServer";
  ASSERT_EQ(0, ctl(installation, {"secret", "put", server}, R"({"values":[1]})").exitCode);
  ASSERT_EQ(0, ctl(installation, {"secret", "put", smtp}, R"({"values":[]})").exitCode);
  const std::string stores = readFile(installation.bin() + "/key.store") + readFile(installation.bin() + "/value.store");

  EXPECT_EQ("0| Encrypting Manage Server List Success!\n Encrypting SMTP Server List Success!\n|",
            shown(ctl(installation, {"rekey"})));
  EXPECT_NE(stores, readFile(installation.bin() + "/key.store") + readFile(installation.bin() + "/value.store"));
  EXPECT_EQ(0u, ctl(installation, {"secret", "get", server}).out.find("{"));

  writeFile(smtp, std::string(32, 'g'));
  EXPECT_EQ("1| Decryption failed for SMTP server. Can not proceed with Rekey. Exit!\n|"
            "norvanectl: re-keying stopped before the store files were changed; nothing was lost\n",
            shown(ctl(installation, {"rekey"})));
  std::filesystem::remove(smtp);
  EXPECT_EQ("1| Decryption failed for SMTP server. Can not proceed with Rekey. Exit!\n|"
            "norvanectl: re-keying stopped before the store files were changed; nothing was lost (" + smtp +
                " is missing: an empty file stands for no mail server)\n",
            shown(ctl(installation, {"rekey"})));
}
