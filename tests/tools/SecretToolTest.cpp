// The secret store through norvanectl when things go wrong: the tool killed at each
// file step of a re-key or a put, a full or read-only file system, processes racing,
// umask 000, FIFOs. After each, every secret must read back with its value and the
// exit codes must tell the truth. NORVANE_TORTURE=1 runs the full counts and prints
// the figures; without it a fast subset runs.
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iostream>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <launcher/NorvaneCrypto.h>
#include <utils/MachineStore.h>

#include "platform/Host.h"
#include "support/Immutable.h"
#include "support/ChildProcess.h"
#include "support/InteractiveProcess.h"
#include "support/TempInstallation.h"
#include "support/ToolRun.h"

using testsupport::readFile;
using testsupport::runTool;
using testsupport::shown;
using testsupport::ToolResult;
using testsupport::writeFile;

namespace {

using testsupport::setImmutable;

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

std::vector<std::string> syscalls() { return torture() ? std::vector<std::string>{"rename", "fsync", "openat", "write"}
                                                        : std::vector<std::string>{"rename"}; }

std::string secretText(int i, const std::string& version = "") {
  return R"({"values":[{"password":"pw)" + std::to_string(i) + version + R"("}]})";
}

// An installation with a key and `count` managed server secrets plus the SMTP file.
struct Store : testsupport::HomedInstallation {
  explicit Store(int count, bool now = true) : HomedInstallation("log_level = 4\n"), m_count(count) {
    if (now) populate();
  }
  void populate() const {
    EXPECT_EQ(0, ctl({"keys", "init"}).exitCode);
    std::filesystem::create_directories(servers());
    for (int i = 0; i < m_count; ++i) EXPECT_EQ(0, ctl({"secret", "put", server(i)}, secretText(i)).exitCode);
    EXPECT_EQ(0, ctl({"secret", "put", smtp()}, secretText(m_count)).exitCode);
  }
  std::string bin() const { return home() + "/bin"; }
  std::string servers() const { return bin() + "/managedservers"; }
  std::string server(int i) const { return servers() + "/user" + std::to_string(i); }
  std::string smtp() const { return bin() + "/smtpServer"; }
  std::string path(int i) const { return i < m_count ? server(i) : smtp(); }
  ToolResult ctl(std::vector<std::string> args, const std::string& input = "") const {
    return testsupport::runCtl(NORVANECTL_PATH, storeRoot(), args, input);
  }
  // norvanectl killed at the n-th call of `syscall`; exitCode -1 when it was.
  ToolResult killedAt(const std::string& syscall, int n, std::vector<std::string> args,
                      const std::string& input = "") const {
    std::vector<std::string> traced{"-f", "-qq", "-o", "/dev/null", "-e", "trace=" + syscall,
                                    "-e", "inject=" + syscall + ":signal=SIGKILL:when=" + std::to_string(n),
                                    NORVANECTL_PATH, "--store-root", storeRoot()};
    traced.insert(traced.end(), args.begin(), args.end());
    // LeakSanitizer cannot run under ptrace; the sanitizer build runs it elsewhere.
    const char* asan = std::getenv("ASAN_OPTIONS");
    return runTool("/usr/bin/strace", traced, input,
                   {{"ASAN_OPTIONS", std::string(asan != nullptr ? asan : "") + ":detect_leaks=0"}});
  }
  // Secrets that do not read back as `expected` (by default each one's first value),
  // read in one fresh process through the library, as norvanectl reads them.
  int lost(const std::vector<std::string>& expected = {}) const {
    std::vector<std::string> args{storeRoot()};
    for (int i = 0; i <= m_count; ++i) args.push_back(path(i));
    std::istringstream got(testsupport::runChild("read_secrets", args).output);
    int lost = 0;
    std::string line;
    for (int i = 0; i <= m_count; ++i) {
      const std::string want = i < static_cast<int>(expected.size()) ? expected[i] : secretText(i);
      lost += !std::getline(got, line) || line != want;
    }
    return lost;
  }
  int m_count;
};

// Kills `args` (input `input`) at each `every`-th call of each syscall in turn until a
// run completes; `lostAfterKill` counts the secrets lost after each kill and `afterRun`
// follows each completed run. Returns the kill points tried; adds the secrets lost.
int killAtEveryPoint(const Store& store, int every, const std::vector<std::string>& args, const std::string& input,
                     const std::function<int()>& lostAfterKill, const std::function<void(const ToolResult&)>& afterRun,
                     int& lost) {
  int points = 0;
  for (const std::string& syscall : syscalls()) {
    for (int n = 1;; n += every) {
      const ToolResult run = store.killedAt(syscall, n, args, input);
      if (run.exitCode != -1) {
        afterRun(run);
        break;
      }
      ++points;
      const int lostHere = lostAfterKill();
      EXPECT_EQ(0, lostHere) << "killed at " << syscall << " call " << n;
      lost += lostHere;
    }
  }
  return points;
}

void figure(const std::string& what, long value) {
  if (torture()) std::cout << "figure: " << what << " = " << value << std::endl;
}

std::string modeOf(const std::string& path) {
  struct stat info {};
  if (lstat(path.c_str(), &info) != 0) return "missing";
  char text[8];
  std::snprintf(text, sizeof text, "%04o", static_cast<unsigned>(info.st_mode & 07777));
  return text;
}

}  // namespace

