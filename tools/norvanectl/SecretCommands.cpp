// The secret store: creating the store files, storing and reading one secret, and
// re-keying. Only `secret get` ever prints a secret, because the operator asked for it.
#include <termios.h>
#include <unistd.h>

#include <json/Exception.h>
#include <launcher/NorvaneCrypto.h>
#include <launcher/Preferences.h>
#include <utils/Log.h>
#include <utils/System.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <mutex>
#include <thread>

#include "Command.h"

namespace norvanectl {
namespace {

namespace fs = std::filesystem;

launcher::NorvaneCrypto& store() { return *launcher::NorvaneCrypto::get_instance(); }

// The command's result after the log has been flushed.
int finish(int status) {
  utils::formatted_log_t::uninitializeLogger();
  return status;
}

bool homeRegistered(Invocation& call) {
  std::string home;
  if (utils::System::get_instance()->getNorvaneHomePath(home) == 0 && !home.empty()) return true;
  failure(call, "no home path is registered; run 'norvanectl set-home DIR' first");
  return false;
}

// Overwrites a string that held a secret before it is released.
void wipe(std::string& text) {
  volatile char* bytes = text.empty() ? nullptr : &text[0];
  for (std::size_t i = 0; i < text.size(); ++i) bytes[i] = 0;
  text.clear();
}

int runKeys(Invocation& call) {
  const Command& self = *findCommand("keys");
  if (call.args.size() != 1 || call.args[0] != "init") return usageError(call, self, "keys needs the word init");
  if (!homeRegistered(call)) return finish(kFailed);
  launcher::Preferences& preferences = *launcher::Preferences::get_instance();
  const std::string paths[] = {preferences.get_key_store_loc(), preferences.get_value_store_loc()};
  // Nothing is touched while either file holds a key: replacing one would make every
  // enciphered file unreadable. Re-keying is the way to new keys.
  for (const std::string& path : paths) {
    std::error_code error;
    if (fs::exists(path, error) && fs::file_size(path, error) != 0) {
      return finish(failure(call, path + " already holds a key; 'norvanectl rekey' replaces the store files"));
    }
  }
  for (const std::string& path : paths) {
    std::error_code error;
    const fs::path directory = fs::path(path).parent_path();
    if (!directory.empty() && !fs::exists(directory, error)) {
      fs::create_directories(directory, error);
      if (error) return finish(failure(call, "cannot create " + directory.string() + ": " + error.message()));
      call.out << "created directory " << directory.string() << "\n";
    }
    if (!fs::exists(path, error)) {
      std::ofstream create(path);
      if (!create) return finish(failure(call, "cannot create " + path));
      create.close();
      call.out << "created " << path << "\n";
    }
    // Only the service account may read the key material.
    fs::permissions(path, fs::perms::owner_read | fs::perms::owner_write, error);
    if (!error && !directory.empty()) fs::permissions(directory, fs::perms::owner_all, error);
    if (error) return finish(failure(call, "cannot restrict the rights of " + path + ": " + error.message()));
  }
  store().generateKeys();
  for (const std::string& path : paths) {
    std::error_code error;
    if (fs::file_size(path, error) != 36) return finish(failure(call, "no key could be written into " + path));
  }
  call.out << "wrote a new random key into " << paths[0] << " and " << paths[1] << "\n";
  return finish(kOk);
}

// The secret from standard input: one line read without echo from a terminal, or
// everything up to the end from a pipe, less one final line end.
bool readSecret(Invocation& call, std::string& secret) {
  if (isatty(STDIN_FILENO)) {
    termios saved{};
    const bool terminal = tcgetattr(STDIN_FILENO, &saved) == 0;
    if (terminal) {
      termios quiet = saved;
      quiet.c_lflag &= static_cast<tcflag_t>(~ECHO);
      quiet.c_lflag |= ECHONL;
      tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet);
    }
    call.err << "Secret: " << std::flush;
    const bool read = static_cast<bool>(std::getline(std::cin, secret));
    if (terminal) tcsetattr(STDIN_FILENO, TCSAFLUSH, &saved);
    return read;
  }
  secret.assign(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
  if (!secret.empty() && secret.back() == '\n') secret.pop_back();
  if (!secret.empty() && secret.back() == '\r') secret.pop_back();
  return true;
}

// The system's reason for the library's last failure, or where the log tells it.
std::string why() {
  const std::string reason = launcher::NorvaneCrypto::lastCallReport().fileError;
  return reason.empty() ? " (result -1; the log says why)" : ": " + reason;
}

int showSecret(Invocation& call, std::string& path) {
  std::string secret;
  const int result = store().decrypt_file_to_str(path, secret);
  // Text that fails its integrity test is altered or no secret at all: never shown.
  const bool intact = launcher::NorvaneCrypto::lastCallReport().integrityPassed;
  if (result != -1 && !intact) {
    wipe(secret);
    return failure(call, path + " does not pass its integrity test: it was altered or enciphered under other keys");
  }
  if (result == -1) return failure(call, "deciphering " + path + " failed" + why());
  if (result == 0) call.err << "norvanectl: " << path << " is empty: it holds no secret\n";
  call.out << secret << "\n";
  wipe(secret);
  return kOk;
}

int runSecret(Invocation& call) {
  const Command& self = *findCommand("secret");
  if (call.args.size() != 2 || (call.args[0] != "put" && call.args[0] != "get")) {
    return usageError(call, self, "secret needs put FILE or get FILE");
  }
  std::string path = call.args[1];
  if (path.empty()) return usageError(call, self, "FILE must not be empty");
  if (!homeRegistered(call)) return finish(kFailed);
  if (call.args[0] == "put") {
    std::string secret;
    if (!readSecret(call, secret)) return finish(failure(call, "no secret given on standard input"));
    int length = 0;
    const int result = store().encrypt_str_to_file(secret, length, path);
    wipe(secret);
    if (result == -1) return finish(failure(call, "enciphering into " + path + " failed" + why()));
    call.out << "stored the secret in " << path << " (" << result << " bytes)\n";
    return finish(kOk);
  }
  return finish(showSecret(call, path));
}

// "re-keying: N s" on a terminal, once a second after the first, until stopped. The
// line is cleared when it stops, so the run's own rows start on a clean line.
class Progress {
 public:
  explicit Progress(std::ostream& err) : m_err(err), m_shown(isatty(STDERR_FILENO) == 1) {
    if (m_shown) m_thread = std::thread([this] { run(); });
  }
  ~Progress() { stop(); }

