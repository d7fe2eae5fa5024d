// norvanectl keys, secret and rekey end to end: the built binary against a temporary
// installation, with secrets given through a pipe and through a pseudo-terminal.
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/InteractiveProcess.h"
#include "support/TempInstallation.h"
#include "support/ToolRun.h"

using testsupport::readFile;
using testsupport::shown;
using testsupport::writeFile;

namespace {

struct Installed : testsupport::HomedInstallation {
  Installed() : HomedInstallation("log_level = 255\nlog_cache_mode = 0\n") {}
  std::string bin() const { return home() + "/bin"; }
  std::string log() const { return readFile(home() + "/logs/norvanectl.txt"); }
  // norvanectl --store-root <store> ARGS, standard input from `input`.
  testsupport::ToolResult ctl(const std::vector<std::string>& args, const std::string& input = "") const {
    return testsupport::runCtl(NORVANECTL_PATH, storeRoot(), args, input);
  }
};

}  // namespace

TEST(NorvanectlSecretTest, KeysInitCreatesTheStoreFilesOnceAndShowsNoKey) {
  testsupport::TempInstallation bare;
  EXPECT_EQ("1||norvanectl: no home path is registered; run 'norvanectl set-home DIR' first\n",
            shown(testsupport::runCtl(NORVANECTL_PATH, bare.storeRoot(), {"keys", "init"}, "")));
  Installed installation;
  const std::string key = installation.bin() + "/key.store", value = installation.bin() + "/value.store";
  const testsupport::ToolResult first = installation.ctl({"keys", "init"});
  EXPECT_EQ("0|created directory " + installation.bin() + "\ncreated " + key + "\ncreated " + value +
                "\nwrote a new random key into " + key + " and " + value + "\n|",
            shown(first));
  const std::string keyText = readFile(key);
  EXPECT_EQ(std::string::npos, (first.out + installation.log()).find(keyText.substr(0, 8)));

  // A store file with a key is never touched again; an empty one is filled.
  std::filesystem::remove(value);
  EXPECT_EQ("1||norvanectl: " + key + " already holds a key; 'norvanectl rekey' replaces the store files\n",
            shown(installation.ctl({"keys", "init"})));
  EXPECT_EQ(keyText, readFile(key));
  EXPECT_FALSE(std::filesystem::exists(value));
  writeFile(key, "");
  EXPECT_EQ("0|created " + value + "\nwrote a new random key into " + key + " and " + value + "\n|",
            shown(installation.ctl({"keys", "init"})));
}

TEST(NorvanectlSecretTest, SecretPutThroughAPipeOrATerminalWithoutEchoAndGet) {
  Installed installation;
  ASSERT_EQ(0, installation.ctl({"keys", "init"}).exitCode);
  const std::string file = installation.bin() + "/mail", bin = installation.bin();
  EXPECT_EQ("0|stored the secret in " + file + " (32 bytes)\n|",
            shown(installation.ctl({"secret", "put", file}, "pw with_spaces\n")));
  EXPECT_EQ("0|pw with_spaces\n|", shown(installation.ctl({"secret", "get", file})));
  EXPECT_EQ(std::string::npos, installation.log().find("pw with_spaces"));

  testsupport::InteractiveProcess terminal(
      NORVANECTL_PATH, {"--store-root", installation.storeRoot(), "secret", "put", file},
      testsupport::InteractiveProcess::kPseudoTerminal);
  ASSERT_TRUE(terminal.waitFor("Secret: "));
  terminal.send("hunter2\n");
  EXPECT_EQ(0, terminal.finish());
  EXPECT_EQ("Secret: \r\nstored the secret in " + file + " (32 bytes)\r\n", terminal.output());
  EXPECT_EQ("0|hunter2\n|", shown(installation.ctl({"secret", "get", file})));

  writeFile(bin + "/empty", "");
  EXPECT_EQ("0|\n|norvanectl: " + bin + "/empty is empty: it holds no secret\n",
            shown(installation.ctl({"secret", "get", bin + "/empty"})));
  EXPECT_EQ("1||norvanectl: deciphering " + bin + "/none failed: No such file or directory\n",
            shown(installation.ctl({"secret", "get", bin + "/none"})));
  EXPECT_EQ("1||norvanectl: enciphering into " + bin + "/no/file failed: No such file or directory\n",
            shown(installation.ctl({"secret", "put", bin + "/no/file"}, "x")));
}

TEST(NorvanectlSecretTest, RekeyShowsItsProgressAndExitsByItsResult) {
  Installed installation;
  ASSERT_EQ(0, installation.ctl({"keys", "init"}).exitCode);
  const std::string bin = installation.bin(), server = bin + "/managedservers/alice", smtp = bin + "/smtpServer";
  std::filesystem::create_directories(bin + "/managedservers");
  ASSERT_EQ(0, installation.ctl({"secret", "put", server}, R"({"values":[1]})").exitCode);
  ASSERT_EQ(0, installation.ctl({"secret", "put", smtp}, R"({"values":[]})").exitCode);
  EXPECT_EQ("0| Encrypting Manage Server List Success!\n Encrypting SMTP Server List Success!\n"
            "rekey: 2 files re-keyed, 0 failed\n|",
            shown(installation.ctl({"rekey"})));

  const std::string stopped = "1| Decryption failed for SMTP server. Can not proceed with Rekey. Exit!\n|"
                              "norvanectl: re-keying stopped before the store files were changed; nothing was lost";
  writeFile(smtp, std::string(32, 'g'));
  EXPECT_EQ(stopped + "\n", shown(installation.ctl({"rekey"})));
  std::filesystem::remove(smtp);
  EXPECT_EQ(stopped + " (" + smtp + " is missing: an empty file stands for no mail server)\n",
            shown(installation.ctl({"rekey"})));
}
