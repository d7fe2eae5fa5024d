// keys, secret and rekey through the built norvanectl, also when things go wrong: the
// tool killed at each file step of a re-key or a put, a full or read-only file system,
// processes racing, umask 000, FIFOs. After each, every secret must read back with its
// value and the exit codes must tell the truth. NORVANE_TORTURE=1 runs the full counts
// and prints the figures; without it a fast subset runs.
#include "support/TestPrelude.h"
#include <sys/mount.h>

#include <launcher/NorvaneCrypto.h>
#include <utils/MachineStore.h>

#include "platform/Host.h"
#include "support/ChildProcess.h"
#include "support/Immutable.h"
#include "support/InteractiveProcess.h"
#include "support/TempInstallation.h"
#include "support/ToolRun.h"

using namespace testsupport;
namespace fs = std::filesystem;

namespace {

// One line per file: its text without blanks (re-keyed text comes back in the
// writer's layout), or "<failed>".
NORVANE_CHILD(read_secrets) {
  utils::MachineStore::setRoot(args.at(0));
  for (std::size_t i = 1; i < args.size(); ++i) {
    std::string path = args[i], text, compact;
    const bool read = launcher::NorvaneCrypto::get_instance()->decrypt_file_to_str(path, text) > 0 &&
                      launcher::NorvaneCrypto::lastCallReport().integrityPassed;
    for (char c : text) if (c != ' ' && c != '\t' && c != '\n') compact += c;
    std::cout << (read ? compact : "<failed>") << "\n";
  }
  return 0;
}

bool torture() { return std::getenv("NORVANE_TORTURE") != nullptr; }

std::string secretText(int i, const std::string& version = "") {
  return R"({"values":[{"password":"pw)" + std::to_string(i) + version + R"("}]})";
}

// An installation with a key and `count` managed server secrets plus the SMTP file.
struct Store : HomedInstallation {
  explicit Store(int count, bool now = true, const std::string& config = "log_level = 4\n")
      : HomedInstallation(config), m_count(count) {
    if (now) populate();
  }
  void populate() const {
    EXPECT_EQ(0, ctl({"keys", "init"}).exitCode);
    fs::create_directories(servers());
    for (int i = 0; i <= m_count; ++i) EXPECT_EQ(0, ctl({"secret", "put", path(i)}, secretText(i)).exitCode);
  }
  std::string bin() const { return home() + "/bin"; }
  std::string servers() const { return bin() + "/managedservers"; }
  std::string server(int i) const { return servers() + "/user" + std::to_string(i); }
  std::string smtp() const { return bin() + "/smtpServer"; }
  std::string path(int i) const { return i < m_count ? server(i) : smtp(); }
  ToolResult ctl(std::vector<std::string> args, const std::string& input = "") const {
    return runCtl(NORVANECTL_PATH, storeRoot(), args, input);
  }
  std::string shownCtl(std::vector<std::string> args, const std::string& in = "") const { return shown(ctl(args, in)); }
  // Secrets that do not read back as `expected` (by default each one's first value),
  // read in one fresh process through the library, as norvanectl reads them.
  int lost(const std::vector<std::string>& expected = {}) const {
    std::vector<std::string> args{storeRoot()};
    for (int i = 0; i <= m_count; ++i) args.push_back(path(i));
    std::istringstream got(runChild("read_secrets", args).output);
    int lost = 0;
    std::string line;
    for (int i = 0; i <= m_count; ++i)
      lost += !std::getline(got, line) || line != (i < int(expected.size()) ? expected[i] : secretText(i));
    return lost;
  }
  // Kills norvanectl `args` (`newValue` on its input) at each `every`-th call of each
  // syscall in turn, renames only in the fast subset, until a run completes. After each
  // kill every secret reads back as before or, for server 0, as `newValue`. Returns the
  // kill points tried; adds the secrets lost.
  int killAtEveryPoint(int every, const std::vector<std::string>& args, const std::string& newValue,
                       int& lostAll) const {
    const char* asan = std::getenv("ASAN_OPTIONS");
    int points = 0;
    for (const std::string syscall : {"rename", "fsync", "openat", "write"}) {
      for (int n = 1;; n += every, ++points) {
        std::vector<std::string> traced{"-f", "-qq", "-o", "/dev/null", "-e", "trace=" + syscall, "-e", "inject=" +
                                        syscall + ":signal=SIGKILL:when=" + std::to_string(n), NORVANECTL_PATH,
                                        "--store-root", storeRoot()};
        traced.insert(traced.end(), args.begin(), args.end());
        // LeakSanitizer cannot run under ptrace; the sanitizer build runs it elsewhere.
        const ToolResult run = runTool("/usr/bin/strace", traced, newValue,
                                       {{"ASAN_OPTIONS", std::string(asan ? asan : "") + ":detect_leaks=0"}});
        if (run.exitCode != -1) {
          EXPECT_EQ(0, run.exitCode) << run.err;
          EXPECT_EQ(0, ctl({"secret", "put", server(0)}, secretText(0)).exitCode);  // the next kills start over
          break;
        }
        const int lostHere = newValue.empty() ? lost() : std::min(lost(), lost({newValue}));
        EXPECT_EQ(0, lostHere) << "killed at " << syscall << " call " << n;
        lostAll += lostHere;
      }
      if (!torture()) break;
    }
    return points;
  }
  int m_count;
};

}  // namespace