TEST(SecretToolTest, ARekeyKilledAtAnyFileStepLosesNoSecret) {
  // The fast subset kills at every third rename, commit and roll-forward among them.
  Store store(torture() ? 50 : 2);
  int lost = 0;
  const int points = killAtEveryPoint(
      store, torture() ? 1 : 3, {"rekey"}, "", [&] { return store.lost(); },
      [](const ToolResult& run) { EXPECT_EQ(0, run.exitCode) << run.err; }, lost);
  EXPECT_LT(0, points);
  figure("re-key kill points tried", points);
  figure("re-key secrets lost", lost);

  int randomLost = 0;
  std::mt19937 random(42);
  const int runs = torture() ? 30 : 0;
  for (int run = 0; run < runs; ++run) {
    const std::string pidFile = store.root() + "/pid";
    std::thread rekey([&] { runTool("/bin/sh", {"-c", "echo $$ > " + pidFile + "; exec " NORVANECTL_PATH
                                                     " --store-root " + store.storeRoot() + " rekey"}); });
    std::this_thread::sleep_for(std::chrono::milliseconds(random() % 400));
    const std::string pid = readFile(pidFile);
    if (!pid.empty()) ::kill(std::stoi(pid), SIGKILL);
    rekey.join();
    randomLost += store.lost();
  }
  EXPECT_EQ(0, randomLost);
  figure("re-key random kills", runs);
  figure("re-key random kills, secrets lost", randomLost);
  EXPECT_EQ(0, store.ctl({"rekey"}).exitCode);
}

TEST(SecretToolTest, APutKilledAtAnyStepLeavesTheOldOrTheNewValue) {
  Store store(1);
  int lost = 0;
  const std::string newValue = secretText(0, "-new");
  // Killed before its rename the put left the old value, after it the new one.
  const int points = killAtEveryPoint(
      store, 1, {"secret", "put", store.server(0)}, newValue,
      [&] { return std::min(store.lost({secretText(0)}), store.lost({newValue})); },
      [&](const ToolResult&) { ASSERT_EQ(0, store.ctl({"secret", "put", store.server(0)}, secretText(0)).exitCode); },
      lost);
  figure("put kill points tried", points);
  figure("put secrets lost", lost);
}

TEST(SecretToolTest, AReadOnlyServerDirectoryFailsTheRekeyWithExitOneAndLosesNothing) {
  Store store(2);
  const bool root = geteuid() == 0;
  if (root ? !setImmutable(store.servers(), true) : chmod(store.servers().c_str(), 0555) != 0) {
    GTEST_SKIP() << "the file system of the test home cannot make a directory read-only for this user";
  }
  const ToolResult run = store.ctl({"rekey"});
  root ? setImmutable(store.servers(), false) : chmod(store.servers().c_str(), 0755);
  const std::string failed = " Problem during encrypt on rekey- \n sensitive data functionalities will not work as "
                             "expected. Exit!\n";
  EXPECT_EQ("1|" + failed + failed + " Encrypting SMTP Server List Success!\nrekey: 1 files re-keyed, 2 failed\n|"
            "norvanectl: not every file could be written: " +
                std::string(root ? "Operation not permitted" : "Permission denied") +
                "; every secret stays under the old key and the old store files\n",
            shown(run));
  EXPECT_EQ(0, store.lost());
}

