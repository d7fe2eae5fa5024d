#include "PreferencesTestSupport.h"

#include <launcher/Preferences.h>
#include <utils/Log.h>
#include <utils/MachineStore.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <iostream>
#include <sstream>

namespace preferencestest {

std::string workDirectory(const testsupport::TempInstallation& installation) {
  const std::string work = installation.root() + "/bin";
  std::filesystem::create_directories(work);
  return work;
}

Settings readSettings(const testsupport::TempInstallation& installation) {
  testsupport::ChildResult result =
      testsupport::runChild("preferences_dump", {installation.storeRoot(), workDirectory(installation)});
  EXPECT_EQ(0, result.exitCode) << result.output;
  Settings settings;
  std::istringstream lines(result.output);
  std::string line;
  while (std::getline(lines, line)) {
    const std::string::size_type equals = line.find('=');
    if (equals != std::string::npos) settings.emplace(line.substr(0, equals), line.substr(equals + 1));
  }
  return settings;
}

void prepareFallbackRoute(const testsupport::TempInstallation& installation) {
  std::filesystem::create_directories(installation.root() + "/conf");
  std::filesystem::create_directories(installation.root() + "/Logs");
}

}  // namespace preferencestest

// One "name=value" line per getter; flags as true/false.
#define DUMP(getter) std::cout << #getter "=" << p.getter() << "\n";

NORVANE_CHILD(preferences_dump) {
  utils::MachineStore::setRoot(args[0]);
  std::filesystem::current_path(args[1]);
  const launcher::Preferences& p = *launcher::Preferences::get_instance();
  std::cout << std::boolalpha;
  DUMP(get_listening_port_backlog) DUMP(get_max_processing_threads_count) DUMP(get_session_timeout)
  DUMP(get_max_user_count) DUMP(get_event_max_response_time) DUMP(get_event_grouping_time_gap)
  DUMP(get_event_queue_size_threshold) DUMP(get_max_events_retrievable) DUMP(get_max_events_downloadable)
  DUMP(get_max_events_client_handle) DUMP(get_monitorlog_level) DUMP(get_perf_polling_duration)
  DUMP(get_time_sync_interval) DUMP(getInstallationType) DUMP(get_installation_oem_type)
  DUMP(getRepositoryCacheMode) DUMP(getRepositoryRetryCount) DUMP(getVolatileDataUpdateTime)
  DUMP(getDriveLocateTimeInterval) DUMP(getUserOptionToRetrieveEventList) DUMP(getBaseForDriveCapacityCalculation)
  DUMP(getProtocolValue) DUMP(getVirtualSGPIODisplayValue) DUMP(get_boot_event_count)
  DUMP(get_events_callback_at_once_vmware) DUMP(get_events_callback_at_once_count) DUMP(getLDAPPortNumber)
  DUMP(get_log_level) DUMP(get_log_file_cache_mode) DUMP(get_log_file_count) DUMP(get_log_file_size_in_mb)
  DUMP(getIPChangePollingInterval) DUMP(get_slp_find_service_interval) DUMP(get_enable_multicast)
  DUMP(get_statistics_mode) DUMP(get_bypass_authentication) DUMP(getLDAPMode) DUMP(getLDAPAccessMode)
  DUMP(get_listening_port) DUMP(get_client_port) DUMP(get_uri_prefix) DUMP(get_firmware_file_loc)
  DUMP(getPrivateIPRangeDetails) DUMP(getNATDetails) DUMP(getLDAPServer) DUMP(getLDAPProtocolVersion)
  DUMP(getLDAPBindingMode) DUMP(getLDAPDNDetails) DUMP(getFullAccessGroups) DUMP(getReadOnlyAccessGroups)
  DUMP(get_log_file_loc) DUMP(get_monitorlog_filepath) DUMP(getLocalePath) DUMP(getPluginPath)
  DUMP(getManagedServerPath) DUMP(get_alert_config_file) DUMP(get_default_alert_config_file)
  DUMP(get_event_code_loc) DUMP(get_event_spec_loc) DUMP(get_alert_param_loc) DUMP(getHealthSpecFile)
  DUMP(get_smtp_server_loc) DUMP(get_value_store_loc) DUMP(get_key_store_loc) DUMP(get_subject_name)
  std::cout << "get_event_spec_loc(de-DE)=" << p.get_event_spec_loc("de-DE") << "\n"
            << "get_alert_param_loc(de-DE)=" << p.get_alert_param_loc("de-DE") << "\n"
            << "getHealthSpecFile(de-DE)=" << p.getHealthSpecFile("de-DE") << "\n";
  std::cout.flush();
  utils::formatted_log_t::uninitializeLogger();
  return 0;
}