// The store files and their directory are the service account's alone, whatever the
// umask; a store file with a key is never touched again, an empty one is filled.
TEST(SecretToolTest, KeysInitCreatesTheStoreFilesOnceAndShowsNoKey) {
  EXPECT_EQ("1||norvanectl: no home path is registered; run 'norvanectl set-home DIR' first\n",
            shown(runCtl(NORVANECTL_PATH, TempInstallation().storeRoot(), {"secret", "get", "x"})));
  Store store(0, false, "log_level = 255\nlog_cache_mode = 0\n");
  writeFile(store.bin(), "");
  EXPECT_EQ("1||norvanectl: cannot create " + store.bin() + "/key.store\n", store.shownCtl({"keys", "init"}));
  fs::remove(store.bin());
  fs::create_symlink("nowhere", store.bin());
  EXPECT_EQ("1||norvanectl: cannot create " + store.bin() + ": File exists\n", store.shownCtl({"keys", "init"}));
  fs::remove(store.bin());
  const std::string key = store.bin() + "/key.store", value = store.bin() + "/value.store";
  const std::string wrote = "wrote a new random key into " + key + " and " + value + "\n|";
  const mode_t saved = umask(0);
  const ToolResult first = store.ctl({"keys", "init"});
  EXPECT_EQ(0, store.ctl({"secret", "put", store.smtp()}, "{}").exitCode);
  umask(saved);
  EXPECT_EQ("0|created directory " + store.bin() + "\ncreated " + key + "\ncreated " + value + "\n" + wrote,
            shown(first));
  EXPECT_EQ("", commandOutput("find " + store.bin() + " -maxdepth 0 ! -perm 0700; find " + store.bin() +
                              " -mindepth 1 ! -perm 0600"));
  const std::string keyText = readFile(key);
  EXPECT_EQ(std::string::npos, (first.out + store.readHomeFile("logs/norvanectl.txt")).find(keyText.substr(0, 8)));
  fs::remove(value);
  EXPECT_EQ("1||norvanectl: " + key + " already holds a key; 'norvanectl rekey' replaces the store files\n",
            store.shownCtl({"keys", "init"}));
  EXPECT_TRUE(keyText == readFile(key) && !fs::exists(value));
  writeFile(key, "");
  EXPECT_EQ("0|created " + value + "\n" + wrote, store.shownCtl({"keys", "init"}));
}

// A secret comes through a pipe, or from a terminal without echo, and never reaches the
// log; one that fails its integrity test is never shown; a FIFO is refused at once.
TEST(SecretToolTest, SecretPutAndGet) {
  Store store(1, true, "log_level = 255\nlog_cache_mode = 0\n");
  const std::string bin = store.bin(), mail = bin + "/mail", user0 = store.server(0);
  EXPECT_EQ("0|stored the secret in " + mail + " (32 bytes)\n|",
            store.shownCtl({"secret", "put", mail}, "pw with_spaces\r\n"));
  EXPECT_EQ("0|pw with_spaces\n|", store.shownCtl({"secret", "get", mail}));
  EXPECT_EQ(std::string::npos, store.readHomeFile("logs/norvanectl.txt").find("pw with_spaces"));
  InteractiveProcess terminal(NORVANECTL_PATH, {"--store-root", store.storeRoot(), "secret", "put", mail});
  ASSERT_TRUE(terminal.waitFor("Secret: "));
  terminal.send("hunter2\n");
  EXPECT_EQ(0, terminal.finish());
  EXPECT_EQ("Secret: \r\nstored the secret in " + mail + " (32 bytes)\r\n", terminal.output());
  EXPECT_EQ("0|hunter2\n|", store.shownCtl({"secret", "get", mail}));
  InteractiveProcess nothing(NORVANECTL_PATH, {"--store-root", store.storeRoot(), "secret", "put", mail});
  ASSERT_TRUE(nothing.waitFor("Secret: "));
  nothing.endInput();
  EXPECT_EQ(1, nothing.finish());
  EXPECT_EQ("Secret: norvanectl: no secret given on standard input\r\n", nothing.output());
  // A flipped bit in the second block alters the third block's text but not its padding.
  ASSERT_EQ(0, store.ctl({"secret", "put", mail}, std::string(40, 'a')).exitCode);
  std::string cipher = readFile(mail);
  cipher[20] ^= 1;
  writeFile(mail, cipher);
  writeFile(bin + "/empty", "");
  fs::remove(user0);
  ASSERT_EQ(0, mkfifo(user0.c_str(), 0600));
  const struct { std::string verb, file, run; } rows[] = {
      {"get", mail, "1||norvanectl: " + mail + " does not pass its integrity test: it was altered or enciphered under "
                    "other keys\n"},
      {"get", bin + "/empty", "0|\n|norvanectl: " + bin + "/empty is empty: it holds no secret\n"},
      {"get", user0, "1||norvanectl: deciphering " + user0 + " failed: not a regular file\n"},
      {"put", user0, "1||norvanectl: enciphering into " + user0 + " failed: not a regular file\n"},
  };
  for (const auto& [verb, file, run] : rows) EXPECT_EQ(run, store.shownCtl({"secret", verb, file}, "x")) << verb;
}