TEST(SecretToolTest, AFullFileSystemFailsPutAndRekeyWithTheReasonAndLosesNothing) {
  if (geteuid() != 0) GTEST_SKIP() << "mounting a small tmpfs needs root";
  Store store(2, false);
  std::filesystem::create_directories(store.bin());
  ASSERT_EQ(0, mount("tmpfs", store.bin().c_str(), "tmpfs", 0, "size=64k,mode=0700")) << std::strerror(errno);
  struct Unmount {
    std::string at;
    ~Unmount() { umount2(at.c_str(), MNT_DETACH); }
  } unmount{store.bin()};
  store.populate();
  const int fd = open((store.bin() + "/filler").c_str(), O_WRONLY | O_CREAT, 0600);
  const std::string block(512, 'f');
  while (write(fd, block.data(), block.size()) > 0) {
  }
  close(fd);
  EXPECT_EQ("1||norvanectl: enciphering into " + store.server(0) + " failed: No space left on device\n",
            shown(store.ctl({"secret", "put", store.server(0)}, std::string(6000, 'x'))));
  EXPECT_EQ(1, store.ctl({"rekey"}).exitCode);
  EXPECT_EQ(0, store.lost());
}

TEST(SecretToolTest, PutsAndGetsDuringARekeyNeverSeeStaleOrHalfWork) {
  Store store(torture() ? 50 : 2);
  const int runs = torture() ? 40 : 2;
  int valuesLost = 0, getsFailed = 0;
  for (int run = 0; run < runs; ++run) {
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
  EXPECT_EQ(0, valuesLost);
  EXPECT_EQ(0, getsFailed);
  figure("race runs", runs);
  figure("race values lost", valuesLost + getsFailed);

  std::string reason;
  const auto held = platform::host().fileSystem().lockFile(store.bin() + "/secrets.lock.rekey", true, reason);
  ASSERT_TRUE(held) << reason;
  EXPECT_EQ("1||norvanectl: another re-key is running; this one changed nothing\n", shown(store.ctl({"rekey"})));
}

// A re-key that waits (here for a reader's hold on the store) shows how long it has
// run on a terminal, and clears the line before its report.
TEST(SecretToolTest, RekeyShowsItsProgressOnATerminal) {
  Store store(1);
  std::string reason;
  auto reading = platform::host().fileSystem().lockFile(store.bin() + "/secrets.lock", false, reason);
  ASSERT_TRUE(reading) << reason;
  testsupport::InteractiveProcess tool(NORVANECTL_PATH, {"--store-root", store.storeRoot(), "rekey"},
                                       testsupport::InteractiveProcess::kPseudoTerminal);
  EXPECT_TRUE(tool.waitFor("\rre-keying: 1 s", 5000)) << tool.output();
  reading.reset();
  ASSERT_EQ(0, tool.finish(30000)) << tool.output();
  EXPECT_NE(std::string::npos, tool.output().find("\r\033[K Encrypting Manage Server List Success!\r\n")) << tool.output();
  EXPECT_NE(std::string::npos, tool.output().find("rekey: 2 files re-keyed, 0 failed\r\n")) << tool.output();
}

TEST(SecretToolTest, ModesHoldAtUmaskZero) {
  const mode_t saved = umask(0);
  Store store(1);
  testsupport::TempInstallation fresh;
  std::filesystem::remove(fresh.home() + "/logs");  // set-home makes it
  const ToolResult setHome = runTool(NORVANECTL_PATH, {"--store-root", fresh.storeRoot(), "set-home", fresh.home()});
  umask(saved);
  std::string machineStore;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(fresh.storeRoot())) {
    machineStore += entry.path().filename().string() + " " + modeOf(entry.path()) + ";";
  }
  EXPECT_EQ("0700 0600 0600 0600 0600", modeOf(store.bin()) + " " + modeOf(store.bin() + "/key.store") + " " +
                                            modeOf(store.bin() + "/value.store") + " " + modeOf(store.server(0)) +
                                            " " + modeOf(store.smtp()));
  EXPECT_EQ(0, setHome.exitCode) << setHome.err;
  EXPECT_EQ("0755", modeOf(fresh.home() + "/logs"));
  EXPECT_EQ(std::string::npos, machineStore.find(" 0777")) << machineStore;
  EXPECT_EQ(std::string::npos, machineStore.find(" 0666")) << machineStore;
  figure("modes checked", 6 + std::count(machineStore.begin(), machineStore.end(), ';'));
}

