// Commands on the configuration file: generate it, show the settings in force.
#include <launcher/Preferences.h>
#include <utils/AppException.h>
#include <utils/KeyValueParser.h>
#include <utils/Log.h>
#include <utils/System.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <system_error>

#include "Command.h"
#include "FileProbe.h"
#include "Installation.h"

namespace norvanectl {
namespace {

using launcher::Preferences;

struct Setting {
  const char* key;
  std::function<std::string(const Preferences&)> read;
};

std::string number(unsigned long long value) { return std::to_string(value); }
std::string flag(bool value) { return value ? "true" : "false"; }

// Every setting, in the order of the generated file, then the one it leaves out.
const std::vector<Setting>& settings() {
  using P = Preferences;
  static const std::vector<Setting> table = {
      {P::SUB_NAME_KEY, [](const P& p) { return p.get_subject_name(); }},
      {P::LISTENING_PORT_KEY, [](const P& p) { return p.get_listening_port(); }},
      {P::LISTENING_PORT_BACKLOG_KEY, [](const P& p) { return number(p.get_listening_port_backlog()); }},
      {P::CLIENT_LISTENING_PORT_KEY, [](const P& p) { return p.get_client_port(); }},
      {P::REQUEST_MAX_THREAD_COUNT_KEY, [](const P& p) { return number(p.get_max_processing_threads_count()); }},
      {P::URI_PREFIX_KEY, [](const P& p) { return p.get_uri_prefix(); }},
      {P::SESSION_TIMEOUT_KEY, [](const P& p) { return number(p.get_session_timeout()); }},
      {P::MAX_USER_COUNT_KEY, [](const P& p) { return number(p.get_max_user_count()); }},
      {P::EVENT_MAX_RESPONSE_TIME_KEY, [](const P& p) { return number(p.get_event_max_response_time()); }},
      {P::EVENT_GROUPING_TIME_GAP_KEY, [](const P& p) { return number(p.get_event_grouping_time_gap()); }},
      {P::EVENT_QUEUE_SIZE_THRESHOLD_KEY, [](const P& p) { return number(p.get_event_queue_size_threshold()); }},
      {P::STATISTICS_MODE_KEY, [](const P& p) { return flag(p.get_statistics_mode()); }},
      {P::ALERT_CONFIG_FILE_KEY, [](const P& p) { return p.get_alert_config_file(); }},
      {P::HEALTH_SPEC_FILE_KEY, [](const P& p) { return p.getHealthSpecFile(); }},
      {P::ALERT_PARAM_LOC_FILE_KEY, [](const P& p) { return p.get_alert_param_loc(); }},
      {P::EVENT_SPEC_LOC_FILE_KEY, [](const P& p) { return p.get_event_spec_loc(); }},
      {P::EVENT_CODE_LOC_FILE_KEY, [](const P& p) { return p.get_event_code_loc(); }},
      {P::KEY_STORE_FILE_KEY, [](const P& p) { return p.get_key_store_loc(); }},
      {P::VALUE_STORE_FILE_KEY, [](const P& p) { return p.get_value_store_loc(); }},
      {P::SMTP_FILE_KEY, [](const P& p) { return p.get_smtp_server_loc(); }},
      {P::NUM_EVENTS_CAN_RETRIEVE_KEY, [](const P& p) { return number(p.get_max_events_retrievable()); }},
      {P::LOG_LEVEL_KEY, [](const P& p) { return number(p.get_log_level()); }},
      {P::LOG_CACHE_MODE_KEY, [](const P& p) { return number(p.get_log_file_cache_mode()); }},
      {P::LOG_FILE_KEY, [](const P& p) { return p.get_log_file_loc(); }},
      {P::PLUGIN_PATH_FILE_KEY, [](const P& p) { return p.getPluginPath(); }},
      {P::MAX_EVENTS_CLIENT_HANDLE_KEY, [](const P& p) { return number(p.get_max_events_client_handle()); }},
      {P::MONITOR_LOG_FILE_PATH_KEY, [](const P& p) { return p.get_monitorlog_filepath(); }},
      {P::MONITOR_LOG_LEVEL_KEY, [](const P& p) { return number(p.get_monitorlog_level()); }},
      {P::PERF_POLLING_DURATION_KEY, [](const P& p) { return number(p.get_perf_polling_duration()); }},
      {P::FW_FLASH_DIR_KEY, [](const P& p) { return p.get_firmware_file_loc(); }},
      {P::LDAP_MODE_KEY, [](const P& p) { return flag(p.getLDAPMode()); }},
      {P::LDAP_SERVER, [](const P& p) { return p.getLDAPServer(); }},
      {P::LDAP_PROTOCOL_VERSION, [](const P& p) { return p.getLDAPProtocolVersion(); }},
      {P::LDAP_BINDING_MODE, [](const P& p) { return p.getLDAPBindingMode(); }},
      {P::LDAP_DN_DETAILS, [](const P& p) { return p.getLDAPDNDetails(); }},
      {P::LDAP_PORT_DETAILS, [](const P& p) { return number(p.getLDAPPortNumber()); }},
      {P::NAT_IPV4_IPV6_KEY, [](const P& p) { return p.getNATDetails(); }},
      {P::LDAP_ACCESS_MODE_KEY, [](const P& p) { return flag(p.getLDAPAccessMode()); }},
      {P::MANAGED_SERVER_FILE_KEY, [](const P& p) { return p.getManagedServerPath(); }},
      {P::INSTALLATION_TYPE_KEY, [](const P& p) { return number(p.getInstallationType()); }},
      {P::REPOSITORY_CACHE_MODE, [](const P& p) { return number(p.getRepositoryCacheMode()); }},
      {P::SLP_FIND_INT_KEY, [](const P& p) { return number(p.get_slp_find_service_interval()); }},
      {P::MULTICAST_STATE_KEY, [](const P& p) { return number(p.get_enable_multicast()); }},
      {P::MAX_EVENTS_DOWNLOAD_KEY, [](const P& p) { return number(p.get_max_events_downloadable()); }},
      {P::TIME_SYNC_INTERVAL_KEY, [](const P& p) { return number(p.get_time_sync_interval()); }},
      {P::PRIVATE_IP_KEY, [](const P& p) { return p.getPrivateIPRangeDetails(); }},
      {P::IP_POLLING_INT_KEY, [](const P& p) { return number(p.getIPChangePollingInterval()); }},
      {P::VOLATILE_DATA_UPDATE_TIME, [](const P& p) { return number(p.getVolatileDataUpdateTime()); }},
      {P::DRIVES_LOCATE_TIME, [](const P& p) { return number(p.getDriveLocateTimeInterval()); }},
      {P::LOGFILE_COUNT_KEY, [](const P& p) { return number(p.get_log_file_count()); }},
      {P::LOGFILE_SIZE_IN_MB_KEY, [](const P& p) { return number(p.get_log_file_size_in_mb()); }},
      {P::BYPASS_AUTHENTICATION_KEY, [](const P& p) { return flag(p.get_bypass_authentication()); }},
      {P::RETRIEVE_RANGE_EVENT_SINCE, [](const P& p) { return number(p.getUserOptionToRetrieveEventList()); }},
      {P::LOCALE_KEY, [](const P& p) { return number(p.get_installation_oem_type()); }},
      {P::BASE_FOR_DRIVE_CAPACITY_CAL, [](const P& p) { return number(p.getBaseForDriveCapacityCalculation()); }},
      {P::PROTOCOL_VALUE_KEY, [](const P& p) { return number(p.getProtocolValue()); }},
      {P::SGPIO_DISPLAY_VALUE_KEY, [](const P& p) { return number(p.getVirtualSGPIODisplayValue()); }},
      {P::RETRIEVE_BOOT_EVENT_COUNT_KEY, [](const P& p) { return number(p.get_boot_event_count()); }},
      {P::EVENTS_CALLBACK_AT_ONCE_VMWARE_KEY, [](const P& p) { return number(p.get_events_callback_at_once_vmware()); }},
      {P::EVENTS_CALLBACK_AT_ONCE_COUNT_KEY, [](const P& p) { return number(p.get_events_callback_at_once_count()); }},
      {P::REPOSITORY_RETRY_COUNTER, [](const P& p) { return number(p.getRepositoryRetryCount()); }},
      {P::FULL_ACCESS_GROUPS, [](const P& p) { return p.getFullAccessGroups(); }},
      {P::READ_ONLY_ACCESS_GROUPS, [](const P& p) { return p.getReadOnlyAccessGroups(); }},
      {P::LOCALE_PATH_KEY, [](const P& p) { return p.getLocalePath(); }},
  };
  return table;
}

// The configuration file the library reads, as it finds it.
std::string configurationPath() {
  std::string path;
  utils::System::get_instance()->getNorvaneConfigurationPath(path);
  return path.empty() ? std::string(Preferences::SERVER_CONFIG_FILE_NAME) : path;
}

// A stored perf_duration of 0 (or no number) ends any process that reads it; say so
// instead of letting the getter take this tool down.
bool perfDurationIsFatal(const std::string& configPath, std::string& stored) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(configPath, error)) return false;
  utils::KeyValueParser parser(configPath, "=");
  try {
    stored = parser.get_config_key_value(Preferences::PERF_POLLING_DURATION_KEY);
  } catch (...) {
    return false;
  }
  return std::atoi(stored.c_str()) == 0;
}

