// The settings the layers below launcher read, answered by Preferences: each member
// is the getter it names, with that getter's log statements.
#include <launcher/Preferences.h>

#include "settings/Settings.h"

namespace launcher {
namespace {

class PreferencesSettings final : public settings::Settings {
 public:
  unsigned int logLevel() const override { return preferences().get_log_level(); }
  unsigned int logCacheMode() const override { return preferences().get_log_file_cache_mode(); }
  std::string logFile() const override { return preferences().get_log_file_loc(); }
  unsigned int logFileCount() const override { return preferences().get_log_file_count(); }
  unsigned int logFileSizeInMb() const override { return preferences().get_log_file_size_in_mb(); }
  std::string uriPrefix() const override { return preferences().get_uri_prefix(); }
  unsigned int capacityBase() const override { return preferences().getBaseForDriveCapacityCalculation(); }
  bool ldapMode() const override { return preferences().getLDAPMode(); }
  std::string ldapServer() const override { return preferences().getLDAPServer(); }
  std::string ldapDnDetails() const override { return preferences().getLDAPDNDetails(); }
  std::string fullAccessGroups() const override { return preferences().getFullAccessGroups(); }
  std::string readOnlyAccessGroups() const override { return preferences().getReadOnlyAccessGroups(); }
  std::string privateIpRanges() const override { return preferences().getPrivateIPRangeDetails(); }

 private:
  // Built on first use, so the configuration file is read when it always was.
  static const Preferences& preferences() { return *Preferences::get_instance(); }
};

}  // namespace
}  // namespace launcher

namespace settings {

const Settings& installed() {
  // Never destroyed: the logger may start again while static objects are torn down at
  // process exit (the destructor of Preferences logs).
  static const Settings* const instance = new launcher::PreferencesSettings();
  return *instance;
}

}  // namespace settings
