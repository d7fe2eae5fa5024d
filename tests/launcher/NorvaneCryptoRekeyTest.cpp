// Re-keying end to end in the test installation: what every file holds afterwards,
// deciphered with the new store files, the console lines in order and the result.
#include "support/TestPrelude.h"

#include <json/Exception.h>
#include <utils/MachineStore.h>

#include "json/JsonTestSupport.h"
#include "launcher/CryptoTestSupport.h"
#include "platform/Host.h"
#include "support/ChildProcess.h"
#include "support/Immutable.h"

using namespace cryptotest;

namespace {

// A JSON text as the library's writer gives it, so a file written back compares equal.
std::string canonical(const std::string& text) { return jsontest::write(jsontest::read(text)); }

// Enciphers each text into its file: a managed server's by its name, "smtp" for the
// SMTP server file.
void put(const std::vector<std::pair<std::string, std::string>>& files) {
  for (auto [name, text] : files) {
    std::string path = name == "smtp" ? smtpFile() : managedServers() + name;
    int length = 0;
    ASSERT_NE(-1, crypto().encrypt_str_to_file(text, length, path)) << path;
  }
}

// The resource of a file (named as put() names it) under the current store files;
// "<failed>" for -1.
std::string plain(const std::string& name) {
  std::string text, path = name == "smtp" ? smtpFile() : managedServers() + name;
  return crypto().decrypt_file_to_str(path, text) == -1 ? "<failed>" : text;
}

// The result and the console lines of a run.
std::string rekey() {
  testing::internal::CaptureStdout();
  const int result = crypto().reKey();
  return std::to_string(result) + testing::internal::GetCapturedStdout();
}

// The names in a directory, sorted, each followed by a blank.
std::string listing(const std::string& directory) {
  return commandOutput("LC_ALL=C ls -A " + directory + " | tr '\\n' ' '");
}

std::string stores() { return readFile(keyStore()) + readFile(valueStore()); }

const std::string kServer = R"({"values":[{"user":"admin","password":"pw1"}]})";
const std::string kSmtp = R"({"values":[{"server":"mail.example.com","password":"pw2"}]})";

}  // namespace

// Files without "values" are reported, yet carried over: a secret is never left
// behind. Nothing staged or backed up is left, and a writer's abandoned temporary
// is dropped.
TEST_F(CryptoTest, ReKeyReEnciphersEveryServerFileThatHoldsValuesAndTheSmtpFile) {
  const std::string dave = R"({"values":{"pw":"x"},"more":[1,2]})", carolText = R"({"other":1})";
  // A dot alone makes no temporary.
  put({{"alice", kServer}, {"Dave", dave}, {".hidden-server", kServer}, {"carol", carolText}, {"erin", ""},
       {"smtp", kSmtp}});
  writeFile(managedServers() + "b-empty", "");
  writeFile(managedServers() + "A-empty", "");
  writeFile(managedServers() + ".alice.tmp-0a1b2c", std::string(32, 'g'));
  std::filesystem::create_directories(managedServers() + "subdir");  // left out of the listing
  const std::string oldStores = stores();
  systemtest::LogMark mark;
  EXPECT_EQ("1 Not find the valid managed server data / file is empty for user A-empty\n"
            " Not find the valid managed server data / file is empty for user b-empty\n"
            " Not find the valid managed server data for user carol\n Encrypting Manage Server List Success!\n"
            " Encrypting Manage Server List Success!\n Encrypting Manage Server List Success!\n"
            " Encrypting SMTP Server List Success!\n", rekey());
  EXPECT_TRUE(stores() != oldStores && stores().size() == 72) << stores();
  EXPECT_EQ(canonical(kServer) + canonical(dave) + canonical(kSmtp) + canonical(carolText) + canonical(kServer) + "|",
            plain("alice") + plain("Dave") + plain("smtp") + plain("carol") + plain("erin") + plain(".hidden-server") +
                "|" + readFile(managedServers() + "b-empty"));
  EXPECT_EQ("key.store managedservers secrets.lock secrets.lock.rekey smtpServer value.store |"
            ".hidden-server A-empty Dave alice b-empty carol erin subdir ",
            listing(bin()) + "|" + listing(managedServers()));
  const std::string empty = "Error: NorvaneCrypto:rekey - Not find the valid managed server data / file is empty "
                            "for user! launcher::NorvaneCrypto::reKey. FileName = \n";
  EXPECT_EQ(empty + empty + "Error: NorvaneCrypto:rekey - Not find the valid managed server data for user carol - "
                            "launcher::NorvaneCrypto::reKey\n",
            problems(mark));
}