TEST(SecretToolTest, FifosAreRefusedWithoutAHang) {
  Store store(1);
  std::filesystem::remove(store.server(0));
  ASSERT_EQ(0, mkfifo(store.server(0).c_str(), 0600));
  EXPECT_EQ("1||norvanectl: deciphering " + store.server(0) + " failed: not a regular file\n",
            shown(store.ctl({"secret", "get", store.server(0)})));
  EXPECT_EQ(1, store.ctl({"secret", "put", store.server(0)}, "x").exitCode);
  std::filesystem::remove(store.bin() + "/key.store");
  ASSERT_EQ(0, mkfifo((store.bin() + "/key.store").c_str(), 0600));
  EXPECT_EQ(1, store.ctl({"secret", "get", store.smtp()}).exitCode);
}

TEST(SecretToolTest, AlteredOrNonJsonSecretsAreNeverShown) {
  Store store(1);
  // A flipped bit in the second block alters the third block's text but not its padding.
  ASSERT_EQ(0, store.ctl({"secret", "put", store.server(0)}, std::string(40, 'a')).exitCode);
  std::string cipher = readFile(store.server(0));
  cipher[20] ^= 1;
  writeFile(store.server(0), cipher);
  EXPECT_EQ("1||norvanectl: " + store.server(0) +
                " does not pass its integrity test: it was altered or enciphered under other keys\n",
            shown(store.ctl({"secret", "get", store.server(0)})));

  ASSERT_EQ(0, store.ctl({"secret", "put", store.server(0)}, "hunter2 is no JSON").exitCode);
  EXPECT_EQ("1||norvanectl: re-keying stopped: a deciphered file holds no JSON document (the deciphered "
            "document does not scan at line 1, column 1); the store files were not changed\n",
            shown(store.ctl({"rekey"})));
}

// `check` reports `line` among its lines and exits with `exitCode` (-1: any).
void expectCheck(const Store& store, int exitCode, const std::string& line) {
  const ToolResult check = store.ctl({"check"});
  if (exitCode != -1) {
    EXPECT_EQ(exitCode, check.exitCode) << line;
  }
  EXPECT_NE(std::string::npos, check.out.find(line)) << check.out;
}

TEST(SecretToolTest, CheckReportsKeyTextAndAnInterruptedRekeyAndItsRecovery) {
  Store store(1);
  const std::string journal = store.bin() + "/rekey.journal";
  writeFile(journal, std::string("norvane re-key journal pending\n") + store.bin() + "/key.store" + '\0' +
                         store.bin() + "/value.store" + '\0' + store.server(0) + '\0');
  writeFile(store.servers() + "/.user0.rekey-new", "half");
  expectCheck(store, 1, "PROBLEM  re-key: an interrupted re-key is waiting for recovery (" + journal + ")\n");
  EXPECT_EQ(0, store.lost());
  expectCheck(store, -1, "ok       re-key: an interrupted re-key was recovered: undid a re-key that had not "
                        "committed: every secret stays under the old key\n");
  EXPECT_FALSE(std::filesystem::exists(store.servers() + "/.user0.rekey-new"));
  writeFile(store.servers() + "/zz-garbled", std::string(32, 'g'));
  expectCheck(store, 1, "PROBLEM  secrets: these stored secrets do not decipher: zz-garbled\n");
  writeFile(store.bin() + "/key.store", "not a key at all, but long enough!!!");
  expectCheck(store, 1, "PROBLEM  key store: " + store.bin() + "/key.store is not the UUID text that ");
}
