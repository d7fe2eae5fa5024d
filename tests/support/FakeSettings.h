// Settings a test decides, in force for its scope, in place of the configuration file:
//
//   testsupport::ScopedFakeSettings settings;          // every default
//   settings.fullAccessGroups = "Staff";
//   settings.configure("ldap_mode = true\nldap_server = ldap1\n");  // read as the file is
//
// The log's members answer from the configuration file: a fake never moves or
// re-levels the process's log, whose start is per process.
#pragma once

#include <launcher/Preferences.h>
#include <utils/KeyValueParser.h>
#include <utils/StringHelper.h>

#include "support/TestPrelude.h"

#include "settings/Settings.h"
#include "support/TempInstallation.h"

namespace testsupport {

struct FakeSettings : settings::Settings {
  using P = launcher::Preferences;
  std::string uri = P::DEFAULT_URI_PREFIX;
  unsigned int base = P::DEFAULT_BASE_FOR_DRIVE_CAPACITY_CAL;
  bool ldap = P::DEFAULT_LDAP_MODE;
  std::string ldapServers = P::DEFAULT_LDAP_SERVER, dnDetails = P::DEFAULT_DN_DETAILS;
  std::string fullAccess = P::DEFAULT_FULL_ACCESS_GROUPS, readOnlyAccess = P::DEFAULT_READ_ONLY_ACCESS_GROUPS;
  std::string privateRanges = P::DEFAULT_PRIVATE_IP_KEY;

  // Takes the settings of a configuration text, split into keys and values by the
  // library's own reader, converted as Preferences converts them; keys the text
  // leaves out keep their values.
  void configure(const std::string& text) {
    TempInstallation scratch;
    writeFile(scratch.root() + "/settings.conf", text);
    const utils::KeyValueParser file(scratch.root() + "/settings.conf", "=");
    std::string baseText = std::to_string(base), ldapText = ldap ? "true" : "false";
    const std::pair<const char*, std::string*> fields[] = {
        {P::URI_PREFIX_KEY, &uri}, {P::BASE_FOR_DRIVE_CAPACITY_CAL, &baseText}, {P::LDAP_MODE_KEY, &ldapText},
        {P::LDAP_SERVER, &ldapServers}, {P::LDAP_DN_DETAILS, &dnDetails}, {P::FULL_ACCESS_GROUPS, &fullAccess},
        {P::READ_ONLY_ACCESS_GROUPS, &readOnlyAccess}, {P::PRIVATE_IP_KEY, &privateRanges}};
    for (const auto& [key, field] : fields) {
      try {
        *field = file.get_config_key_value(key);
      } catch (...) {  // a key the text leaves out
      }
    }
    utils::StringHelper::to_lower(uri);  // as Preferences reads these two
    utils::StringHelper::to_lower(ldapText);
    base = static_cast<unsigned int>(std::atoi(baseText.c_str()));
    ldap = ldapText == "true" || ldapText == "1";
  }

  unsigned int logLevel() const override { return settings::installed().logLevel(); }
  unsigned int logCacheMode() const override { return settings::installed().logCacheMode(); }
  std::string logFile() const override { return settings::installed().logFile(); }
  unsigned int logFileCount() const override { return settings::installed().logFileCount(); }
  unsigned int logFileSizeInMb() const override { return settings::installed().logFileSizeInMb(); }
  std::string uriPrefix() const override { return uri; }
  unsigned int capacityBase() const override { return base; }
  bool ldapMode() const override { return ldap; }
  std::string ldapServer() const override { return ldapServers; }
  std::string ldapDnDetails() const override { return dnDetails; }
  std::string fullAccessGroups() const override { return fullAccess; }
  std::string readOnlyAccessGroups() const override { return readOnlyAccess; }
  std::string privateIpRanges() const override { return privateRanges; }
};

class ScopedFakeSettings : public FakeSettings {
 public:
  ScopedFakeSettings() = default;
  explicit ScopedFakeSettings(const std::string& text) { configure(text); }

 private:
  settings::ScopedSettings m_scope{*this};
};

}  // namespace testsupport