  void stop() {
    if (!m_thread.joinable()) return;
    {
      std::lock_guard<std::mutex> hold(m_mutex);
      m_done = true;
    }
    m_wake.notify_all();
    m_thread.join();
    if (m_seconds > 0) m_err << "\r\033[K" << std::flush;
  }

 private:
  void run() {
    std::unique_lock<std::mutex> hold(m_mutex);
    while (!m_wake.wait_for(hold, std::chrono::seconds(1), [this] { return m_done; })) {
      m_err << "\rre-keying: " << ++m_seconds << " s" << std::flush;
    }
  }

  std::ostream& m_err;
  const bool m_shown;
  std::thread m_thread;
  std::mutex m_mutex;
  std::condition_variable m_wake;
  bool m_done = false;
  int m_seconds = 0;
};

// While alive, standard output passes through it: the re-key's first row ends the
// progress line, which would otherwise share the terminal line with it.
class ProgressEndingOutput : public std::streambuf {
 public:
  explicit ProgressEndingOutput(Progress& progress) : m_progress(progress), m_target(std::cout.rdbuf(this)) {}
  ~ProgressEndingOutput() override { std::cout.rdbuf(m_target); }

 protected:
  int_type overflow(int_type c) override {
    m_progress.stop();
    if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
    return m_target->sputc(traits_type::to_char_type(c));
  }
  std::streamsize xsputn(const char* text, std::streamsize length) override {
    m_progress.stop();
    return m_target->sputn(text, length);
  }
  int sync() override { return m_target->pubsync(); }