// A re-key that cannot write every file changes nothing: each secret stays under the
// old key; a second re-key, a missing or garbled file or a secret that is no JSON stops
// it before the store files change.
TEST(SecretToolTest, RekeyExitsByItsResultAndFailsWithoutLoss) {
  Store store(2);
  EXPECT_EQ("0| Encrypting Manage Server List Success!\n Encrypting Manage Server List Success!\n Encrypting SMTP "
            "Server List Success!\nrekey: 3 files re-keyed, 0 failed\n|", store.shownCtl({"rekey"}));
  const bool root = geteuid() == 0;
  if (root ? setImmutable(store.servers(), true) : chmod(store.servers().c_str(), 0555) == 0) {
    const std::string run = store.shownCtl({"rekey"}), failed = " Problem during encrypt on rekey- \n sensitive data "
                                                                "functionalities will not work as expected. Exit!\n";
    root ? setImmutable(store.servers(), false) : chmod(store.servers().c_str(), 0755);
    EXPECT_EQ("1|" + failed + failed + " Encrypting SMTP Server List Success!\nrekey: 1 files re-keyed, 2 failed\n|"
              "norvanectl: not every file could be written: " +
                  (root ? "Operation not permitted" : "Permission denied") +
                  "; every secret stays under the old key and the old store files\n", run);
    EXPECT_EQ(0, store.lost());
  }
  std::string reason;
  auto held = platform::host().fileSystem().lockFile(store.bin() + "/secrets.lock.rekey", true, reason);
  ASSERT_TRUE(held) << reason;
  EXPECT_EQ("1||norvanectl: another re-key is running; this one changed nothing\n", store.shownCtl({"rekey"}));
  // One that waits (here for a reader's hold on the store) shows how long it has run on
  // a terminal, and clears the line before its report.
  held = platform::host().fileSystem().lockFile(store.bin() + "/secrets.lock", false, reason);
  ASSERT_TRUE(held) << reason;
  InteractiveProcess tool(NORVANECTL_PATH, {"--store-root", store.storeRoot(), "rekey"});
  EXPECT_TRUE(tool.waitFor("\rre-keying: 1 s", 5000)) << tool.output();
  held.reset();
  ASSERT_EQ(0, tool.finish(30000)) << tool.output();
  EXPECT_TRUE(tool.waitFor("\r\033[K Encrypting Manage Server List Success!\r\n", 0) &&
              tool.waitFor("rekey: 3 files re-keyed, 0 failed\r\n", 0)) << tool.output();
  const std::string stopped = "1| Decryption failed for SMTP server. Can not proceed with Rekey. Exit!\n|"
                              "norvanectl: re-keying stopped before the store files were changed; nothing was lost";
  writeFile(store.smtp(), std::string(32, 'g'));
  EXPECT_EQ(stopped + "\n", store.shownCtl({"rekey"}));
  fs::remove(store.smtp());
  EXPECT_EQ(stopped + " (" + store.smtp() + " is missing: an empty file stands for no mail server)\n",
            store.shownCtl({"rekey"}));
  ASSERT_EQ(0, store.ctl({"secret", "put", store.smtp()}, "{}").exitCode);
  ASSERT_EQ(0, store.ctl({"secret", "put", store.server(0)}, "hunter2 is no JSON").exitCode);
  EXPECT_EQ("1||norvanectl: re-keying stopped: a deciphered file holds no JSON document (the deciphered document "
            "does not scan at line 1, column 1); the store files were not changed\n", store.shownCtl({"rekey"}));
}

