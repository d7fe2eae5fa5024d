// What code below launcher reads of the configuration: a narrow, read-only view of
// the settings. Preferences implements it for the process; tests put a replacement
// in force for a scope with ScopedSettings, as they replace the platform.
//
// Each member behaves as the Preferences getter it names, log statements included,
// so callers keep the log lines they always wrote. The log's four members and
// logFile() write no statement: the logger reads them while it starts.
#pragma once

#include <string>

namespace settings {

class Settings {
 public:
  virtual ~Settings() = default;

  // The log (get_log_level, get_log_file_cache_mode, get_log_file_loc,
  // get_log_file_count, get_log_file_size_in_mb).
  virtual unsigned int logLevel() const = 0;
  virtual unsigned int logCacheMode() const = 0;
  virtual std::string logFile() const = 0;
  virtual unsigned int logFileCount() const = 0;
  virtual unsigned int logFileSizeInMb() const = 0;

  // Conversions (get_uri_prefix, getBaseForDriveCapacityCalculation).
  virtual std::string uriPrefix() const = 0;
  virtual unsigned int capacityBase() const = 0;

  // LDAP logins (getLDAPMode, getLDAPServer, getLDAPDNDetails).
  virtual bool ldapMode() const = 0;
  virtual std::string ldapServer() const = 0;
  virtual std::string ldapDnDetails() const = 0;

  // Group access (getFullAccessGroups, getReadOnlyAccessGroups).
  virtual std::string fullAccessGroups() const = 0;
  virtual std::string readOnlyAccessGroups() const = 0;

  // Network identity (getPrivateIPRangeDetails).
  virtual std::string privateIpRanges() const = 0;
};

// The settings of this process: the configuration file's unless a ScopedSettings is
// in force.
const Settings& current();

// The configuration file's settings, whatever is in force. Defined by the layer that
// reads the file (Preferences), so this layer needs none of its headers.
const Settings& installed();

// Puts replacement settings in force until destroyed (tests only; not thread-safe
// against concurrent current() calls while being installed or removed).
class ScopedSettings {
 public:
  explicit ScopedSettings(const Settings& replacement);
  ~ScopedSettings();
  ScopedSettings(const ScopedSettings&) = delete;
  ScopedSettings& operator=(const ScopedSettings&) = delete;

 private:
  const Settings* m_previous;
};

}  // namespace settings