 private:
  Progress& m_progress;
  std::streambuf* m_target;
};

// The run's result as the operator needs it: 1 whenever a secret is not under the
// new key, though the library's defined result counts such a run as got through.
int reportReKey(Invocation& call, int result) {
  const launcher::NorvaneCrypto::ReKeyOutcome outcome = launcher::NorvaneCrypto::lastReKeyOutcome();
  if (outcome.busy) return failure(call, "another re-key is running; this one changed nothing");
  if (result == 1) {
    call.out << "rekey: " << outcome.reKeyed << " files re-keyed, " << outcome.failed << " failed\n";
    if (outcome.committed) return kOk;
    return failure(call, "not every file could be written" + why() +
                             "; every secret stays under the old key and the old store files");
  }
  std::string hint;
  std::error_code error;
  const std::string smtp = launcher::Preferences::get_instance()->get_smtp_server_loc();
  if (!fs::exists(smtp, error)) hint = " (" + smtp + " is missing: an empty file stands for no mail server)";
  return failure(call, "re-keying stopped before the store files were changed; nothing was lost" + hint);
}

int runRekey(Invocation& call) {
  const Command& self = *findCommand("rekey");
  if (!call.args.empty()) return usageError(call, self, "rekey takes no arguments");
  if (!homeRegistered(call)) return finish(kFailed);
  try {
    int result = 0;
    {
      // The run prints its own progress on standard output, line by line.
      Progress progress(call.err);
      ProgressEndingOutput rows(progress);
      result = store().reKey();
    }
    return finish(reportReKey(call, result));
  } catch (const json::Exception& error) {
    return finish(failure(call, std::string("re-keying stopped: a deciphered file holds no JSON document (") +
                                    error.what() + "); the store files were not changed"));
  }
}

}  // namespace
}  // namespace norvanectl

NORVANECTL_COMMANDS(secrets) {
  using norvanectl::Command;
  return {
      Command{"keys", "secrets", "create the two store files of the secret store", "keys init",
              "Creates <home>/bin (if needed) and the store files key.store and value.store\n"
              "there, empty and readable by their owner only (0600), then fills each with a\n"
              "new random key. Refuses (exit 1) when either file already holds a key, since\n"
              "replacing it would make every enciphered file unreadable: use 'rekey' for new\n"
              "keys. The keys themselves are never shown.\n",
              norvanectl::runKeys},
      Command{"secret", "secrets", "store a secret in an enciphered file, or show one", "secret put|get FILE",
              "put FILE  reads the secret from standard input (without echo on a terminal;\n"
              "          from a pipe everything, less one final line end) and enciphers it\n"
              "          into FILE, replacing what FILE held.\n"
              "get FILE  deciphers FILE and prints the secret on standard output.\n"
              "Both fail (exit 1) with the reason when the store gives result -1; get also\n"
              "fails, printing nothing, when the deciphered text does not pass its integrity\n"
              "test. Key and IV come from the store files and this host's network adapter\n"
              "address.\n",
              norvanectl::runSecret},
      Command{"rekey", "secrets", "replace the store files and encipher every secret again", "rekey",
              "Deciphers every managed server file and the SMTP server file, writes new\n"
              "store files and enciphers everything again, printing its progress as it goes\n"
              "and a summary at the end (files re-keyed, failed); on a terminal a line counts\n"
              "the seconds of a long run. All or nothing: the new key takes over only when\n"
              "every file was written; otherwise every secret stays under the old key.\n"
              "Exit 0 when the new key is in force; 1 when a file could not be written, when\n"
              "the run stopped before the store files were changed, or when another re-key\n"
              "is running.\n",
              norvanectl::runRekey},
  };
}