// Killed at any file step, a re-key loses no secret, and a put leaves the old or the new
// value (the fast subset kills the re-key at every third rename, commit and
// roll-forward among them); puts and gets racing a re-key never see stale or half work.
TEST(SecretToolTest, KillsAndRacesLoseNothing) {
  Store store(torture() ? 50 : 2);
  int lost = 0, putLost = 0, valuesLost = 0, getsFailed = 0;
  const int points = store.killAtEveryPoint(torture() ? 1 : 3, {"rekey"}, "", lost);
  const int putPoints = store.killAtEveryPoint(1, {"secret", "put", store.server(0)}, secretText(0, "-new"), putLost);
  EXPECT_LT(0, points);
  const int races = torture() ? 40 : 2;
  EXPECT_EQ(0, store.ctl({"rekey"}).exitCode) << "after the kills";
  for (int run = 0; run < races; ++run) {
    const std::string value = secretText(0, "-" + std::to_string(run));
    std::thread rekey([&] { store.ctl({"rekey"}); });
    std::thread reader([&] { getsFailed += store.ctl({"secret", "get", store.server(1)}).exitCode != 0; });
    std::this_thread::sleep_for(std::chrono::milliseconds(run * 20 % 200));
    const int put = store.ctl({"secret", "put", store.server(0)}, value).exitCode;
    rekey.join();
    reader.join();
    EXPECT_EQ(0, put);
    valuesLost += store.lost({value});
  }
  EXPECT_EQ(0, valuesLost + getsFailed) << getsFailed << " gets failed in races";
  if (torture()) {
    std::cout << "figure: re-key kill points tried = " << points << "\nfigure: re-key secrets lost = " << lost
              << "\nfigure: put kill points tried = " << putPoints << "\nfigure: put secrets lost = " << putLost
              << "\nfigure: race runs = " << races << "\nfigure: race values lost = " << valuesLost + getsFailed
              << std::endl;
  }
}

TEST(SecretToolTest, AFullFileSystemFailsPutAndRekeyWithTheReasonAndLosesNothing) {
  if (geteuid() != 0) GTEST_SKIP() << "mounting a small tmpfs needs root";
  Store store(2, false);
  fs::create_directories(store.bin());
  ASSERT_EQ(0, mount("tmpfs", store.bin().c_str(), "tmpfs", 0, "size=64k,mode=0700")) << std::strerror(errno);
  struct Unmount { std::string at; ~Unmount() { umount2(at.c_str(), MNT_DETACH); } };
  const Unmount unmount{store.bin()};
  store.populate();
  commandOutput("cat /dev/zero >" + store.bin() + "/filler 2>/dev/null");
  EXPECT_EQ("1||norvanectl: enciphering into " + store.server(0) + " failed: No space left on device\n",
            store.shownCtl({"secret", "put", store.server(0)}, std::string(6000, 'x')));
  EXPECT_EQ(1, store.ctl({"rekey"}).exitCode);
  EXPECT_EQ(0, store.lost());
}

TEST(SecretToolTest, CheckReportsKeyTextAndAnInterruptedRekeyAndItsRecovery) {
  Store store(1);
  const std::string journal = store.bin() + "/rekey.journal";
  writeFile(journal, "norvane re-key journal pending\n" + store.bin() + "/key.store" + '\0' + store.bin() +
                         "/value.store" + '\0' + store.server(0) + '\0');
  writeFile(store.servers() + "/.user0.rekey-new", "half");
  const auto expectCheck = [&](const std::string& line) {
    const std::string check = store.shownCtl({"check"});
    EXPECT_NE(std::string::npos, check.find(line)) << line << "\n" << check;
  };
  expectCheck("PROBLEM  re-key: an interrupted re-key is waiting for recovery (" + journal + ")\n");
  EXPECT_EQ(0, store.lost());
  expectCheck("ok       re-key: an interrupted re-key was recovered: undid a re-key that had not committed: "
                  "every secret stays under the old key\n");
  EXPECT_FALSE(fs::exists(store.servers() + "/.user0.rekey-new"));
  // Only regular files that hold something count; hidden ones are the store's own.
  for (const char* name : {"zz-garbled", "zz-other", ".hidden"}) writeFile(store.servers() + "/" + name, "gg");
  writeFile(store.servers() + "/empty", "");
  fs::create_directory(store.servers() + "/sub");
  expectCheck("PROBLEM  secrets: these stored secrets do not decipher: zz-garbled, zz-other\n");
}