// Each row: whether alice's file (and a garbled one) is there, the SMTP file ("<garbled>",
// "<missing>", "<empty file>" or the text put there), the result and the console. A
// file that does not decipher stops the run before anything changes; empty or valueless
// files still get new store files. A failed integrity test stops it in the JSON reader.
TEST_F(CryptoTest, ReKeyGoesOnOrStopsAsTheFilesDecide) {
  const std::string stopped = " Can not proceed with Rekey. Exit!\n",
                    none = " Cannot find manage server files at path. Proceed with SMTP Server \n";
  const struct { bool alice, garbled; std::string smtp, console; } rows[] = {
      {true, true, kSmtp, "0 Decryption failed for user zzz" + stopped},
      {true, false, "<garbled>", "0 Decryption failed for SMTP server." + stopped},
      {false, false, "<empty file>", "1" + none + " File is empty for SMTP server\n"},
      {false, false, "", "1" + none + " No AUTH-LOGIN details found\n Encrypting SMTP Server List Success!\n"},
      {false, false, R"({"server":"mail"})",
       "1" + none + " Not find the valid smtp server data \n Encrypting SMTP Server List Success!\n"},
  };
  for (const auto& row : rows) {
    SetUp();
    if (row.alice) put({{"alice", kServer}});
    if (row.garbled) writeFile(managedServers() + "zzz", std::string(32, 'g'));
    if (row.smtp[0] == '<') writeFile(smtpFile(), std::string(row.smtp == "<garbled>" ? 48 : 0, 'g'));
    if (row.smtp[0] != '<') put({{"smtp", row.smtp}});
    const std::string before = stores() + readFile(managedServers() + "alice") + readFile(smtpFile());
    EXPECT_EQ(row.console, rekey()) << row.smtp;
    const bool stops = row.console[0] == '0';  // and changes nothing; else the SMTP text is written back
    EXPECT_EQ(stops, before == stores() + readFile(managedServers() + "alice") + readFile(smtpFile())) << row.smtp;
    EXPECT_EQ(stops || row.smtp[0] == '<' ? "" : canonical(row.smtp.empty() ? "{}" : row.smtp),
              stops ? "" : row.smtp[0] == '<' ? readFile(smtpFile()) : plain("smtp")) << row.smtp;
  }
  // The checksum stays in front of the text, which then is no JSON.
  ASSERT_EQ("", commandOutput("printf '%s' '123_{\"values\":1}' | " + opensslArgs(key(), iv()) + " -out " +
                              managedServers() + "alice"));
  const std::string before = stores();
  EXPECT_THROW(crypto().reKey(), json::Exception);
  // Nor is the text quoted when it does not parse.
  put({{"alice", R"({"values":)"}});
  EXPECT_EQ("the deciphered document does not parse at line 1, column 10 @ 0/9/9 - 0/10/10",
            jsontest::errorOf([] { crypto().reKey(); }));
  EXPECT_EQ(before, stores());
}

// A failed write is reported and the run goes on with result 1, but does not commit:
// every file and both store files stay as they were.
TEST_F(CryptoTest, ReKeyWithAFailedWriteGoesOnAndCommitsNothing) {
  put({{"alice", kServer}, {"bob", kServer}, {"smtp", kSmtp}});
  const std::string before = stores() + readFile(managedServers() + "bob") + readFile(smtpFile());
  if (!testsupport::setImmutable(managedServers() + "alice", true)) GTEST_SKIP() << "the test home has no immutable flag";
  const std::string console = rekey();
  testsupport::setImmutable(managedServers() + "alice", false);
  EXPECT_EQ("1 Problem during encrypt on rekey- \n sensitive data functionalities will not work as expected. Exit!\n"
            " Encrypting Manage Server List Success!\n Encrypting SMTP Server List Success!\nalice bob " + before,
            console + listing(managedServers()) + stores() + readFile(managedServers() + "bob") + readFile(smtpFile()));
}

// A configuration without a home: the managed server directory as written there.
NORVANE_CHILD(rekey_with_directory_setting) {
  utils::MachineStore::setRoot(args.at(0));
  std::filesystem::current_path(args.at(1));
  const int result = crypto().reKey();  // before "result": its console lines come first
  std::cout << "result " << result << std::endl;
  return 0;
}

// Settings from the file are lower-cased, so the directory is named in lower case.
TEST(RekeyDirectorySettingTest, AnEmptyPathOrOneWithoutFinalSlashStopsWithZero) {
  const std::string root = "/tmp/norvane-rekey-" + std::to_string(getpid());
  for (const std::string& setting : {std::string(), root + "/servers"}) {
    std::filesystem::remove_all(root);
    for (const char* directory : {"/servers", "/work", "/conf", "/store"}) std::filesystem::create_directories(root + directory);
    writeFile(root + "/servers/alice", std::string(32, 'a'));
    writeFile(root + "/key.store", kKeyStoreText);
    writeFile(root + "/value.store", kValueStoreText);
    writeFile(root + "/conf/Norvane.conf", "log_level = 0\nMANAGED_SERVER_PATH = " + setting + "\nkey_store = " + root +
                                               "/key.store\nvalue_store = " + root + "/value.store\n");
    EXPECT_EQ((setting.empty() ? " Managed Server File path is empty. Exit! \n"
                               : " Decryption failed for user alice Can not proceed with Rekey. Exit!\n") +
                  std::string("result 0\n") + kKeyStoreText + kValueStoreText,
              testsupport::runChild("rekey_with_directory_setting", {root + "/store", root + "/work"}).output +
                  readFile(root + "/key.store") + readFile(root + "/value.store"));
  }
  std::filesystem::remove_all(root);
}

