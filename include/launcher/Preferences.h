// The process-wide settings, read once from <home>/conf/Norvane.conf.
//
// Every setting has a typed getter, a key constant and a default constant; a getter
// never fails: a missing key or file gives the default. Path getters prefer the home
// path from the machine store and read their key only when it is missing.
//
// Text read from the file is used as written, with two exceptions: getters whose
// default is a lower-case path or prefix lower-case the value, and on Linux only the
// fixed tail after the home path is lower-cased, never the home path itself.
#pragma once

#include <NorvaneExport.h>

#include <string>

namespace utils {
class KeyValueParser;
}

namespace launcher {

class NORVANE_API Preferences {
 public:
  // The singleton; thread-safe on first use.
  static Preferences* get_instance();

  // ---- unsigned integer settings ---------------------------------------------
  unsigned int get_listening_port_backlog() const;
  unsigned int get_max_processing_threads_count() const;
  unsigned int get_session_timeout() const;
  unsigned int get_max_user_count() const;
  unsigned int get_event_max_response_time() const;
  unsigned int get_event_grouping_time_gap() const;
  unsigned int get_event_queue_size_threshold() const;
  unsigned int get_max_events_retrievable() const;
  unsigned int get_max_events_downloadable() const;
  unsigned int get_max_events_client_handle() const;
  unsigned int get_monitorlog_level() const;
  // A stored 0 (or text that is no number) ends the process on the first reading.
  unsigned int get_perf_polling_duration() const;
  unsigned int get_time_sync_interval() const;
  unsigned int getInstallationType() const;
  unsigned int get_installation_oem_type() const;
  unsigned int getRepositoryCacheMode() const;
  unsigned int getRepositoryRetryCount() const;
  unsigned int getVolatileDataUpdateTime() const;
  unsigned int getDriveLocateTimeInterval() const;
  unsigned int getUserOptionToRetrieveEventList() const;
  unsigned int getBaseForDriveCapacityCalculation() const;
  unsigned int getProtocolValue() const;
  unsigned int getVirtualSGPIODisplayValue() const;
  unsigned int get_boot_event_count() const;
  unsigned int get_events_callback_at_once_vmware() const;
  unsigned int get_events_callback_at_once_count() const;
  unsigned long getLDAPPortNumber() const;

  // Read without any log statement: the logger's start uses the first four and
  // get_log_file_loc.
  unsigned int get_log_level() const;
  unsigned int get_log_file_cache_mode() const;
  unsigned int get_log_file_count() const;
  unsigned int get_log_file_size_in_mb() const;
  unsigned int getIPChangePollingInterval() const;
  unsigned int get_slp_find_service_interval() const;
  unsigned int get_enable_multicast() const;

  // ---- boolean settings ("true" or "1", any case, is true) -----------------
  bool get_statistics_mode() const;
  bool get_bypass_authentication() const;
  bool getLDAPMode() const;
  bool getLDAPAccessMode() const;

  // ---- text settings -----------------------------------------------------------
  std::string get_listening_port() const;
  std::string get_client_port() const;
  std::string get_uri_prefix() const;
  std::string get_firmware_file_loc() const;
  std::string getPrivateIPRangeDetails() const;
  std::string getNATDetails() const;
  std::string getLDAPServer() const;
  std::string getLDAPProtocolVersion() const;
  std::string getLDAPBindingMode() const;
  std::string getLDAPDNDetails() const;
  std::string getFullAccessGroups() const;
  std::string getReadOnlyAccessGroups() const;

  // ---- path settings -------------------------------------------------------------
  std::string get_log_file_loc() const;
  std::string get_monitorlog_filepath() const;
  std::string getLocalePath() const;
  std::string getPluginPath() const;
  std::string getManagedServerPath() const;
  std::string get_alert_config_file() const;
  std::string get_default_alert_config_file() const;
  std::string get_event_code_loc() const;
  std::string get_event_spec_loc(std::string locale) const;
  std::string get_event_spec_loc() const;
  std::string get_alert_param_loc(std::string locale) const;
  std::string get_alert_param_loc() const;
  std::string getHealthSpecFile(std::string locale) const;
  std::string getHealthSpecFile() const;
  std::string get_smtp_server_loc() const;
  std::string get_value_store_loc() const;
  std::string get_key_store_loc() const;

  // The default certificate subject, DEFAULT_SUB_NAME (SUB_NAME_KEY is not read).
  std::string get_subject_name() const;

  // Lower-cases path in place and stores it as FW_DIR for the life of the process.
  // Throws AppException when the file held no FW_DIR line.
  void set_firmware_file_loc(std::string& path) const;

  // Writes a complete commented configuration file with every current value to
  // <home><path> (or ..<path> without a home path). Throws AppException when the file
  // cannot be created.
  void generate_config_file(std::string path);

