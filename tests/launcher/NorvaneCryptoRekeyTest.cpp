// Re-keying end to end in the test installation: what every file holds afterwards,
// deciphered with the new store files, the console lines in order and the result.
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <json/Exception.h>
#include <utils/MachineStore.h>

#include <algorithm>
#include <iostream>

#include "json/JsonTestSupport.h"
#include "launcher/CryptoTestSupport.h"
#include "support/ChildProcess.h"

using namespace cryptotest;
using testsupport::readFile;
using testsupport::writeFile;

namespace {

// A JSON text as the library's writer gives it, so a file written back compares equal.
std::string canonical(const std::string& text) { return jsontest::write(jsontest::read(text)); }

void put(std::string path, std::string text) {
  int length = 0;
  ASSERT_NE(-1, crypto().encrypt_str_to_file(text, length, path)) << path;
}

// The resource of a file under the current store files; "<failed>" for -1.
std::string plain(std::string path) {
  std::string text;
  return crypto().decrypt_file_to_str(path, text) == -1 ? "<failed>" : text;
}

struct RekeyRun { int result; std::string console; };
RekeyRun rekey() {
  testing::internal::CaptureStdout();
  const int result = crypto().reKey();
  return {result, testing::internal::GetCapturedStdout()};
}

// Sets or clears the immutable flag, which even root cannot write through; false
// where the file system has no such flag.
bool setImmutable(const std::string& path, bool on) {
  const int fd = open(path.c_str(), O_RDONLY);
  if (fd < 0) return false;
  int flags = 0;
  bool done = ioctl(fd, FS_IOC_GETFLAGS, &flags) == 0;
  flags = on ? (flags | FS_IMMUTABLE_FL) : (flags & ~FS_IMMUTABLE_FL);
  done = done && ioctl(fd, FS_IOC_SETFLAGS, &flags) == 0;
  close(fd);
  return done;
}

// Every name in a directory, sorted, "." and ".." included.
std::vector<std::string> listing(const std::string& directory) {
  std::vector<std::string> names{".", ".."};
  for (const auto& entry : std::filesystem::directory_iterator(directory)) names.push_back(entry.path().filename());
  std::sort(names.begin(), names.end());
  return names;
}

const std::string kServer = R"({"values":[{"user":"admin","password":"pw1"}]})";
const std::string kSmtp = R"({"values":[{"server":"mail.example.com","password":"pw2"}]})";

}  // namespace

class RekeyTest : public CryptoTest {
 protected:
  void TearDown() override {
    if (!m_immutable.empty()) setImmutable(m_immutable, false);
    CryptoTest::TearDown();
  }
  std::string stores() { return readFile(keyStore()) + readFile(valueStore()); }
  std::string m_immutable;
};