int runGenerateConfig(Invocation& call) {
  const Command& self = *findCommand("generate-config");
  if (call.args.size() > 1) return usageError(call, self, "generate-config takes at most one path");
  const std::string relative = call.args.empty() ? "/conf/Norvane.conf" : call.args[0];
  if (relative.empty() || relative[0] != '/') {
    return usageError(call, self, "the path must start with '/' (it is relative to the home path)");
  }
  std::string home, problem;
  if (!Installation::storedHome(home, problem)) {
    return failure(call, problem + "; run '" + Installation::command("set-home DIR") + "' first");
  }
  std::string stored;
  if (perfDurationIsFatal(configurationPath(), stored)) {
    return failure(call, configurationPath() + ": perf_duration = '" + stored +
                             "' is not a positive number; fix it before generating");
  }
  const std::filesystem::path target = home + relative;
  std::error_code error;
  std::filesystem::create_directories(target.parent_path(), error);
  if (error) {
    return failure(call, "cannot create directory " + target.parent_path().string() + ": " + error.message());
  }
  try {
    Preferences::get_instance()->generate_config_file(relative);
  } catch (utils::AppException&) {
    utils::formatted_log_t::uninitializeLogger();
    const std::string why = whyNotWritable(target.string());
    return failure(call, "cannot create configuration file " + target.string() + ": " +
                             (why.empty() ? "the library could not open it" : why));
  }
  utils::formatted_log_t::uninitializeLogger();
  call.out << "wrote " << target.string() << "\n";
  return kOk;
}