  // ---- keys ------------------------------------------------------------------------
  static const char* const LISTENING_PORT_BACKLOG_KEY;
  static const char* const REQUEST_MAX_THREAD_COUNT_KEY;
  static const char* const SESSION_TIMEOUT_KEY;
  static const char* const MAX_USER_COUNT_KEY;
  static const char* const EVENT_MAX_RESPONSE_TIME_KEY;
  static const char* const EVENT_GROUPING_TIME_GAP_KEY;
  static const char* const EVENT_QUEUE_SIZE_THRESHOLD_KEY;
  static const char* const NUM_EVENTS_CAN_RETRIEVE_KEY;
  static const char* const MAX_EVENTS_DOWNLOAD_KEY;
  static const char* const MAX_EVENTS_CLIENT_HANDLE_KEY;
  static const char* const MONITOR_LOG_LEVEL_KEY;
  static const char* const PERF_POLLING_DURATION_KEY;
  static const char* const TIME_SYNC_INTERVAL_KEY;
  static const char* const INSTALLATION_TYPE_KEY;
  static const char* const LOCALE_KEY;
  static const char* const REPOSITORY_CACHE_MODE;
  static const char* const REPOSITORY_RETRY_COUNTER;
  static const char* const VOLATILE_DATA_UPDATE_TIME;
  static const char* const DRIVES_LOCATE_TIME;
  static const char* const RETRIEVE_RANGE_EVENT_SINCE;
  static const char* const BASE_FOR_DRIVE_CAPACITY_CAL;
  static const char* const PROTOCOL_VALUE_KEY;
  static const char* const SGPIO_DISPLAY_VALUE_KEY;
  static const char* const RETRIEVE_BOOT_EVENT_COUNT_KEY;
  static const char* const EVENTS_CALLBACK_AT_ONCE_VMWARE_KEY;
  static const char* const EVENTS_CALLBACK_AT_ONCE_COUNT_KEY;
  static const char* const LDAP_PORT_DETAILS;
  static const char* const LOG_LEVEL_KEY;
  static const char* const LOG_CACHE_MODE_KEY;
  static const char* const LOGFILE_COUNT_KEY;
  static const char* const LOGFILE_SIZE_IN_MB_KEY;
  static const char* const IP_POLLING_INT_KEY;
  static const char* const SLP_FIND_INT_KEY;
  static const char* const MULTICAST_STATE_KEY;
  static const char* const STATISTICS_MODE_KEY;
  static const char* const BYPASS_AUTHENTICATION_KEY;
  static const char* const LDAP_MODE_KEY;
  static const char* const LDAP_ACCESS_MODE_KEY;
  static const char* const LISTENING_PORT_KEY;
  static const char* const CLIENT_LISTENING_PORT_KEY;
  static const char* const URI_PREFIX_KEY;
  static const char* const FW_FLASH_DIR_KEY;
  static const char* const PRIVATE_IP_KEY;
  static const char* const NAT_IPV4_IPV6_KEY;
  static const char* const LDAP_SERVER;
  static const char* const LDAP_PROTOCOL_VERSION;
  static const char* const LDAP_BINDING_MODE;
  static const char* const LDAP_DN_DETAILS;
  static const char* const FULL_ACCESS_GROUPS;
  static const char* const READ_ONLY_ACCESS_GROUPS;
  static const char* const LOG_FILE_KEY;
  static const char* const MONITOR_LOG_FILE_PATH_KEY;
  static const char* const LOCALE_PATH_KEY;
  static const char* const PLUGIN_PATH_FILE_KEY;
  static const char* const MANAGED_SERVER_FILE_KEY;
  static const char* const ALERT_CONFIG_FILE_KEY;
  static const char* const EVENT_CODE_LOC_FILE_KEY;
  static const char* const EVENT_SPEC_LOC_FILE_KEY;
  static const char* const ALERT_PARAM_LOC_FILE_KEY;
  static const char* const HEALTH_SPEC_FILE_KEY;
  static const char* const SMTP_FILE_KEY;
  static const char* const VALUE_STORE_FILE_KEY;
  static const char* const KEY_STORE_FILE_KEY;
  static const char* const SUB_NAME_KEY;