TEST_F(RekeyTest, ReEnciphersEveryServerFileThatHoldsValuesAndTheSmtpFile) {
  put(managedServers() + "alice", kServer);
  put(managedServers() + "Dave", R"({"values":{"pw":"x"},"more":[1,2]})");
  writeFile(managedServers() + "b-empty", "");
  writeFile(managedServers() + "A-empty", "");
  put(managedServers() + "carol", R"({"other":1})");
  put(smtpFile(), kSmtp);
  std::filesystem::create_directories(managedServers() + "subdir");  // left out of the listing
  const std::string carol = readFile(managedServers() + "carol"), oldStores = stores();

  systemtest::LogMark mark;
  const RekeyRun run = rekey();
  EXPECT_EQ(1, run.result);
  EXPECT_EQ(" Not find the valid managed server data / file is empty for user A-empty\n"
            " Not find the valid managed server data / file is empty for user b-empty\n"
            " Not find the valid managed server data for user carol\n"
            " Encrypting Manage Server List Success!\n"
            " Encrypting Manage Server List Success!\n"
            " Encrypting SMTP Server List Success!\n",
            run.console);
  // New store files of 36 characters each, and every value under the new key.
  EXPECT_NE(oldStores, stores());
  EXPECT_EQ(72u, stores().size());
  EXPECT_EQ(canonical(kServer), plain(managedServers() + "alice"));
  EXPECT_EQ(canonical(R"({"values":{"pw":"x"},"more":[1,2]})"), plain(managedServers() + "Dave"));
  EXPECT_EQ(canonical(kSmtp), plain(smtpFile()));
  EXPECT_EQ("", readFile(managedServers() + "b-empty"));
  // Without "values" it is reported, yet carried over: a secret is never left behind.
  EXPECT_NE(carol, readFile(managedServers() + "carol"));
  EXPECT_EQ(canonical(R"({"other":1})"), plain(managedServers() + "carol"));
  EXPECT_EQ((std::vector<std::string>{".", "..", "key.store", "managedservers", "secrets.lock", "secrets.lock.rekey",
                                      "smtpServer", "value.store"}),
            listing(bin()));
  // Nothing staged or backed up is left behind.
  EXPECT_EQ((std::vector<std::string>{".", "..", "A-empty", "Dave", "alice", "b-empty", "carol", "subdir"}),
            listing(managedServers()));

  const std::string name = "launcher::NorvaneCrypto::reKey";
  std::vector<std::string> reports;
  for (const std::string& line : entries(mark)) {
    if (line.find("NorvaneCrypto:rekey") != std::string::npos || line.find("Encrypting Manage") != std::string::npos) {
      reports.push_back(line);
    }
  }
  EXPECT_EQ((std::vector<std::string>{
                "Debug: NorvaneCrypto:rekey - Get all sensitive data",
                "Debug: NorvaneCrypto:rekey - Decrypt - manage server list",
                "Error: NorvaneCrypto:rekey - Not find the valid managed server data / file is empty for user! " +
                    name + ". FileName = ",
                "Error: NorvaneCrypto:rekey - Not find the valid managed server data / file is empty for user! " +
                    name + ". FileName = ",
                "Error: NorvaneCrypto:rekey - Not find the valid managed server data for user carol - " + name,
                "Debug: NorvaneCrypto:rekey - Decrypt - SMTP servers",
                "Debug: NorvaneCrypto:rekey - Delete old store files and Generate new files",
                "Debug: NorvaneCrypto:rekey - Encrypt Managed Server list with new store files and write into a file",
                "Debug: Encrypting Manage Server List Success! " + name,
                "Debug: Encrypting Manage Server List Success! " + name,
                "Debug: NorvaneCrypto:rekey - Encrypt SMTP Server list with new store files and write into a file",
                "Debug: NorvaneCrypto:rekey - Encrypting SMTP Server List Success! " + name,
            }),
            reports);
}

TEST_F(RekeyTest, AFileThatDoesNotDecipherStopsTheRunBeforeAnythingChanges) {
  const struct { std::string name; std::string garbled; bool smtpMissing; std::string console; } rows[] = {
      {"server", "zzz", false, " Decryption failed for user zzz Can not proceed with Rekey. Exit!\n"},
      {"smtp", "", false, " Decryption failed for SMTP server. Can not proceed with Rekey. Exit!\n"},
      {"missing smtp", "", true, " Decryption failed for SMTP server. Can not proceed with Rekey. Exit!\n"},
  };
  for (const auto& row : rows) {
    SetUp();
    put(managedServers() + "alice", kServer);
    put(smtpFile(), kSmtp);
    if (!row.garbled.empty()) writeFile(managedServers() + row.garbled, std::string(32, 'g'));
    if (row.name == "smtp") writeFile(smtpFile(), std::string(48, 'g'));
    if (row.smtpMissing) std::filesystem::remove(smtpFile());
    const std::string before = stores() + readFile(managedServers() + "alice") + readFile(smtpFile());
    const RekeyRun run = rekey();
    EXPECT_EQ(0, run.result) << row.name;
    EXPECT_EQ(row.console, run.console) << row.name;
    EXPECT_EQ(before, stores() + readFile(managedServers() + "alice") + readFile(smtpFile())) << row.name;
  }
}

TEST_F(RekeyTest, AFailedIntegrityTestEndsTheRunInTheJsonReader) {
  // The checksum stays in front of the text, which then is no JSON.
  ASSERT_EQ("", commandOutput("printf '%s' '123_{\"values\":1}' | " + opensslArgs(key(), iv()) + " -out " +
                      managedServers() + "alice"));
  put(smtpFile(), kSmtp);
  const std::string before = stores();
  testing::internal::CaptureStdout();
  EXPECT_THROW(crypto().reKey(), json::Exception);
  EXPECT_EQ("", testing::internal::GetCapturedStdout());
  EXPECT_EQ(before, stores());
}

