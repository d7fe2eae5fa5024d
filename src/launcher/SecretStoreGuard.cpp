// The secret store's lock and the re-key journal. A re-key stages every new file
// beside the old one, replaces the resource files while keeping links to the old
// ones, and commits by a journal record before it puts the new store files in force;
// whoever takes the lock next finishes or undoes a run that died half way.
#include "launcher/SecretStoreGuard.h"

#include <launcher/Preferences.h>
#include <utils/Log.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "platform/Host.h"

namespace launcher {
namespace {

thread_local int t_depth = 0;

const char kHeader[] = "norvane re-key journal ";
const char kPending[] = "pending";
const char kCommitted[] = "committed";
constexpr unsigned kOwnerOnly = 0600;

platform::FileSystem& files() { return platform::host().fileSystem(); }

std::string directoryOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? std::string(".") : path.substr(0, slash == 0 ? 1 : slash);
}

std::string besideWithSuffix(const std::string& target, const char* suffix) {
  const std::size_t slash = target.rfind('/');
  const std::size_t base = slash == std::string::npos ? 0 : slash + 1;
  return target.substr(0, base) + "." + target.substr(base) + suffix;
}

bool exists(const std::string& path) {
  std::error_code error;
  return std::filesystem::exists(std::filesystem::symlink_status(path, error));
}

void removeIfThere(const std::string& path) {
  std::error_code error;
  std::filesystem::remove(path, error);
}

std::unique_ptr<platform::FileLock> lockStore(const std::string& keyStore, bool exclusive) {
  std::string reason;
  return files().lockFile(SecretStoreGuard::lockPath(keyStore), exclusive, reason);
}

void recoverWithNote(ReKeyJournal& journal, const std::string& keyStore) {
  const std::string done = journal.recover();
  if (done.empty()) return;
  utils::log_warning("NorvaneCrypto:recover - %1%") % done;
  std::string reason;
  (void)files().writeWholeFile(recoveryNotePath(keyStore), done + "\n", kOwnerOnly, reason);
}

}  // namespace

std::string stagedPath(const std::string& target) { return besideWithSuffix(target, ".rekey-new"); }
std::string backupPath(const std::string& target) { return besideWithSuffix(target, ".rekey-old"); }
std::string recoveryNotePath(const std::string& keyStorePath) {
  return directoryOf(keyStorePath) + "/rekey.recovered";
}

std::string SecretStoreGuard::lockPath(const std::string& keyStorePath) {
  return directoryOf(keyStorePath) + "/secrets.lock";
}

SecretStoreGuard::SecretStoreGuard(Mode mode) : m_outermost(t_depth++ == 0) {
  if (!m_outermost) return;
  const std::string keyStore = Preferences::get_instance()->get_key_store_loc();
  m_lock = lockStore(keyStore, mode == kWrite);
  ReKeyJournal journal(keyStore);
  if (!journal.pending()) return;
  // Only a dead process leaves a journal behind a lock it no longer holds.
  if (mode == kRead) {
    m_lock.reset();
    m_lock = lockStore(keyStore, true);
  }
  recoverWithNote(journal, keyStore);
  if (mode == kRead) {
    m_lock.reset();
    m_lock = lockStore(keyStore, false);
  }
}

SecretStoreGuard::~SecretStoreGuard() { --t_depth; }

ReKeyJournal::ReKeyJournal(const std::string& keyStorePath)
    : m_path(directoryOf(keyStorePath) + "/rekey.journal") {}

bool ReKeyJournal::pending() const { return exists(m_path); }

bool ReKeyJournal::write(const char* state, std::string& reason) {
  std::string text = std::string(kHeader) + state + "\n";
  for (const std::string& target : m_targets) text += target + '\0';
  return files().writeWholeFile(m_path, text, kOwnerOnly, reason);
}

bool ReKeyJournal::read(std::string& state) {
  if (files().isSpecialFile(m_path)) return false;
  std::ifstream in(m_path, std::ios::binary);
  const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  const std::size_t end = text.find('\n');
  if (in.bad() || end == std::string::npos || text.compare(0, sizeof kHeader - 1, kHeader) != 0) return false;
  state = text.substr(sizeof kHeader - 1, end - (sizeof kHeader - 1));
  m_targets.clear();
  for (std::size_t start = end + 1, stop; (stop = text.find('\0', start)) != std::string::npos; start = stop + 1) {
    m_targets.push_back(text.substr(start, stop - start));
  }
  return m_targets.size() >= 2;
}

bool ReKeyJournal::begin(const std::vector<std::string>& targets, std::string& reason) {
  m_targets = targets;
  return write(kPending, reason);
}

bool ReKeyJournal::commit(std::string& reason) { return write(kCommitted, reason); }

void ReKeyJournal::rollBack() {
  for (std::size_t i = 0; i < m_targets.size(); ++i) {
    const std::string& target = m_targets[i];
    std::string reason;
    // A backup names the old content; where the swap never happened it is the
    // target itself, and the rename leaves both names in place.
    if (i >= 2 && exists(backupPath(target))) (void)files().replaceFile(backupPath(target), target, reason);
    removeIfThere(backupPath(target));
    removeIfThere(stagedPath(target));
  }
  removeIfThere(m_path);
}

bool ReKeyJournal::rollForward(std::string& reason) {
  // The two store files come first: a journal names at least them.
  for (std::size_t i = 0; i < 2; ++i) {
    const std::string& target = m_targets[i];
    if (exists(stagedPath(target)) && !files().replaceFile(stagedPath(target), target, reason)) return false;
  }
  for (const std::string& target : m_targets) removeIfThere(backupPath(target));
  removeIfThere(m_path);
  return true;
}

std::string ReKeyJournal::recover() {
  std::string state;
  if (!pending()) return "";
  if (!read(state)) return "the re-key journal " + m_path + " cannot be read; it was left in place";
  if (state == kCommitted) {
    std::string reason;
    if (rollForward(reason)) return "finished a re-key that had committed: every secret is under the new key";
    return "a re-key that had committed could not be finished (" + reason + "); it is tried again at the next use";
  }
  rollBack();
  return "undid a re-key that had not committed: every secret stays under the old key";
}

}  // namespace launcher