  // ---- defaults ------------------------------------------------------------------
  static const unsigned int DEFAULT_LISTENING_PORT_BACKLOG = 256;
  static const unsigned int DEFAULT_REQUEST_MAX_THREAD_COUNT = 15;
  static const unsigned int DEFAULT_SESSION_TIMEOUT = 180;
  static const unsigned int DEFAULT_MAX_USER_COUNT = 9;
  static const unsigned int DEFAULT_EVENT_MAX_RESPONSE_TIME = 55;
  static const unsigned int DEFAULT_EVENT_GROUPING_TIME_GAP = 1;
  static const unsigned int DEFAULT_EVENT_QUEUE_SIZE_THRESHOLD = 2048;
  static const unsigned int DEFAULT_NUM_EVENTS_CAN_RETRIEVE = 30;
  static const unsigned int DEFAULT_NUM_EVENTS_CAN_DOWNLOAD = 300;
  static const unsigned int DEFAULT_MAX_EVENTS_CLIENT_HANDLE = 30;
  static const unsigned int MONITOR_LOG_LEVEL = 1;
  static const unsigned int DEFAULT_PERF_POLLING_DURATION = 15;
  static const unsigned int DEFAULT_TIME_SYNC_INTERVAL = 60;
  static const unsigned int DEFAULT_INSTALLATION_TYPE = 0;
  static const unsigned int DEFAULT_LOCALE = 1;
  static const unsigned int DEFAULT_REPOSITORY_CACHE_MODE = 0;
  static const unsigned int DEFAULT_REPOSITORY_RETRY_COUNTER = 8;
  static const unsigned int DEFAULT_VOLATILE_DATA_UPDATE_TIME = 300;
  static const unsigned int DEFAULT_DRIVES_LOCATE_TIME = 300;
  static const unsigned int DEFAULT_RETRIEVE_RANGE_EVENT_SINCE = 0;
  static const unsigned int DEFAULT_BASE_FOR_DRIVE_CAPACITY_CAL = 1024;
  static const unsigned int DEFAULT_PROTOCOL_VALUE = 0;
  static const unsigned int DEFAULT_SGPIO_DISPLAY_VALUE = 1;
  static const unsigned int DEFAULT_RETRIEVE_BOOT_EVENT_COUNT = 30;
  static const unsigned int DEFAULT_EVENTS_CALLBACK_AT_ONCE_VMWARE = 0;
  static const unsigned int DEFAULT_EVENTS_CALLBACK_AT_ONCE_COUNT = 30;
  static const unsigned long DEFAULT_LDAP_PORT_DETAILS = 389;
  static const unsigned int DEFAULT_LOG_LEVEL = 64;
  static const unsigned int DEFAULT_LOG_CACHE_MODE = 1;
  static const unsigned int DEFAULT_LOGFILE_COUNT = 4;
  static const unsigned int DEFAULT_LOGFILE_SIZE_IN_MB = 25;
  static const unsigned int DEFAULT_IP_POLLING_INT = 60;
  static const unsigned int DEFAULT_SLP_FIND_INT = 60;
  static const unsigned int DEFAULT_MULTICAST_STATE = 0;
  static const bool DEFAULT_STATISTICS_MODE = true;
  static const bool DEFAULT_BYPASS_AUTHENTICATION = false;
  static const bool DEFAULT_LDAP_MODE = false;
  static const bool DEFAULT_LDAP_ACCESS_MODE = true;
  static const char* const DEFAULT_LISTENING_PORT;
  static const char* const LISTENING_DEFAULT_CLIENT_PORT;
  static const char* const DEFAULT_URI_PREFIX;
  static const char* const DEFAULT_FW_FLASH_DIR;
  static const char* const DEFAULT_PRIVATE_IP_KEY;
  static const char* const DEFAULT_NAT_IPV4_IPV6_KEY;
  static const char* const DEFAULT_LDAP_SERVER;
  static const char* const DEFAULT_LDAP_PROTOCOL_VERSION;
  static const char* const DEFAULT_BINDING_MODE;
  static const char* const DEFAULT_DN_DETAILS;
  static const char* const DEFAULT_FULL_ACCESS_GROUPS;
  static const char* const DEFAULT_READ_ONLY_ACCESS_GROUPS;
  static const char* const DEFAULT_LOG_FILE_NAME;
  static const char* const MONITOR_LOG_FILE_PATH_NAME;
  static const char* const DEFAULT_LOCALE_PATH;
  static const char* const DEFAULT_PLUGIN_LOC_FILE_NAME;
  static const char* const DEFAULT_MANAGED_SERVER_FILE_NAME;
  static const char* const DEFAULT_ALERT_CONFIG_FILE_NAME;
  static const char* const DEFAULT_EVENT_CODE_LOC_FILE_NAME;
  static const char* const DEFAULT_EVENT_SPEC_LOC_FILE_NAME;
  static const char* const DEFAULT_ALERT_PARAM_LOC_FILE_NAME;
  static const char* const DEFAULT_HEALTH_SPEC_FILE_NAME;
  static const char* const DEFAULT_SMTP_FILE_NAME;
  static const char* const DEFAULT_VALUE_STORE_FILE_NAME;
  static const char* const DEFAULT_KEY_STORE_FILE_NAME;

  // ---- constants no getter reads -----------------------------------------------------
  static const char* const SERVER_CONFIG_FILE_NAME;  // "../conf/Norvane.conf"
  static const char* const DEFAULT_SUB_NAME;
  static const char* const DEFAULT_FULL_ACCESS_GROUPS_NON_WINDOWS;      // "root"
  static const char* const DEFAULT_READ_ONLY_ACCESS_GROUPS_NON_WINDOWS;  // "users"

 protected:
  Preferences();
  virtual ~Preferences();

 private:
  Preferences(const Preferences&) = delete;
  Preferences& operator=(const Preferences&) = delete;

  static const char* getDefaultKeyValueSeperator();

  unsigned int readUnsigned(const char* key, unsigned int defaultValue) const;
  unsigned long readUnsignedLong(const char* key, unsigned long defaultValue) const;
  bool readBool(const char* key, bool defaultValue) const;
  std::string readText(const char* key, const char* defaultValue, bool lowerCase) const;
  std::string readPath(const std::string& tail, const char* key, const char* defaultValue,
                       const char* noHomeMessage, const char* noKeyMessage) const;

  utils::KeyValueParser* m_config_parser;
};

}  // namespace launcher