// A second re-key leaves the store alone and says nothing. Where the journal cannot
// be written nothing is re-keyed: each write is reported, the SMTP file's with its
// own line, and every secret stays under the old key.
TEST_F(CryptoTest, ReKeyWhileAnotherRunsOrWithoutAJournalChangesNothing) {
  put({{"alice", kServer}, {"smtp", kSmtp}});
  const std::string before = stores() + readFile(managedServers() + "alice") + readFile(smtpFile());
  std::string reason;
  {
    const auto other = platform::host().fileSystem().lockFile(bin() + "/secrets.lock.rekey", true, reason, false);
    ASSERT_NE(nullptr, other) << reason;
    EXPECT_EQ("0", rekey());
    EXPECT_TRUE(launcher::NorvaneCrypto::lastReKeyOutcome().busy);
  }
  // A lock that cannot be taken for another reason than a run holding it is done without.
  std::filesystem::remove(bin() + "/secrets.lock.rekey");
  std::filesystem::create_directories(bin() + "/secrets.lock.rekey/held");
  std::filesystem::create_directories(bin() + "/rekey.journal/held");
  const std::string failed = " Problem during encrypt on rekey- \n sensitive data functionalities will not work as "
                             "expected. Exit!";
  EXPECT_EQ("1" + failed + "\n" + failed + "!\n", rekey());
  EXPECT_EQ(before, stores() + readFile(managedServers() + "alice") + readFile(smtpFile()));
}

// The next user of the store finishes a re-key that died after its commit and undoes
// one that died before, or leaves a journal it cannot read in place; what it did is
// logged and noted beside the store files. Each row: whether a writer comes next, the
// journal, the staged key store's content ("" for none, "<dir>" for a directory), the
// note, and the key store and alice's file afterwards.
TEST_F(CryptoTest, TheNextUseOfTheStoreRecoversAReKeyThatDied) {
  const std::string journal = bin() + "/rekey.journal", alice = managedServers() + "alice";
  const std::string targets = keyStore() + '\0' + valueStore() + '\0' + alice + '\0';
  const std::string undone = "undid a re-key that had not committed: every secret stays under the old key",
                    done = "finished a re-key that had committed: every secret is under the new key",
                    unreadable = "the re-key journal " + journal + " cannot be read; it was left in place";
  const struct { bool writer; std::string journal, stagedKey, note, after; } rows[] = {
      {false, "pending\n" + targets, "new", undone, kKeyStoreText + "|old"},
      {true, "committed\n" + targets, "new", done, "new|new"},
      {false, "committed\n" + targets, "", done, kKeyStoreText + "|new"},
      {true, "committed\n" + targets, "<dir>",
       "a re-key that had committed could not be finished (Not a directory); it is tried again at the next use",
       kKeyStoreText + "|new"},
      {false, "pending", "new", unreadable, kKeyStoreText + "|new"},
      {true, "<fifo>", "new", unreadable, kKeyStoreText + "|new"},
  };
  for (const auto& row : rows) {
    SetUp();
    writeFile(alice, "new");
    writeFile(managedServers() + ".alice.rekey-old", "old");
    if (row.stagedKey == "<dir>") std::filesystem::create_directories(bin() + "/.key.store.rekey-new/held");
    if (row.stagedKey == "new") writeFile(bin() + "/.key.store.rekey-new", "new");
    if (row.journal != "<fifo>") writeFile(journal, "norvane re-key journal " + row.journal);
    ASSERT_TRUE(row.journal != "<fifo>" || mkfifo(journal.c_str(), 0600) == 0);
    systemtest::LogMark mark;
    row.writer ? crypto().generateStoreFile(bin() + "/other.store", true) : (void)iv();
    EXPECT_EQ("Warning: NorvaneCrypto:recover - " + row.note + "\n" + row.note + "\n",
              problems(mark) + readFile(bin() + "/rekey.recovered")) << row.journal;
    EXPECT_EQ(row.after + (row.note == unreadable || row.stagedKey == "<dir>" ? " kept" : ""),
              readFile(keyStore()) + "|" + readFile(alice) + (std::filesystem::exists(journal) ? " kept" : ""))
        << row.journal;
  }
}
