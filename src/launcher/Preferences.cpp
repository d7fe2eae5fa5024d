#include <launcher/Preferences.h>

#include <utils/KeyValueParser.h>
#include <utils/Log.h>
#include <utils/StringHelper.h>
#include <utils/System.h>

#include <cstdlib>

#include "utils/LogStartup.h"

namespace launcher {

// ---- keys ----------------------------------------------------------------------------
const char* const Preferences::LISTENING_PORT_BACKLOG_KEY = "listening_port_backlog";
const char* const Preferences::REQUEST_MAX_THREAD_COUNT_KEY = "request_max_thread_count";
const char* const Preferences::SESSION_TIMEOUT_KEY = "session_timeout";
const char* const Preferences::MAX_USER_COUNT_KEY = "max_user_count";
const char* const Preferences::EVENT_MAX_RESPONSE_TIME_KEY = "max_event_response_time";
const char* const Preferences::EVENT_GROUPING_TIME_GAP_KEY = "event_grouping_time_gap";
const char* const Preferences::EVENT_QUEUE_SIZE_THRESHOLD_KEY = "event_queue_size_threshold";
const char* const Preferences::NUM_EVENTS_CAN_RETRIEVE_KEY = "max_events_retrieve_count";
const char* const Preferences::MAX_EVENTS_DOWNLOAD_KEY = "max_events_download_count";
const char* const Preferences::MAX_EVENTS_CLIENT_HANDLE_KEY = "max_events_client_handle";
const char* const Preferences::MONITOR_LOG_LEVEL_KEY = "monitor_log_level";
const char* const Preferences::PERF_POLLING_DURATION_KEY = "perf_duration";
const char* const Preferences::TIME_SYNC_INTERVAL_KEY = "controller_time_sync_interval";
const char* const Preferences::INSTALLATION_TYPE_KEY = "installation_type";
const char* const Preferences::LOCALE_KEY = "locale";
const char* const Preferences::REPOSITORY_CACHE_MODE = "repository_cache_mode";
const char* const Preferences::REPOSITORY_RETRY_COUNTER = "repository_retry_counter";
const char* const Preferences::VOLATILE_DATA_UPDATE_TIME = "volatile_data_update_interval";
const char* const Preferences::DRIVES_LOCATE_TIME = "drives_locate_interval";
const char* const Preferences::RETRIEVE_RANGE_EVENT_SINCE = "retrieve_range_of_events_since";
const char* const Preferences::BASE_FOR_DRIVE_CAPACITY_CAL = "base_for_drive_capacity_calculation";
const char* const Preferences::PROTOCOL_VALUE_KEY = "protocol_type";
const char* const Preferences::SGPIO_DISPLAY_VALUE_KEY = "empty_SGPIO_display";
const char* const Preferences::RETRIEVE_BOOT_EVENT_COUNT_KEY = "boot_event_count";
const char* const Preferences::EVENTS_CALLBACK_AT_ONCE_VMWARE_KEY = "events_callback_at_once_vmware";
const char* const Preferences::EVENTS_CALLBACK_AT_ONCE_COUNT_KEY = "event_count_to_aen_process";
const char* const Preferences::LDAP_PORT_DETAILS = "ldap_port_number";
const char* const Preferences::LOG_LEVEL_KEY = "log_level";
const char* const Preferences::LOG_CACHE_MODE_KEY = "log_cache_mode";
const char* const Preferences::LOGFILE_COUNT_KEY = "log_file_count";
const char* const Preferences::LOGFILE_SIZE_IN_MB_KEY = "log_file_size";
const char* const Preferences::IP_POLLING_INT_KEY = "ip_polling_interval";
const char* const Preferences::SLP_FIND_INT_KEY = "slp_find_service_interval";
const char* const Preferences::MULTICAST_STATE_KEY = "enable_multicast";
const char* const Preferences::STATISTICS_MODE_KEY = "statistics_mode";
const char* const Preferences::BYPASS_AUTHENTICATION_KEY = "bypass_authentication";
const char* const Preferences::LDAP_MODE_KEY = "ldap_mode";
const char* const Preferences::LDAP_ACCESS_MODE_KEY = "readOnly";
const char* const Preferences::LISTENING_PORT_KEY = "listening_port";
const char* const Preferences::CLIENT_LISTENING_PORT_KEY = "client_listening_port";
const char* const Preferences::URI_PREFIX_KEY = "uri_prefix";
const char* const Preferences::FW_FLASH_DIR_KEY = "FW_DIR";
const char* const Preferences::PRIVATE_IP_KEY = "private_ip_range";
const char* const Preferences::NAT_IPV4_IPV6_KEY = "nat_ipv4_ipv6";
const char* const Preferences::LDAP_SERVER = "ldap_server";
const char* const Preferences::LDAP_PROTOCOL_VERSION = "ldap_protocol_version";
const char* const Preferences::LDAP_BINDING_MODE = "ldap_binding";
const char* const Preferences::LDAP_DN_DETAILS = "dn_details";
const char* const Preferences::FULL_ACCESS_GROUPS = "full_access_groups";
const char* const Preferences::READ_ONLY_ACCESS_GROUPS = "readonly_access_groups";
const char* const Preferences::LOG_FILE_KEY = "log_file";
const char* const Preferences::MONITOR_LOG_FILE_PATH_KEY = "monitor_log_path";
const char* const Preferences::LOCALE_PATH_KEY = "LOCALE_PATH";
const char* const Preferences::PLUGIN_PATH_FILE_KEY = "PLUGIN_PATH";
const char* const Preferences::MANAGED_SERVER_FILE_KEY = "MANAGED_SERVER_PATH";
const char* const Preferences::ALERT_CONFIG_FILE_KEY = "alert_config-current";
const char* const Preferences::EVENT_CODE_LOC_FILE_KEY = "event_code";
const char* const Preferences::EVENT_SPEC_LOC_FILE_KEY = "event_spec";
const char* const Preferences::ALERT_PARAM_LOC_FILE_KEY = "alert_param";
const char* const Preferences::HEALTH_SPEC_FILE_KEY = "health_spec";
const char* const Preferences::SMTP_FILE_KEY = "smtp_server";
const char* const Preferences::VALUE_STORE_FILE_KEY = "value_store";
const char* const Preferences::KEY_STORE_FILE_KEY = "key_store";
const char* const Preferences::SUB_NAME_KEY = "SUB_NAME";

// ---- defaults ------------------------------------------------------------------------
// The numbers carry their values in the header; these definitions give them an
// address in the library for clients that bind them by reference.
const unsigned int Preferences::DEFAULT_LISTENING_PORT_BACKLOG;
const unsigned int Preferences::DEFAULT_REQUEST_MAX_THREAD_COUNT;
const unsigned int Preferences::DEFAULT_SESSION_TIMEOUT;
const unsigned int Preferences::DEFAULT_MAX_USER_COUNT;
const unsigned int Preferences::DEFAULT_EVENT_MAX_RESPONSE_TIME;
const unsigned int Preferences::DEFAULT_EVENT_GROUPING_TIME_GAP;
const unsigned int Preferences::DEFAULT_EVENT_QUEUE_SIZE_THRESHOLD;
const unsigned int Preferences::DEFAULT_NUM_EVENTS_CAN_RETRIEVE;
const unsigned int Preferences::DEFAULT_NUM_EVENTS_CAN_DOWNLOAD;
const unsigned int Preferences::DEFAULT_MAX_EVENTS_CLIENT_HANDLE;
const unsigned int Preferences::MONITOR_LOG_LEVEL;
const unsigned int Preferences::DEFAULT_PERF_POLLING_DURATION;
const unsigned int Preferences::DEFAULT_TIME_SYNC_INTERVAL;
const unsigned int Preferences::DEFAULT_INSTALLATION_TYPE;
const unsigned int Preferences::DEFAULT_LOCALE;
const unsigned int Preferences::DEFAULT_REPOSITORY_CACHE_MODE;
const unsigned int Preferences::DEFAULT_REPOSITORY_RETRY_COUNTER;
const unsigned int Preferences::DEFAULT_VOLATILE_DATA_UPDATE_TIME;
const unsigned int Preferences::DEFAULT_DRIVES_LOCATE_TIME;
const unsigned int Preferences::DEFAULT_RETRIEVE_RANGE_EVENT_SINCE;
const unsigned int Preferences::DEFAULT_BASE_FOR_DRIVE_CAPACITY_CAL;
const unsigned int Preferences::DEFAULT_PROTOCOL_VALUE;
const unsigned int Preferences::DEFAULT_SGPIO_DISPLAY_VALUE;
const unsigned int Preferences::DEFAULT_RETRIEVE_BOOT_EVENT_COUNT;
const unsigned int Preferences::DEFAULT_EVENTS_CALLBACK_AT_ONCE_VMWARE;
const unsigned int Preferences::DEFAULT_EVENTS_CALLBACK_AT_ONCE_COUNT;
const unsigned long Preferences::DEFAULT_LDAP_PORT_DETAILS;
const unsigned int Preferences::DEFAULT_LOG_LEVEL;
const unsigned int Preferences::DEFAULT_LOG_CACHE_MODE;
const unsigned int Preferences::DEFAULT_LOGFILE_COUNT;
const unsigned int Preferences::DEFAULT_LOGFILE_SIZE_IN_MB;
const unsigned int Preferences::DEFAULT_IP_POLLING_INT;
const unsigned int Preferences::DEFAULT_SLP_FIND_INT;
const unsigned int Preferences::DEFAULT_MULTICAST_STATE;
const bool Preferences::DEFAULT_STATISTICS_MODE;
const bool Preferences::DEFAULT_BYPASS_AUTHENTICATION;
const bool Preferences::DEFAULT_LDAP_MODE;
const bool Preferences::DEFAULT_LDAP_ACCESS_MODE;

const char* const Preferences::DEFAULT_LISTENING_PORT = "9000";
const char* const Preferences::LISTENING_DEFAULT_CLIENT_PORT = "2463";
const char* const Preferences::DEFAULT_URI_PREFIX = "/kestrane/storage/ctl/api/1.0";
const char* const Preferences::DEFAULT_FW_FLASH_DIR = "/server/upload_files";
const char* const Preferences::DEFAULT_PRIVATE_IP_KEY = "";
const char* const Preferences::DEFAULT_NAT_IPV4_IPV6_KEY = "";
const char* const Preferences::DEFAULT_LDAP_SERVER = "";
const char* const Preferences::DEFAULT_LDAP_PROTOCOL_VERSION = "v3";
const char* const Preferences::DEFAULT_BINDING_MODE = "BASIC";
const char* const Preferences::DEFAULT_DN_DETAILS = "";
const char* const Preferences::DEFAULT_FULL_ACCESS_GROUPS = "Administrators";
const char* const Preferences::DEFAULT_READ_ONLY_ACCESS_GROUPS = "Authenticated Users";
const char* const Preferences::DEFAULT_LOG_FILE_NAME = "../Logs/norvane.txt";
const char* const Preferences::MONITOR_LOG_FILE_PATH_NAME = "conf/monitor/logs/";
const char* const Preferences::DEFAULT_LOCALE_PATH = "../conf/languages";
const char* const Preferences::DEFAULT_PLUGIN_LOC_FILE_NAME = "../plugins";
const char* const Preferences::DEFAULT_MANAGED_SERVER_FILE_NAME = "/bin/managedservers";
const char* const Preferences::DEFAULT_ALERT_CONFIG_FILE_NAME = "../conf/monitor/config-current.json";
const char* const Preferences::DEFAULT_EVENT_CODE_LOC_FILE_NAME = "../conf/monitor/eventcode.ini";
const char* const Preferences::DEFAULT_EVENT_SPEC_LOC_FILE_NAME =
    "../conf/languages/en-US/ctl_events_spec.ini";
const char* const Preferences::DEFAULT_ALERT_PARAM_LOC_FILE_NAME = "../conf/languages/en-US/alertparam.ini";
const char* const Preferences::DEFAULT_HEALTH_SPEC_FILE_NAME = "../conf/languages/en-US/healthspec.json";
const char* const Preferences::DEFAULT_SMTP_FILE_NAME = "./bin/smtpServer";
const char* const Preferences::DEFAULT_VALUE_STORE_FILE_NAME = "./bin/value.store";
const char* const Preferences::DEFAULT_KEY_STORE_FILE_NAME = "./bin/key.store";

const char* const Preferences::SERVER_CONFIG_FILE_NAME = "../conf/Norvane.conf";
// The subject of the self-signed certificate a fresh installation makes for itself;
// it names the local host, since nothing else is known about the machine yet.
const char* const Preferences::DEFAULT_SUB_NAME =
    "C=US,ST=California,L=San Jose,O=Kestrane,OU=Storage Management,CN=localhost,"
    "emailAddress=root@localhost";
const char* const Preferences::DEFAULT_FULL_ACCESS_GROUPS_NON_WINDOWS = "root";
const char* const Preferences::DEFAULT_READ_ONLY_ACCESS_GROUPS_NON_WINDOWS = "users";

// ---- the singleton -------------------------------------------------------------------

const char* Preferences::getDefaultKeyValueSeperator() { return "="; }

Preferences* Preferences::get_instance() {
  static Preferences instance;
  // Statements held back while the instance was built (the parser's WARNING about a
  // missing file) are written now that the logger can read its settings.
  utils::logstartup::flushHeldBack();
  return &instance;
}

Preferences::Preferences() : m_config_parser(nullptr) {
  // Building the parser may log, and logging needs this very instance; statements of
  // this thread wait until the construction is over instead of waiting on it.
  utils::logstartup::HoldBack holdBack;
  std::string path;
  utils::System::get_instance()->getNorvaneConfigurationPath(path);
  if (path.empty()) path = SERVER_CONFIG_FILE_NAME;
  m_config_parser = new utils::KeyValueParser(path, getDefaultKeyValueSeperator());
}

Preferences::~Preferences() {
  utils::log_everything("launcher::Preferences::~Preferences");
  delete m_config_parser;
}

// ---- reading helpers -----------------------------------------------------------------

unsigned int Preferences::readUnsigned(const char* key, unsigned int defaultValue) const {
  try {
    // No range test: text that is no number gives 0 and a negative number wraps.
    return static_cast<unsigned int>(std::atoi(m_config_parser->get_config_key_value(key).c_str()));
  } catch (...) {
    return defaultValue;
  }
}

bool Preferences::readBool(const char* key, bool defaultValue) const {
  try {
    std::string value = m_config_parser->get_config_key_value(key);
    utils::StringHelper::to_lower(value);
    return value == "true" || value == "1";
  } catch (...) {
    return defaultValue;
  }
}

std::string Preferences::readText(const char* key, const char* defaultValue, bool lowerCase) const {
  try {
    std::string value = m_config_parser->get_config_key_value(key);
    if (lowerCase) utils::StringHelper::to_lower(value);
    return value;
  } catch (...) {
    return defaultValue;
  }
}

std::string Preferences::readPath(const std::string& tail, bool lowerTail, const char* key,
                                  const char* defaultValue, const char* noHomeMessage,
                                  const char* noKeyMessage) const {
  std::string home;
  if (utils::System::get_instance()->getNorvaneHomePath(home) == 0) {
    // File systems here are case-sensitive: the home path is the installation's real
    // directory and is kept as it is; only the fixed tail is lower-cased.
    std::string fixedTail = tail;
    if (lowerTail) utils::StringHelper::to_lower(fixedTail);
    return home + fixedTail;
  }
  utils::log_error(noHomeMessage);
  try {
    std::string value = m_config_parser->get_config_key_value(key);
    utils::StringHelper::to_lower(value);
    return value;
  } catch (...) {
    utils::log_error(noKeyMessage);
    return defaultValue;
  }
}

// ---- unsigned integer settings -------------------------------------------------------

#define NORVANE_UNSIGNED_GETTER(getter, key, fallback)             \
  unsigned int Preferences::getter() const {                       \
    utils::log_everything("launcher::Preferences::" #getter);      \
    return readUnsigned(key, fallback);                            \
  }

NORVANE_UNSIGNED_GETTER(get_listening_port_backlog, LISTENING_PORT_BACKLOG_KEY, DEFAULT_LISTENING_PORT_BACKLOG)
NORVANE_UNSIGNED_GETTER(get_max_processing_threads_count, REQUEST_MAX_THREAD_COUNT_KEY, DEFAULT_REQUEST_MAX_THREAD_COUNT)
NORVANE_UNSIGNED_GETTER(get_session_timeout, SESSION_TIMEOUT_KEY, DEFAULT_SESSION_TIMEOUT)
NORVANE_UNSIGNED_GETTER(get_max_user_count, MAX_USER_COUNT_KEY, DEFAULT_MAX_USER_COUNT)
NORVANE_UNSIGNED_GETTER(get_event_max_response_time, EVENT_MAX_RESPONSE_TIME_KEY, DEFAULT_EVENT_MAX_RESPONSE_TIME)
NORVANE_UNSIGNED_GETTER(get_event_grouping_time_gap, EVENT_GROUPING_TIME_GAP_KEY, DEFAULT_EVENT_GROUPING_TIME_GAP)
NORVANE_UNSIGNED_GETTER(get_event_queue_size_threshold, EVENT_QUEUE_SIZE_THRESHOLD_KEY, DEFAULT_EVENT_QUEUE_SIZE_THRESHOLD)
NORVANE_UNSIGNED_GETTER(get_max_events_retrievable, NUM_EVENTS_CAN_RETRIEVE_KEY, DEFAULT_NUM_EVENTS_CAN_RETRIEVE)
NORVANE_UNSIGNED_GETTER(get_max_events_downloadable, MAX_EVENTS_DOWNLOAD_KEY, DEFAULT_NUM_EVENTS_CAN_DOWNLOAD)
NORVANE_UNSIGNED_GETTER(get_max_events_client_handle, MAX_EVENTS_CLIENT_HANDLE_KEY, DEFAULT_MAX_EVENTS_CLIENT_HANDLE)
NORVANE_UNSIGNED_GETTER(get_monitorlog_level, MONITOR_LOG_LEVEL_KEY, MONITOR_LOG_LEVEL)
NORVANE_UNSIGNED_GETTER(get_time_sync_interval, TIME_SYNC_INTERVAL_KEY, DEFAULT_TIME_SYNC_INTERVAL)
NORVANE_UNSIGNED_GETTER(getInstallationType, INSTALLATION_TYPE_KEY, DEFAULT_INSTALLATION_TYPE)
NORVANE_UNSIGNED_GETTER(get_installation_oem_type, LOCALE_KEY, DEFAULT_LOCALE)
NORVANE_UNSIGNED_GETTER(getRepositoryCacheMode, REPOSITORY_CACHE_MODE, DEFAULT_REPOSITORY_CACHE_MODE)
NORVANE_UNSIGNED_GETTER(getRepositoryRetryCount, REPOSITORY_RETRY_COUNTER, DEFAULT_REPOSITORY_RETRY_COUNTER)
NORVANE_UNSIGNED_GETTER(getVolatileDataUpdateTime, VOLATILE_DATA_UPDATE_TIME, DEFAULT_VOLATILE_DATA_UPDATE_TIME)
NORVANE_UNSIGNED_GETTER(getDriveLocateTimeInterval, DRIVES_LOCATE_TIME, DEFAULT_DRIVES_LOCATE_TIME)
NORVANE_UNSIGNED_GETTER(getUserOptionToRetrieveEventList, RETRIEVE_RANGE_EVENT_SINCE, DEFAULT_RETRIEVE_RANGE_EVENT_SINCE)
NORVANE_UNSIGNED_GETTER(getBaseForDriveCapacityCalculation, BASE_FOR_DRIVE_CAPACITY_CAL, DEFAULT_BASE_FOR_DRIVE_CAPACITY_CAL)
NORVANE_UNSIGNED_GETTER(getProtocolValue, PROTOCOL_VALUE_KEY, DEFAULT_PROTOCOL_VALUE)
NORVANE_UNSIGNED_GETTER(getVirtualSGPIODisplayValue, SGPIO_DISPLAY_VALUE_KEY, DEFAULT_SGPIO_DISPLAY_VALUE)
NORVANE_UNSIGNED_GETTER(get_boot_event_count, RETRIEVE_BOOT_EVENT_COUNT_KEY, DEFAULT_RETRIEVE_BOOT_EVENT_COUNT)
NORVANE_UNSIGNED_GETTER(get_events_callback_at_once_vmware, EVENTS_CALLBACK_AT_ONCE_VMWARE_KEY, DEFAULT_EVENTS_CALLBACK_AT_ONCE_VMWARE)
NORVANE_UNSIGNED_GETTER(get_events_callback_at_once_count, EVENTS_CALLBACK_AT_ONCE_COUNT_KEY, DEFAULT_EVENTS_CALLBACK_AT_ONCE_COUNT)
#undef NORVANE_UNSIGNED_GETTER

unsigned int Preferences::get_perf_polling_duration() const {
  utils::log_everything("launcher::Preferences::get_perf_polling_duration");
  try {
    const unsigned int duration = static_cast<unsigned int>(
        std::atoi(m_config_parser->get_config_key_value(PERF_POLLING_DURATION_KEY).c_str()));
    // A zero duration is refused by a rethrow with no exception in flight, which ends
    // the process through std::terminate; the handler below never sees it.
    if (duration == 0) throw;
    return duration;
  } catch (...) {
    return DEFAULT_PERF_POLLING_DURATION;
  }
}

unsigned long Preferences::getLDAPPortNumber() const {
  utils::log_everything("launcher::Preferences::getLDAPPortNumber");
  try {
    return static_cast<unsigned long>(
        std::atoi(m_config_parser->get_config_key_value(LDAP_PORT_DETAILS).c_str()));
  } catch (...) {
    return DEFAULT_LDAP_PORT_DETAILS;
  }
}

// The logger reads these while it starts: no statement of any kind here.
unsigned int Preferences::get_log_level() const { return readUnsigned(LOG_LEVEL_KEY, DEFAULT_LOG_LEVEL); }
unsigned int Preferences::get_log_file_cache_mode() const {
  return readUnsigned(LOG_CACHE_MODE_KEY, DEFAULT_LOG_CACHE_MODE);
}
unsigned int Preferences::get_log_file_count() const {
  return readUnsigned(LOGFILE_COUNT_KEY, DEFAULT_LOGFILE_COUNT);
}
unsigned int Preferences::get_log_file_size_in_mb() const {
  return readUnsigned(LOGFILE_SIZE_IN_MB_KEY, DEFAULT_LOGFILE_SIZE_IN_MB);
}
unsigned int Preferences::getIPChangePollingInterval() const {
  return readUnsigned(IP_POLLING_INT_KEY, DEFAULT_IP_POLLING_INT);
}
unsigned int Preferences::get_slp_find_service_interval() const {
  return readUnsigned(SLP_FIND_INT_KEY, DEFAULT_SLP_FIND_INT);
}
unsigned int Preferences::get_enable_multicast() const {
  return readUnsigned(MULTICAST_STATE_KEY, DEFAULT_MULTICAST_STATE);
}

// ---- boolean settings ----------------------------------------------------------------

#define NORVANE_BOOL_GETTER(getter, key, fallback)             \
  bool Preferences::getter() const {                           \
    utils::log_everything("launcher::Preferences::" #getter);  \
    return readBool(key, fallback);                            \
  }

NORVANE_BOOL_GETTER(get_statistics_mode, STATISTICS_MODE_KEY, DEFAULT_STATISTICS_MODE)
NORVANE_BOOL_GETTER(get_bypass_authentication, BYPASS_AUTHENTICATION_KEY, DEFAULT_BYPASS_AUTHENTICATION)
NORVANE_BOOL_GETTER(getLDAPMode, LDAP_MODE_KEY, DEFAULT_LDAP_MODE)
NORVANE_BOOL_GETTER(getLDAPAccessMode, LDAP_ACCESS_MODE_KEY, DEFAULT_LDAP_ACCESS_MODE)
#undef NORVANE_BOOL_GETTER

// ---- text settings -------------------------------------------------------------------

#define NORVANE_TEXT_GETTER(getter, key, fallback, lowerCase)  \
  std::string Preferences::getter() const {                    \
    utils::log_everything("launcher::Preferences::" #getter);  \
    return readText(key, fallback, lowerCase);                 \
  }

NORVANE_TEXT_GETTER(get_listening_port, LISTENING_PORT_KEY, DEFAULT_LISTENING_PORT, false)
NORVANE_TEXT_GETTER(get_client_port, CLIENT_LISTENING_PORT_KEY, LISTENING_DEFAULT_CLIENT_PORT, false)
NORVANE_TEXT_GETTER(get_uri_prefix, URI_PREFIX_KEY, DEFAULT_URI_PREFIX, true)
NORVANE_TEXT_GETTER(get_firmware_file_loc, FW_FLASH_DIR_KEY, DEFAULT_FW_FLASH_DIR, true)
NORVANE_TEXT_GETTER(getPrivateIPRangeDetails, PRIVATE_IP_KEY, DEFAULT_PRIVATE_IP_KEY, false)
NORVANE_TEXT_GETTER(getNATDetails, NAT_IPV4_IPV6_KEY, DEFAULT_NAT_IPV4_IPV6_KEY, false)
NORVANE_TEXT_GETTER(getLDAPServer, LDAP_SERVER, DEFAULT_LDAP_SERVER, false)
NORVANE_TEXT_GETTER(getLDAPProtocolVersion, LDAP_PROTOCOL_VERSION, DEFAULT_LDAP_PROTOCOL_VERSION, false)
NORVANE_TEXT_GETTER(getLDAPBindingMode, LDAP_BINDING_MODE, DEFAULT_BINDING_MODE, false)
NORVANE_TEXT_GETTER(getLDAPDNDetails, LDAP_DN_DETAILS, DEFAULT_DN_DETAILS, false)
#undef NORVANE_TEXT_GETTER

std::string Preferences::getFullAccessGroups() const {
  utils::log_everything("launcher::Preferences::getFullAccessGroups");
  std::string home;
  const int nResult = utils::System::get_instance()->getNorvaneHomePath(home);
  const std::string value = readText(FULL_ACCESS_GROUPS, DEFAULT_FULL_ACCESS_GROUPS, false);
  utils::log_debug("Pref:FullAccG - FULL_ACCESS_GROUPS value is:%1%") % value;
  utils::log_debug("Pref:FullAccG - DEFAULT_FULL_ACCESS_GROUPS value is:%1%") % DEFAULT_FULL_ACCESS_GROUPS;
  utils::log_debug("Pref:FullAccG - nResult value is:%1%") % nResult;
  return value;
}

std::string Preferences::getReadOnlyAccessGroups() const {
  utils::log_everything("launcher::Preferences::getReadOnlyAccessGroups");
  std::string home;
  utils::System::get_instance()->getNorvaneHomePath(home);
  return readText(READ_ONLY_ACCESS_GROUPS, DEFAULT_READ_ONLY_ACCESS_GROUPS, false);
}

std::string Preferences::get_subject_name() const {
  utils::log_everything("launcher::Preferences::get_subject_name");
  return DEFAULT_SUB_NAME;
}

void Preferences::set_firmware_file_loc(std::string& path) const {
  utils::log_everything("launcher::Preferences::set_firmware_file_loc");
  utils::StringHelper::to_lower(path);
  m_config_parser->set_config_key_value(FW_FLASH_DIR_KEY, path);
}

// ---- path settings -------------------------------------------------------------------

std::string Preferences::get_log_file_loc() const {
  // The logger's start reads this: the same route as the other paths, silently.
  std::string home;
  if (utils::System::get_instance()->getNorvaneHomePath(home) == 0) {
    return home + "/logs/norvane.txt";
  }
  try {
    std::string value = m_config_parser->get_config_key_value(LOG_FILE_KEY);
    utils::StringHelper::to_lower(value);
    return value;
  } catch (...) {
    return DEFAULT_LOG_FILE_NAME;
  }
}

std::string Preferences::get_monitorlog_filepath() const {
  utils::log_everything("launcher::Preferences::get_monitorlog_filepath");
  return readPath("/conf/monitor/logs/", true, MONITOR_LOG_FILE_PATH_KEY, MONITOR_LOG_FILE_PATH_NAME,
                  "Pref:monLog - Invalid Norvane Home Path, read from conf file",
                  "Pref:monLog - Exception @ getMonitorLogFilePath returning default file ");
}

std::string Preferences::getLocalePath() const {
  utils::log_everything("launcher::Preferences::getLocalePath");
  try {
    return readPath("/conf/languages/", true, LOCALE_PATH_KEY, DEFAULT_LOCALE_PATH,
                    "Pref:localePath - Invalid Norvane Home Path, read from conf file",
                    "Pref:localePath - Exception @ LOCALE_PATH returning default file ");
  } catch (...) {
    return DEFAULT_LOCALE_PATH;
  }
}

std::string Preferences::getPluginPath() const {
  utils::log_everything("launcher::Preferences::getPluginPath");
  try {
    return readPath("/plugins/", true, PLUGIN_PATH_FILE_KEY, DEFAULT_PLUGIN_LOC_FILE_NAME,
                    "Pref:pluginPath - Invalid Norvane Home Path, read from conf file",
                    "Pref:pluginPath - Exception @ PLUGIN_PATH returning default file ");
  } catch (...) {
    utils::log_error("Pref:pluginPath - Exception @ PLUGIN_PATH returning default file ");
    return DEFAULT_PLUGIN_LOC_FILE_NAME;
  }
}

std::string Preferences::getManagedServerPath() const {
  utils::log_everything("launcher::Preferences::getManagedServerPath");
  try {
    return readPath("/bin/managedservers/", true, MANAGED_SERVER_FILE_KEY,
                    DEFAULT_MANAGED_SERVER_FILE_NAME,
                    "Pref:manageP - Invalid Norvane Home Path, read from conf file",
                    "Pref:manageP - Exception @ MANAGED_SERVER returning default file ");
  } catch (...) {
    return DEFAULT_MANAGED_SERVER_FILE_NAME;
  }
}

std::string Preferences::get_alert_config_file() const {
  utils::log_everything("launcher::Preferences::get_alert_config_file");
  return readPath("/conf/monitor/config-current.json", true, ALERT_CONFIG_FILE_KEY,
                  DEFAULT_ALERT_CONFIG_FILE_NAME,
                  "Pref:alertCfgFile - Invalid Norvane Home Path, read from conf file",
                  "Pref:alertCfgFile - Exception @ get_alert_config_file returning default file ");
}

std::string Preferences::get_default_alert_config_file() const {
  utils::log_everything("launcher::Preferences::get_default_alert_config_file");
  return readPath("/conf/monitor/config-default.json", true, ALERT_CONFIG_FILE_KEY,
                  DEFAULT_ALERT_CONFIG_FILE_NAME,
                  "Pref:dalertCfgFile - Invalid Norvane Home Path, read from default conf file",
                  "Pref:dalertCfgFile - Exception @ get_default_alert_config_file returning default file ");
}

std::string Preferences::get_event_code_loc() const {
  utils::log_everything("launcher::Preferences::get_event_code_loc");
  return readPath("/conf/monitor/eventcode.ini", false, EVENT_CODE_LOC_FILE_KEY,
                  DEFAULT_EVENT_CODE_LOC_FILE_NAME,
                  "Pref:evtCode - Invalid Norvane Home Path, read from conf file",
                  "Pref:evtCode - Exception @ get_alert_param_loc returning default file ");
}

std::string Preferences::get_event_spec_loc(std::string locale) const {
  utils::log_everything("launcher::Preferences::get_event_spec_loc");
  return readPath("/conf/languages/" + locale + "/ctl_events_spec.ini", false, EVENT_SPEC_LOC_FILE_KEY,
                  DEFAULT_EVENT_SPEC_LOC_FILE_NAME,
                  "Pref:evtSpecL - Invalid Norvane Home Path, read from conf file",
                  "Pref:evtSpecL - Exception @ get_alert_param_loc returning default file ");
}

std::string Preferences::get_event_spec_loc() const {
  utils::log_everything("launcher::Preferences::get_event_spec_loc");
  return readPath("/conf/languages/en-US/ctl_events_spec.ini", false, EVENT_SPEC_LOC_FILE_KEY,
                  DEFAULT_EVENT_SPEC_LOC_FILE_NAME,
                  "Pref:evtSpec - Invalid Norvane Home Path, read from conf file",
                  "Pref:evtSpec - Exception @ get_alert_param_loc returning default file ");
}

std::string Preferences::get_alert_param_loc(std::string locale) const {
  utils::log_everything("launcher::Preferences::get_alert_param_loc");
  return readPath("/conf/languages/" + locale + "/alertparam.ini", false, ALERT_PARAM_LOC_FILE_KEY,
                  DEFAULT_ALERT_PARAM_LOC_FILE_NAME,
                  "Pref:alertParamL - Invalid Norvane Home Path, read from conf file",
                  "Pref:alertParamL - Exception @ get_alert_param_loc returning default file ");
}

std::string Preferences::get_alert_param_loc() const {
  utils::log_everything("launcher::Preferences::get_alert_param_loc");
  return readPath("/conf/languages/en-US/alertparam.ini", false, ALERT_PARAM_LOC_FILE_KEY,
                  DEFAULT_ALERT_PARAM_LOC_FILE_NAME,
                  "Pref:alertParam - Invalid Norvane Home Path, read from conf file",
                  "Pref:alertParam - Exception @ get_alert_param_loc returning default file ");
}

std::string Preferences::getHealthSpecFile(std::string locale) const {
  utils::log_everything("launcher::Preferences::getHealthSpecFile");
  return readPath("/conf/languages/" + locale + "/healthspec.json", false, HEALTH_SPEC_FILE_KEY,
                  DEFAULT_HEALTH_SPEC_FILE_NAME,
                  "Pref:getHelathL - Invalid Norvane Home Path, read from conf file",
                  "Pref:getHealthL - Exception @ get_alert_spec_file returning default file ");
}

std::string Preferences::getHealthSpecFile() const {
  utils::log_everything("launcher::Preferences::getHealthSpecFile");
  return readPath("/conf/languages/en-US/healthspec.json", false, HEALTH_SPEC_FILE_KEY,
                  DEFAULT_HEALTH_SPEC_FILE_NAME,
                  "Pref:healthSpec - Invalid Norvane Home Path, read from conf file",
                  "Pref:healthSpc - Exception @ get_alert_spec_file returning default file ");
}

std::string Preferences::get_smtp_server_loc() const {
  utils::log_everything("launcher::Preferences::get_smtp_server_loc");
  return readPath("/bin/smtpServer", false, SMTP_FILE_KEY, DEFAULT_SMTP_FILE_NAME,
                  "Pref:smtp - Invalid Norvane Home Path, read from conf file",
                  "Pref:smtp - Exception @ get_smtp_servr_loc returning default file ");
}

std::string Preferences::get_value_store_loc() const {
  utils::log_everything("launcher::Preferences::get_value_store_loc");
  return readPath("/bin/value.store", false, VALUE_STORE_FILE_KEY, DEFAULT_VALUE_STORE_FILE_NAME,
                  "Pref:value - Invalid Norvane Home Path, read from conf file",
                  "Pref:value - Exception @ get_value_store_loc returning default file ");
}

std::string Preferences::get_key_store_loc() const {
  utils::log_everything("launcher::Preferences::get_key_store_loc");
  return readPath("/bin/key.store", false, KEY_STORE_FILE_KEY, DEFAULT_KEY_STORE_FILE_NAME,
                  "Pref:key - Invalid Norvane Home Path, read from conf file",
                  "Pref:key - Exception @ get_key_store_loc returning default file ");
}

}  // namespace launcher
