// The secret store's cross-process lock and the journal that makes a re-key all or
// nothing. Internal to the library.
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace platform {
class FileLock;
}

namespace launcher {

// Holds the store's lock (a 0600 file beside the store files) for one operation:
// exclusive for writes and re-keys, shared for reads. Calls nested in one thread take
// it once. Before it grants a hold it finishes a re-key that a dead process left
// behind. Where the lock file cannot be opened the operation runs without it, as it
// would on a store whose directory cannot be written either.
class SecretStoreGuard {
 public:
  enum Mode { kRead, kWrite };
  explicit SecretStoreGuard(Mode mode);
  ~SecretStoreGuard();
  SecretStoreGuard(const SecretStoreGuard&) = delete;
  SecretStoreGuard& operator=(const SecretStoreGuard&) = delete;

  // The lock file beside the given key store.
  static std::string lockPath(const std::string& keyStorePath);

 private:
  std::unique_ptr<platform::FileLock> m_lock;
  bool m_outermost;
};

// The names a re-key writes beside each file it replaces.
std::string stagedPath(const std::string& target);  // the new content
std::string backupPath(const std::string& target);  // a link to the old content

// The re-key journal beside the store files: the files a run replaces, the two store
// files first, and whether the run has committed.
class ReKeyJournal {
 public:
  explicit ReKeyJournal(const std::string& keyStorePath);
  const std::string& path() const { return m_path; }
  // Written before anything is staged: a crash from here on is rolled back.
  bool begin(const std::vector<std::string>& targets, std::string& reason);
  // The commit point: from here on a crash is rolled forward.
  bool commit(std::string& reason);
  // Removes the journal and everything staged and backed up: an abandoned run.
  void rollBack();
  // Puts the new store files in force and drops the backups.
  bool rollForward(std::string& reason);
  // Recovers what a dead process left: a description of what was done, "" when
  // nothing was pending. Needs the exclusive lock.
  std::string recover();
  bool pending() const;

 private:
  bool write(const char* state, std::string& reason);
  bool read(std::string& state);

  std::string m_path;
  std::vector<std::string> m_targets;
};

// What recovery last did, kept beside the store files for `norvanectl check`.
std::string recoveryNotePath(const std::string& keyStorePath);

}  // namespace launcher