TEST_F(RekeyTest, EmptyOrValuelessFilesStillGetNewStoreFiles) {
  const struct { std::string name; bool smtpEmptyFile; std::string smtpText; std::string console, smtpAfter; } rows[] = {
      {"empty file", true, "",
       " Cannot find manage server files at path. Proceed with SMTP Server \n File is empty for SMTP server\n", ""},
      {"empty text", false, "",
       " Cannot find manage server files at path. Proceed with SMTP Server \n No AUTH-LOGIN details found\n"
       " Encrypting SMTP Server List Success!\n",
       canonical("{}")},
      {"no values", false, R"({"server":"mail"})",
       " Cannot find manage server files at path. Proceed with SMTP Server \n Not find the valid smtp server data \n"
       " Encrypting SMTP Server List Success!\n",
       canonical(R"({"server":"mail"})")},
  };
  for (const auto& row : rows) {
    SetUp();
    row.smtpEmptyFile ? writeFile(smtpFile(), "") : put(smtpFile(), row.smtpText);
    const std::string oldStores = stores();
    const RekeyRun run = rekey();
    EXPECT_EQ(1, run.result) << row.name;
    EXPECT_EQ(row.console, run.console) << row.name;
    EXPECT_NE(oldStores, stores()) << row.name;
    EXPECT_EQ(row.smtpAfter, row.smtpEmptyFile ? readFile(smtpFile()) : plain(smtpFile())) << row.name;
  }
}

TEST_F(RekeyTest, AFailedWriteIsReportedAndTheRunGoesOnWithResultOne) {
  put(managedServers() + "alice", kServer);
  put(managedServers() + "bob", kServer);
  put(smtpFile(), kSmtp);
  m_immutable = managedServers() + "alice";
  if (!setImmutable(m_immutable, true)) {
    m_immutable.clear();
    GTEST_SKIP() << "the file system of the test home has no immutable flag";
  }
  const std::string before = stores() + readFile(managedServers() + "bob") + readFile(smtpFile());
  const RekeyRun run = rekey();
  setImmutable(m_immutable, false);
  EXPECT_EQ(1, run.result);
  EXPECT_EQ(" Problem during encrypt on rekey- \n sensitive data functionalities will not work as expected. Exit!\n"
            " Encrypting Manage Server List Success!\n"
            " Encrypting SMTP Server List Success!\n",
            run.console);
  // Not committed: every file and both store files as they were.
  EXPECT_EQ(before, stores() + readFile(managedServers() + "bob") + readFile(smtpFile()));
  const launcher::NorvaneCrypto::ReKeyOutcome outcome = launcher::NorvaneCrypto::lastReKeyOutcome();
  EXPECT_EQ("0 2 1", std::to_string(outcome.committed) + " " + std::to_string(outcome.reKeyed) + " " +
                         std::to_string(outcome.failed));
  EXPECT_EQ((std::vector<std::string>{".", "..", "alice", "bob"}), listing(managedServers()));
}

namespace {

// A configuration without a home: the managed server directory as written there.
NORVANE_CHILD(rekey_with_directory_setting) {
  utils::MachineStore::setRoot(args.at(0));
  std::filesystem::current_path(args.at(1));
  const int result = crypto().reKey();
  std::cout << "result " << result << std::endl;
  return 0;
}

}  // namespace

TEST(RekeyDirectorySettingTest, AnEmptyPathOrOneWithoutFinalSlashStopsWithZero) {
  // Settings from the file are lower-cased, so the directory is named in lower case.
  const std::string root = "/tmp/norvane-rekey-" + std::to_string(getpid());
  const std::string servers = root + "/servers";
  const struct { std::string setting, console; } rows[] = {
      {"", " Managed Server File path is empty. Exit! \nresult 0\n"},
      {servers, " Decryption failed for user alice Can not proceed with Rekey. Exit!\nresult 0\n"},
  };
  for (const auto& row : rows) {
    std::filesystem::remove_all(root);
    std::filesystem::create_directories(servers);
    std::filesystem::create_directories(root + "/work");
    std::filesystem::create_directories(root + "/conf");
    std::filesystem::create_directories(root + "/store");
    writeFile(servers + "/alice", std::string(32, 'a'));
    writeFile(root + "/key.store", kKeyStoreText);
    writeFile(root + "/value.store", kValueStoreText);
    writeFile(root + "/conf/Norvane.conf", "log_level = 0\nMANAGED_SERVER_PATH = " + row.setting +
                                               "\nkey_store = " + root + "/key.store\nvalue_store = " + root +
                                               "/value.store\nsmtp_server = " + root + "/smtp\n");
    const testsupport::ChildResult result =
        testsupport::runChild("rekey_with_directory_setting", {root + "/store", root + "/work"});
    EXPECT_EQ(row.console, result.output) << row.setting;
    EXPECT_EQ(kKeyStoreText + kValueStoreText, readFile(root + "/key.store") + readFile(root + "/value.store"));
  }
  std::filesystem::remove_all(root);
}