int runShowConfig(Invocation& call) {
  const std::string path = configurationPath();
  std::vector<const Setting*> chosen;
  for (const std::string& key : call.args) {
    const Setting* found = nullptr;
    for (const Setting& setting : settings()) {
      if (key == setting.key) found = &setting;
    }
    if (found == nullptr) return failure(call, "unknown setting '" + key + "'");
    chosen.push_back(found);
  }
  const bool all = chosen.empty();
  if (all) {
    for (const Setting& setting : settings()) chosen.push_back(&setting);
    std::error_code error;
    if (std::filesystem::is_regular_file(path, error)) {
      call.out << "# settings in force, read from " << path << "\n";
    } else {
      call.out << "# settings in force; " << path << " is missing, so all are defaults\n";
    }
  }
  std::string stored;
  const bool perfFatal = perfDurationIsFatal(path, stored);
  const Preferences& preferences = *Preferences::get_instance();
  for (const Setting* setting : chosen) {
    if (perfFatal && std::string(setting->key) == Preferences::PERF_POLLING_DURATION_KEY) {
      call.err << "norvanectl: perf_duration = '" << stored
               << "' is not a positive number; the library refuses it\n";
      continue;
    }
    const std::string value = setting->read(preferences);
    call.out << setting->key << " = " << value << "\n";
  }
  utils::formatted_log_t::uninitializeLogger();
  return perfFatal ? kFailed : kOk;
}

}  // namespace
}  // namespace norvanectl

NORVANECTL_COMMANDS(config) {
  using norvanectl::Command;
  return {
      Command{"generate-config", "config", "write a complete commented configuration file",
              "generate-config [PATH]",
              "Writes every setting with its current value (defaults for missing keys) to\n"
              "PATH under the home path; PATH starts with '/' and defaults to\n"
              "/conf/Norvane.conf, which normalises the file the library reads. Missing\n"
              "directories are created. Needs a home path in the machine store.\n",
              norvanectl::runGenerateConfig},
      Command{"show-config", "config", "print the settings in force with their keys",
              "show-config [KEY...]",
              "Prints each setting as 'key = value': every one, in the order of the generated\n"
              "file (LOCALE_PATH last), or only the KEYs given, in their order.\n"
              "Path settings show the paths under the home path, as the library uses them.\n",
              norvanectl::runShowConfig},
  };
}
