// Re-keying: decipher every protected file into memory, make new store files,
// encipher everything again. Progress goes to the log and to standard output.
//
// The run holds the store's lock throughout and is all or nothing: new store files
// and new resource files are written beside the old ones, each resource file is
// swapped in with a link kept to its old content, and only when every file is in
// place does the journal commit and the new store files take over. A run that
// could not write every file, or a process that died before the commit, leaves
// every secret under the old key.
#include <launcher/NorvaneCrypto.h>

#include <json/Array.h>
#include <json/Object.h>
#include <json/TrivialType.h>
#include <json/UnknownElement.h>
#include <json/Writer.h>
#include <launcher/Preferences.h>
#include <utils/FileHelper.h>
#include <utils/FileSearch.h>
#include <utils/Log.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <memory>
#include <set>
#include <sstream>
#include <vector>

#include "launcher/ResourceFiles.h"
#include "launcher/SecretStoreGuard.h"
#include "platform/Host.h"

namespace launcher {
namespace {

const char kName[] = "launcher::NorvaneCrypto::reKey";
const char kWriteFailed[] =
    "NorvaneCrypto:rekey - Problem during encrypt on rekey- \n sensitive data functionalities will not work as "
    "expected. Exit! %1%";

// Per thread: a second re-key of another thread must not write into the first one's.
thread_local NorvaneCrypto::ReKeyOutcome g_outcome;

// One console line of progress: a line end and a flush behind every line.
void say(const std::string& text) { std::cout << text << std::endl; }

std::string writeObject(const json::Object& object) {
  std::ostringstream out;
  json::Writer::Write(object, out);
  return out.str();
}

struct ReKeyRun {
  std::string directory;
  std::string smtpPath;
  StoreFiles live;
  StoreFiles fresh;  // the new store files, beside the old ones until the commit
  bool managedServers = false;
  bool smtp = false;
  json::Array servers;
  json::Object smtpObject;
  // Files that decipher to nothing or hold no "values": not re-keyed by name, yet
  // carried over under the new key, as a secret the run cannot place is still a secret.
  std::vector<std::pair<std::string, std::string>> carried;
  bool journalOpen = false;
};

// Temporaries of a writer that died: none is a user's file, and none deciphers.
void dropAbandonedTemporaries(const std::string& directory, std::set<std::string>& names) {
  for (auto name = names.begin(); name != names.end();) {
    const bool temporary = name->size() > 12 && (*name)[0] == '.' && name->compare(name->size() - 11, 5, ".tmp-") == 0;
    if (!temporary) {
      ++name;
      continue;
    }
    std::error_code error;
    std::filesystem::remove(directory + *name, error);
    name = names.erase(name);
  }
}

// One managed server file into the run; false when it does not decipher.
bool gatherServer(NorvaneCrypto& crypto, ReKeyRun& run, const std::string& fileName) {
  // The directory path brings its own final "/".
  std::string path = run.directory + fileName;
  if (utils::FileHelper::getFileSize(path) == 0) {
    // The format has no place for the file name; it is fed all the same.
    utils::log_error(
        "NorvaneCrypto:rekey - Not find the valid managed server data / file is empty for user! %1%. "
        "FileName = ") % kName % fileName;
    say(" Not find the valid managed server data / file is empty for user " + fileName);
    return true;
  }
  std::string text;
  if (crypto.decrypt_file_to_str(path, text) == -1) {
    utils::log_error("NorvaneCrypto:rekey - Decryption failed for user %1%. Can not proceed with Rekey. Exit!") %
        fileName;
    say(" Decryption failed for user " + fileName + " Can not proceed with Rekey. Exit!");
    return false;
  }
  // An empty secret is still a secret: carried over silently, it stays readable.
  if (text.empty()) {
    run.carried.emplace_back(fileName, text);
    return true;
  }
  json::Object content = parseDeciphered(text);
  if (content.find("values") == content.end()) {
    utils::log_error("NorvaneCrypto:rekey - Not find the valid managed server data for user %2% - %1%") % kName %
        fileName;
    say(" Not find the valid managed server data for user " + fileName);
    run.carried.emplace_back(fileName, writeObject(content));
    return true;
  }
  json::Object server;
  server["fileName"] = json::String(fileName);
  server["fileContent"] = content;
  run.servers.insert(server);
  return true;
}

// Phase 1 for the managed server files; false when the run stops.
bool gatherServers(NorvaneCrypto& crypto, ReKeyRun& run) {
  std::set<std::string> fileNames;
  {
    std::unique_ptr<utils::FileSearch> search(new utils::FileSearch());
    search->getFileNames(run.directory, fileNames);
  }
  dropAbandonedTemporaries(run.directory, fileNames);
  if (fileNames.empty()) {
    utils::log_warning(
        "NorvaneCrypto:rekey - Cannot find manage server files at path. Proceed with SMTP Server %1%") % kName;
    say(" Cannot find manage server files at path. Proceed with SMTP Server ");
    return true;
  }
  run.managedServers = true;
  utils::log_debug("NorvaneCrypto:rekey - Decrypt - manage server list");
  for (const std::string& fileName : fileNames) {
    if (!gatherServer(crypto, run, fileName)) return false;
  }
  return true;
}

// Phase 1 for the SMTP server file; false when the run stops.
bool gatherSmtp(NorvaneCrypto& crypto, ReKeyRun& run) {
  utils::log_debug("NorvaneCrypto:rekey - Decrypt - SMTP servers");
  if (utils::FileHelper::getFileSize(run.smtpPath) == 0) {
    utils::log_debug("NorvaneCrypto:rekey - File is empty for SMTP server %1%") % kName;
    say(" File is empty for SMTP server");
    return true;
  }
  run.smtp = true;
  std::string text;
  if (crypto.decrypt_file_to_str(run.smtpPath, text) == -1) {
    utils::log_error("NorvaneCrypto:rekey - Decryption failed for SMTP server. Can not proceed with Rekey. Exit! %1%") %
        kName;
    say(" Decryption failed for SMTP server. Can not proceed with Rekey. Exit!");
    return false;
  }
  if (text.empty()) {
    utils::log_debug("NorvaneCrypto:rekey - No AUTH-LOGIN details found %1%") % kName;
    say(" No AUTH-LOGIN details found");
    return true;
  }
  run.smtpObject = parseDeciphered(text);
  if (run.smtpObject.find("values") == run.smtpObject.end()) {
    utils::log_error("NorvaneCrypto:rekey - Not find the valid smtp server data %1%") % kName;
    say(" Not find the valid smtp server data ");
  }
  return true;
}

// Phase 2: the journal names every file the run replaces, then the new store files
// are written beside the old ones.
void makeNewStoreFiles(NorvaneCrypto& crypto, ReKeyRun& run, ReKeyJournal& journal) {
  std::vector<std::string> targets{run.live.keyStore, run.live.valueStore};
  for (const json::UnknownElement& element : run.servers) {
    const json::Object& server = element;
    targets.push_back(run.directory + static_cast<const json::String&>(server["fileName"]).Value());
  }
  for (const auto& file : run.carried) targets.push_back(run.directory + file.first);
  if (run.smtp) targets.push_back(run.smtpPath);
  std::string reason;
  run.journalOpen = journal.begin(targets, reason);
  if (!run.journalOpen) callReport().fileError = reason;

  utils::log_debug("NorvaneCrypto:rekey - Delete old store files and Generate new files");
  crypto.generateStoreFile(run.fresh.keyStore, true);
  crypto.generateStoreFile(run.fresh.valueStore, true);
}

// Enciphers text under the new store files beside path and swaps it in, keeping a
// link to the old content until the run ends.
bool replaceResource(NorvaneCrypto& crypto, const ReKeyRun& run, std::string text, const std::string& path) {
  if (!run.journalOpen) return false;
  int length = 0;
  const std::string staged = stagedPath(path), backup = backupPath(path);
  if (encipherToFile(crypto, text, length, path, run.fresh, staged) == -1) return false;
  std::error_code error;
  std::filesystem::remove(backup, error);
  std::filesystem::create_hard_link(path, backup, error);
  std::string reason = error ? error.message() : std::string();
  if (error || !platform::host().fileSystem().replaceFile(staged, path, reason)) {
    callReport().fileError = reason;
    std::filesystem::remove(staged, error);
    return false;
  }
  return true;
}

void countWrite(bool written) { ++(written ? g_outcome.reKeyed : g_outcome.failed); }

// Phase 3: every file again under the new key; a failed write is reported and the
// run goes on, but it will not commit.
void writeBack(NorvaneCrypto& crypto, ReKeyRun& run) {
  if (run.managedServers) {
    utils::log_debug(
        "NorvaneCrypto:rekey - Encrypt Managed Server list with new store files and write into a file");
    for (const json::UnknownElement& element : run.servers) {
      const json::Object& server = element;
      const std::string& fileName = static_cast<const json::String&>(server["fileName"]).Value();
      const bool written = replaceResource(crypto, run, writeObject(server["fileContent"]), run.directory + fileName);
      countWrite(written);
      if (!written) {
        utils::log_error(kWriteFailed) % kName;
        say(" Problem during encrypt on rekey- \n sensitive data functionalities will not work as expected. Exit!");
      } else {
        utils::log_debug("Encrypting Manage Server List Success! %1%") % kName;
        say(" Encrypting Manage Server List Success!");
      }
    }
    for (const auto& file : run.carried) countWrite(replaceResource(crypto, run, file.second, run.directory + file.first));
  }
  if (run.smtp) {
    utils::log_debug("NorvaneCrypto:rekey - Encrypt SMTP Server list with new store files and write into a file");
    const bool written = replaceResource(crypto, run, writeObject(run.smtpObject), run.smtpPath);
    countWrite(written);
    if (!written) {
      utils::log_error(kWriteFailed) % kName;
      say(" Problem during encrypt on rekey- \n sensitive data functionalities will not work as expected. Exit!!");
    } else {
      utils::log_debug("NorvaneCrypto:rekey - Encrypting SMTP Server List Success! %1%") % kName;
      say(" Encrypting SMTP Server List Success!");
    }
  }
}

// After phase 3: the new key takes over only when every file was written.
void commitOrUndo(ReKeyRun& run, ReKeyJournal& journal) {
  std::string reason;
  if (run.journalOpen && g_outcome.failed == 0 && journal.commit(reason)) {
    g_outcome.committed = true;
    // A finished re-key supersedes what recovery once did.
    std::error_code error;
    std::filesystem::remove(recoveryNotePath(run.live.keyStore), error);
    // Past the commit a failure here is finished by whoever takes the lock next.
    if (!journal.rollForward(reason)) callReport().fileError = reason;
    return;
  }
  if (!reason.empty()) callReport().fileError = reason;
  journal.rollBack();
  std::error_code error;
  std::filesystem::remove(run.fresh.keyStore, error);
  std::filesystem::remove(run.fresh.valueStore, error);
}

// True when another re-key holds the store; `hold` then stays empty.
bool anotherReKeyRuns(const std::string& keyStore, std::unique_ptr<platform::FileLock>& hold) {
  std::string reason;
  hold = platform::host().fileSystem().lockFile(SecretStoreGuard::lockPath(keyStore) + ".rekey", true, reason, false);
  return !hold && reason == std::strerror(EWOULDBLOCK);
}

}  // namespace

NorvaneCrypto::ReKeyOutcome NorvaneCrypto::lastReKeyOutcome() { return g_outcome; }

int NorvaneCrypto::reKey() {
  utils::log_function_entry(kName);
  g_outcome = ReKeyOutcome();
  callReport() = CallReport();
  Preferences* preferences = Preferences::get_instance();
  // A second re-key waits for nothing: it leaves the store alone, and its caller says why.
  const std::string keyStore = preferences->get_key_store_loc();
  std::unique_ptr<platform::FileLock> onlyReKey;
  if (anotherReKeyRuns(keyStore, onlyReKey)) {
    g_outcome.busy = true;
    return 0;
  }
  SecretStoreGuard hold(SecretStoreGuard::kWrite);
  utils::log_debug("NorvaneCrypto:rekey - Get all sensitive data");

  // ---- gathering: nothing is changed until every file has been read ----
  ReKeyRun run;
  run.directory = preferences->getManagedServerPath();
  if (run.directory.empty()) {
    utils::log_error("NorvaneCrypto:rekey - Managed Server File path is empty. Exit! %1%") % kName;
    say(" Managed Server File path is empty. Exit! ");
    return 0;
  }
  run.smtpPath = preferences->get_smtp_server_loc();
  run.live = {keyStore, preferences->get_value_store_loc()};
  run.fresh = {stagedPath(run.live.keyStore), stagedPath(run.live.valueStore)};
  if (!gatherServers(*this, run) || !gatherSmtp(*this, run)) return 0;

  // ---- new store files, beside the old ones ----
  ReKeyJournal journal(run.live.keyStore);
  makeNewStoreFiles(*this, run, journal);
  // ---- writing back: a failed write is reported and the run goes on ----
  writeBack(*this, run);
  commitOrUndo(run, journal);
  return 1;
}

}  // namespace launcher
