// The settings singleton and the configuration file it generates, each read in fresh
// child processes from an installation prepared in the parent.
#include <launcher/Preferences.h>
#include <utils/AppException.h>
#include <utils/Log.h>
#include <utils/MachineStore.h>

#include <gtest/gtest.h>

#include <unistd.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <iostream>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "support/ChildProcess.h"
#include "support/TempInstallation.h"
#include "utils/ConversionTestSupport.h"

using namespace testsupport;
using conversiontest::expectAll;
using launcher::Preferences;
using Settings = std::map<std::string, std::string>;

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

// Generates args[2] (relative to the home) in a child with store args[0] and work
// directory args[1]; prints the exception text when there is one.
NORVANE_CHILD(generate_config) {
  utils::MachineStore::setRoot(args[0]);
  std::filesystem::current_path(args[1]);
  int status = 0;
  try {
    launcher::Preferences::get_instance()->generate_config_file(args[2]);
  } catch (utils::AppException& error) {
    std::cout << error.what() << "\n";
    status = 3;
  }
  utils::formatted_log_t::uninitializeLogger();
  return status;
}

namespace {

// The work directory of the children: <root>/bin, so the fallback "../conf/Norvane.conf"
// is <root>/conf/Norvane.conf.
std::string workDirectory(const TempInstallation& installation) {
  const std::string work = installation.root() + "/bin";
  std::filesystem::create_directories(work);
  return work;
}

// Every getter's value, read in a child with the installation's store and work directory.
Settings readSettings(const TempInstallation& installation) {
  ChildResult result = runChild("preferences_dump", {installation.storeRoot(), workDirectory(installation)});
  EXPECT_EQ(0, result.exitCode) << result.output;
  Settings settings;
  std::istringstream lines(result.output);
  for (std::string line; std::getline(lines, line);) {
    const std::string::size_type equals = line.find('=');
    if (equals != std::string::npos) settings.emplace(line.substr(0, equals), line.substr(equals + 1));
  }
  return settings;
}

// Nothing registered: <root>/conf and <root>/Logs, where the fallback route from the
// work directory finds the configuration file and writes the log.
void prepareFallbackRoute(const TempInstallation& installation) {
  std::filesystem::create_directories(installation.root() + "/conf");
  std::filesystem::create_directories(installation.root() + "/Logs");
}

// Generates `relative` (to the home) in a child; expects its exit code and gives its output.
std::string generate(const TempInstallation& installation, const std::string& relative = "/conf/Norvane.conf",
                     int exitCode = 0) {
  const ChildResult result =
      runChild("generate_config", {installation.storeRoot(), workDirectory(installation), relative});
  EXPECT_EQ(exitCode, result.exitCode) << result.output;
  return result.output;
}

// The generated file with every default, @HOME@ standing for the home path.
const char kGeneratedDefaults[] =
    "# Subject name\n"
    "SUB_NAME = C=US,ST=California,L=San Jose,O=Kestrane,OU=Storage Management,CN=localhost,emailAddress=root@localhost\n"
    "# Kestrane WEB GUI configuration file\n# Generated by : System generated\n\n"
    "# Socket port to which server would listen\n# Please keep it same as per the nginx configuration\n"
    "listening_port = 9000\nlistening_port_backlog = 256\n\n"
    "#Client Listening Port\nclient_listening_port = 2463\n\n"
    "# Thread Pool Configuration\n\n"
    "# Maximum Thread Count for Request Pool. Should be greater than Maximum concurrent user count. Default value 15\n"
    "request_max_thread_count = 15\n\n"
    "# REST API prefix (case insensitive)\nuri_prefix = /kestrane/storage/ctl/api/1.0\n\n"
    "# Session timeout (in sec.) for client (default 3 min)\nsession_timeout = 180\n\n"
    "# Maximum concurrent user count (default 9)\nmax_user_count = 9\n\n"
    "# Maximum event response time (default 1 min)\nmax_event_response_time = 55\n\n"
    "# Maximum event grouping time gap (default 1 sec. Set it to 0 to get real time events. if events and progress are populated slower than expected then event grouping value can be modified to zero. delay in events are common from ESXi env)\n"
    "event_grouping_time_gap = 1\n\n"
    "# Maximum number of events which can be stored in event-queue\n# After that it will behave like a cyclic queue\n"
    "event_queue_size_threshold = 2048\n\n"
    "# Keep plugin level execution statistics\nstatistics_mode = true\n\n"
    "# Current Alert Configuration file Name and Path\n"
    "alert_config-current = @HOME@/conf/monitor/config-current.json\n\n"
    "# Alert Specification file Name and Path\nhealth_spec = @HOME@/conf/languages/en-US/healthspec.json\n\n"
    "# Alert Params Localization file Name and Path\nalert_param = @HOME@/conf/languages/en-US/alertparam.ini\n\n"
    "# Event Specification file Name and Path\nevent_spec = @HOME@/conf/languages/en-US/ctl_events_spec.ini\n\n"
    "# Event Code file's Name and Path\nevent_code = @HOME@/conf/monitor/eventcode.ini\n\n"
    "# Key Store file's Name and Path\nkey_store = @HOME@/bin/key.store\n\n"
    "# Value Store file's Name and Path\nvalue_store = @HOME@/bin/value.store\n\n"
    "# SMTP Server file's Name and Path\nsmtp_server = @HOME@/bin/smtpServer\n\n"
    "# Maximum number of events can retrieve as history for an individual call\nmax_events_retrieve_count = 30\n\n"
    "# Log level used (NOLOG=0,PERF=1,CRITICAL=2,ERROR=4,WARNING=8,INFO=16,DEBUG=32,FUNCTION_ENTRY=64, EVERYTHING=255\n"
    "log_level = 64\n\n"
    "# Log cache (1=enable, 0=disable); enable to get performance benefit or disable to get updated file always\n"
    "log_cache_mode = 1\n\n"
    "# Log file Name and Path\nlog_file = @HOME@/logs/norvane.txt\n\n"
    "#Path of the plug-in DLL file(s) to load at the launch time\nPLUGIN_PATH = @HOME@/plugins/\n\n"
    "#Maximum number of events Client can handle in a call\nmax_events_client_handle = 30\n\n"
    "#Path of the monitor log file used for the event history\nmonitor_log_path = @HOME@/conf/monitor/logs/\n\n"
    "#Monitor log event level (0=no logging, 1=log only non persisted controller events, 255=log all)\n"
    "monitor_log_level = 1\n\n"
    "# Duration for virtual drives performance collection\nperf_duration = 15\n\n"
    "# Location to store firmware flash image files\nFW_DIR = /server/upload_files\n\n"
    "# LDAP Mode (1=enable, 0=disable); enable to get LDAP Login benefit or disable to opt out of LDAP Login\n"
    "ldap_mode = 0\n\n"
    "# LDAP Server\nldap_server = \n\n"
    "# LDAP Protocol version\nldap_protocol_version = v3\n\n"
    "# LDAP_BINDING\nldap_binding = BASIC\n\n"
    "# LDAP_DN_DETAILS\ndn_details = \n\n"
    "# LDAP Port Number\nldap_port_number = 389\n\n"
    "# NAT Details\nnat_ipv4_ipv6 = \n\n"
    "# LDA Access Mode (1=READ-ONLY, 0=FULL-ACCESS)\nreadOnly = 1\n\n"
    "#Path of the Managed Server file(s) to load at the launch time\n"
    "MANAGED_SERVER_PATH = @HOME@/bin/managedservers/\n\n"
    "# Norvane Installation Type User Performed(0=Gateway,1=StandAlone,2=DirectAgent,129=LightWeightMonitor)\n"
    "installation_type = 0\n\n"
    "# Repository Cache Mode(0=Quick,1=Lazy)\nrepository_cache_mode = 0\n\n"
    "# set interval time for slp find service (in seconds)\nslp_find_service_interval = 60\n\n"
    "# enable multicast (0 = disable, 1 = enable)\nenable_multicast = 0\n\n"
    "# maximum downloadable events\nmax_events_download_count = 300\n\n"
    "# controller time sync interval in minutes. Default=60\ncontroller_time_sync_interval = 60\n\n"
    "#Private IP Range Details(Example:10,169 etc.,)\nprivate_ip_range = \n\n"
    "# Set IP change time for polling (in seconds)\nip_polling_interval = 60\n\n"
    "# Interval for volatile data update (60=min seconds, 3600=max seconds)\nvolatile_data_update_interval = 300\n\n"
    "# Interval for Drives locate (1=min seconds)\ndrives_locate_interval = 300\n\n"
    "# maximum log file count (max = 255)\nlog_file_count = 4\n\n"
    "# maximum log file size in MB (max = 255)\nlog_file_size = 25\n\n"
    "# bypass authentication (use with caution)\nbypass_authentication = 0\n\n"
    "# Retrieve range of events used to generate alert notification, if Norvane not found LastProcessedSeqNum.\n"
    "# (0=Since Last Shutdown, 1=Since Last Clear, 2=Since Last Reboot, 3=Since Newest\n"
    "retrieve_range_of_events_since = 0\n\n"
    "# locale id, this is used to set installation locale\nlocale = 1\n\n"
    "# Base for drive capacity calculation \nbase_for_drive_capacity_calculation = 1024\n\n"
    "# Protocol Value (0=HTTP(Unsecure connection mislead security), 1=HTTPS)\nprotocol_type = 0\n\n"
    "# Empty Virtual SGPIO Display Value (0=Disable, 1=Enable)\nempty_SGPIO_display = 1\n\n"
    "# Number of boot events wants to retrieve(30=Default)\nboot_event_count = 30\n"
    "# Process AEN callbacks in single shot if this value is set (0=disabled, 1=enabled)\n"
    "events_callback_at_once_vmware = 0\n\n"
    "# Process AEN callbacks in single shot if greater than or equal to this value\nevent_count_to_aen_process = 30\n\n"
    "# Repository Retry Counter (1=min count)\nrepository_retry_counter = 8\n\n"
    "# User Groups who can have a FULL (or) Admin ACCESS to Norvane (Example:Administrators)\n"
    "full_access_groups = Administrators\n\n"
    "# User Groups who can have a Read-Only (or) Non-Admin ACCESS to Norvane (Example:Authenticated Users )\n"
    "readonly_access_groups = Authenticated Users\n\n";

// The defaults of every getter with a valid home path and no configuration file.
Settings defaultsUnder(const std::string& home) {
  Settings defaults = {
      {"get_listening_port_backlog", "256"}, {"get_max_processing_threads_count", "15"},
      {"get_session_timeout", "180"}, {"get_max_user_count", "9"}, {"get_event_max_response_time", "55"},
      {"get_event_grouping_time_gap", "1"}, {"get_event_queue_size_threshold", "2048"},
      {"get_max_events_retrievable", "30"}, {"get_max_events_downloadable", "300"},
      {"get_max_events_client_handle", "30"}, {"get_monitorlog_level", "1"}, {"get_perf_polling_duration", "15"},
      {"get_time_sync_interval", "60"}, {"getInstallationType", "0"}, {"get_installation_oem_type", "1"},
      {"getRepositoryCacheMode", "0"}, {"getRepositoryRetryCount", "8"}, {"getVolatileDataUpdateTime", "300"},
      {"getDriveLocateTimeInterval", "300"}, {"getUserOptionToRetrieveEventList", "0"},
      {"getBaseForDriveCapacityCalculation", "1024"}, {"getProtocolValue", "0"}, {"getVirtualSGPIODisplayValue", "1"},
      {"get_boot_event_count", "30"}, {"get_events_callback_at_once_vmware", "0"},
      {"get_events_callback_at_once_count", "30"}, {"getLDAPPortNumber", "389"}, {"get_log_level", "64"},
      {"get_log_file_cache_mode", "1"}, {"get_log_file_count", "4"}, {"get_log_file_size_in_mb", "25"},
      {"getIPChangePollingInterval", "60"}, {"get_slp_find_service_interval", "60"}, {"get_enable_multicast", "0"},
      {"get_statistics_mode", "true"}, {"get_bypass_authentication", "false"}, {"getLDAPMode", "false"},
      {"getLDAPAccessMode", "true"}, {"get_listening_port", "9000"}, {"get_client_port", "2463"},
      {"get_uri_prefix", "/kestrane/storage/ctl/api/1.0"}, {"get_firmware_file_loc", "/server/upload_files"},
      {"getPrivateIPRangeDetails", ""}, {"getNATDetails", ""}, {"getLDAPServer", ""},
      {"getLDAPProtocolVersion", "v3"}, {"getLDAPBindingMode", "BASIC"}, {"getLDAPDNDetails", ""},
      {"getFullAccessGroups", "Administrators"}, {"getReadOnlyAccessGroups", "Authenticated Users"},
      {"get_subject_name", "C=US,ST=California,L=San Jose,O=Kestrane,OU=Storage Management,CN=localhost,"
                           "emailAddress=root@localhost"},
  };
  const std::pair<const char*, const char*> underHome[] = {
      {"get_log_file_loc", "/logs/norvane.txt"}, {"get_monitorlog_filepath", "/conf/monitor/logs/"},
      {"getLocalePath", "/conf/languages/"}, {"getPluginPath", "/plugins/"},
      {"getManagedServerPath", "/bin/managedservers/"},
      {"get_alert_config_file", "/conf/monitor/config-current.json"},
      {"get_default_alert_config_file", "/conf/monitor/config-default.json"},
      {"get_event_code_loc", "/conf/monitor/eventcode.ini"},
      {"get_event_spec_loc", "/conf/languages/en-US/ctl_events_spec.ini"},
      {"get_alert_param_loc", "/conf/languages/en-US/alertparam.ini"},
      {"getHealthSpecFile", "/conf/languages/en-US/healthspec.json"}, {"get_smtp_server_loc", "/bin/smtpServer"},
      {"get_value_store_loc", "/bin/value.store"}, {"get_key_store_loc", "/bin/key.store"},
      {"get_event_spec_loc(de-DE)", "/conf/languages/de-DE/ctl_events_spec.ini"},
      {"get_alert_param_loc(de-DE)", "/conf/languages/de-DE/alertparam.ini"},
      {"getHealthSpecFile(de-DE)", "/conf/languages/de-DE/healthspec.json"},
  };
  for (const auto& [getter, tail] : underHome) defaults[getter] = home + tail;
  return defaults;
}

// Each expected getter value, named on failure; `expected` may cover only some getters.
void expectSettings(const Settings& expected, const Settings& actual) {
  for (const auto& [getter, value] : expected) {
    EXPECT_EQ(value, actual.count(getter) != 0 ? actual.at(getter) : "<no such getter>") << getter;
  }
}

}  // namespace

TEST(PreferencesConstantsTest, KeysAndDefaultsThatNoGetterReads) {
  const unsigned int& bound = Preferences::DEFAULT_LOG_LEVEL;  // has an address in the library
  conversiontest::expectRows({
      ROW("../conf/Norvane.conf", Preferences::SERVER_CONFIG_FILE_NAME), ROW("SUB_NAME", Preferences::SUB_NAME_KEY),
      ROW("root", Preferences::DEFAULT_FULL_ACCESS_GROUPS_NON_WINDOWS),
      ROW("users", Preferences::DEFAULT_READ_ONLY_ACCESS_GROUPS_NON_WINDOWS),
      ROW("empty_SGPIO_display", Preferences::SGPIO_DISPLAY_VALUE_KEY),
      ROW("readOnly", Preferences::LDAP_ACCESS_MODE_KEY),
      ROW("event_count_to_aen_process", Preferences::EVENTS_CALLBACK_AT_ONCE_COUNT_KEY),
      ROW("389", Preferences::DEFAULT_LDAP_PORT_DETAILS), ROW("64", bound),
  });
}

// The defaults, warned without deadlock, are written line for line and read back; a
// file that cannot be created throws.
TEST(PreferencesTest, DefaultsWithHomeAndNoFileAreWarnedGeneratedAndReadBack) {
  HomedInstallation installation;
  const Settings defaults = readSettings(installation);
  EXPECT_EQ(defaultsUnder(installation.home()).size(), defaults.size());
  expectSettings(defaultsUnder(installation.home()), defaults);
  expectAll(installation.readHomeFile("logs/norvane.txt"),
            {"| Warning   : KVP:readCfg - Cann't open config file " + installation.home() +
             "/conf/Norvane.conf; using the server default"});
  generate(installation);
  EXPECT_EQ(std::regex_replace(kGeneratedDefaults, std::regex("@HOME@"), installation.home()),
            installation.readHomeFile("conf/Norvane.conf"));
  EXPECT_EQ(defaults, readSettings(installation));
  EXPECT_EQ("File : ..\\..\\..\\..\\launcher\\Preferences Line : 1710 Exception : Unknown exception\n",
            generate(installation, "/no/such/dir/Norvane.conf", 3));
}

// A home with capitals keeps them: only the fixed tail of a path getter is lower-cased.
TEST(PreferencesTest, ValuesFromTheFileWithTheirQuirksUnderAHomeWithCapitals) {
  TempInstallation installation;
  const std::string home = installation.root() + "/Norvane Home";
  std::filesystem::create_directories(home + "/conf");
  std::filesystem::create_directories(home + "/logs");
  installation.registerHome(home);
  const struct { std::string line, getter, expected; } rows[] = {
      {"session_timeout =", "get_session_timeout", "0"},  // empty value: atoi gives 0
      {"log_file_count = abc", "get_log_file_count", "0"},  // no number: 0, not the default
      {"max_user_count = -1", "get_max_user_count", "4294967295"},  // wraps, no range test
      {"ldap_port_number = -1", "getLDAPPortNumber", "18446744073709551615"},
      {"listening_port_backlog = 12abc", "get_listening_port_backlog", "12"},
      {"perf_duration = 5", "get_perf_polling_duration", "5"},
      {"statistics_mode = yes", "get_statistics_mode", "false"},
      {"bypass_authentication = TRUE", "get_bypass_authentication", "true"},
      {"ldap_mode = 1", "getLDAPMode", "true"},
      {"readOnly = 0", "getLDAPAccessMode", "false"},
      {"uri_prefix = /Kestrane/API", "get_uri_prefix", "/kestrane/api"},
      {"FW_DIR = C:\\Upload", "get_firmware_file_loc", "c:\\upload"},
      {"ldap_binding = Digest", "getLDAPBindingMode", "Digest"},
      {"full_access_groups = Storage Admins", "getFullAccessGroups", "Storage Admins"},
      // With a home path the path keys are not read.
      {"key_store = /elsewhere/key.store", "get_key_store_loc", home + "/bin/key.store"},
      {"log_file = /elsewhere/log.txt", "get_log_file_loc", home + "/logs/norvane.txt"},
  };
  std::string text;
  Settings expected = defaultsUnder(home);  // untouched keys keep their defaults
  for (const auto& row : rows) {
    text += row.line + "\n";
    expected[row.getter] = row.expected;
  }
  writeFile(home + "/conf/Norvane.conf", text);
  expectSettings(expected, readSettings(installation));
}

// Nothing registered: the configuration file is "../conf/Norvane.conf" from the work
// directory <root>/bin, and the log the fallback "../Logs/norvane.txt".
TEST(PreferencesTest, FallbackRouteReadsPathKeysLowerCasedAndLogsWhy) {
  TempInstallation installation;
  prepareFallbackRoute(installation);
  writeFile(installation.root() + "/conf/Norvane.conf",
                         "session_timeout = 240\nkey_store = /Etc/Key.Store\nevent_spec = /Lang/Events.INI\n"
                         "alert_config-current = /Conf/Current.json\nPLUGIN_PATH = /Opt/Plugins\n");
  expectSettings({{"get_session_timeout", "240"}, {"get_key_store_loc", "/etc/key.store"},
                  {"get_event_spec_loc", "/lang/events.ini"},
                  {"get_event_spec_loc(de-DE)", "/lang/events.ini"},  // the locale plays no part
                  {"get_alert_config_file", "/conf/current.json"},
                  {"get_default_alert_config_file", "/conf/current.json"}, {"getPluginPath", "/opt/plugins"},
                  // Keys absent from the file give the fallbacks as they stand.
                  {"get_log_file_loc", "../Logs/norvane.txt"}, {"get_monitorlog_filepath", "conf/monitor/logs/"},
                  {"getLocalePath", "../conf/languages"}, {"getManagedServerPath", "/bin/managedservers"},
                  {"get_event_code_loc", "../conf/monitor/eventcode.ini"},
                  {"get_alert_param_loc", "../conf/languages/en-US/alertparam.ini"},
                  {"getHealthSpecFile(de-DE)", "../conf/languages/en-US/healthspec.json"},
                  {"get_smtp_server_loc", "./bin/smtpServer"}, {"get_value_store_loc", "./bin/value.store"}},
                 readSettings(installation));
  const std::string log = readFile(installation.root() + "/Logs/norvane.txt");
  const std::string readFrom = " - Invalid Norvane Home Path, read from ";
  const std::string exception = " - Exception @ ";
  expectAll(log, {"| Error     : Pref:key" + readFrom + "conf file",
                  "| Error     : Pref:evtSpecL" + readFrom + "conf file",
                  "| Error     : Pref:dalertCfgFile" + readFrom + "default conf file",
                  "| Error     : Pref:monLog" + exception + "getMonitorLogFilePath returning default file ",
                  "| Error     : Pref:localePath" + exception + "LOCALE_PATH returning default file ",
                  "| Error     : Pref:manageP" + exception + "MANAGED_SERVER returning default file ",
                  "| Error     : Pref:evtCode" + exception + "get_alert_param_loc returning default file ",
                  "| Error     : Pref:getHealthL" + exception + "get_alert_spec_file returning default file ",
                  "| Error     : Pref:healthSpc" + exception + "get_alert_spec_file returning default file ",
                  "| Error     : Pref:smtp" + exception + "get_smtp_servr_loc returning default file "});
  EXPECT_EQ(std::string::npos, log.find("log_file")) << log;  // get_log_file_loc falls back silently
}

TEST(PreferencesTest, EntryTracesExceptForTheLoggersOwnGetters) {
  HomedInstallation installation("log_level = 255\nlog_cache_mode = 0\n");
  readSettings(installation);
  const std::string log = installation.readHomeFile("logs/norvane.txt");
  std::vector<std::string> expected = {"Pref:FullAccG - FULL_ACCESS_GROUPS value is:Administrators\n",
                                       "Pref:FullAccG - DEFAULT_FULL_ACCESS_GROUPS value is:Administrators\n",
                                       "Pref:FullAccG - nResult value is:0\n"};
  for (const char* traced : {"get_session_timeout", "getLDAPPortNumber", "get_perf_polling_duration",
                             "get_statistics_mode", "get_uri_prefix", "get_key_store_loc",
                             "getHealthSpecFile", "get_subject_name", "getFullAccessGroups"}) {
    expected.push_back(std::string("| Everything: launcher::Preferences::") + traced + "\n");
  }
  expectAll(log, expected);
  for (const char* silent : {"get_log_level", "get_log_file_cache_mode", "get_log_file_count",
                             "get_log_file_size_in_mb", "getIPChangePollingInterval",
                             "get_slp_find_service_interval", "get_enable_multicast", "get_log_file_loc"}) {
    EXPECT_EQ(std::string::npos, log.find(std::string("launcher::Preferences::") + silent + "\n")) << silent;
  }
}

NORVANE_CHILD(read_perf_duration) {
  utils::MachineStore::setRoot(args[0]);
  return static_cast<int>(launcher::Preferences::get_instance()->get_perf_polling_duration());
}

TEST(PreferencesTest, ZeroPerfDurationEndsTheProcess) {
  const struct { const char* config; int signal, exitCode; } rows[] = {
      {"perf_duration = 0\n", SIGABRT, -1}, {"perf_duration = none\n", SIGABRT, -1}, {"", 0, 15}};
  for (const auto& row : rows) {
    HomedInstallation installation(row.config);
    ChildResult result = runChild("read_perf_duration", {installation.storeRoot()});
    EXPECT_EQ(row.signal, result.signal) << row.config << result.output;
    EXPECT_EQ(row.exitCode, result.exitCode) << row.config;
  }
}

NORVANE_CHILD(set_firmware_location) {
  utils::MachineStore::setRoot(args[0]);
  const launcher::Preferences& preferences = *launcher::Preferences::get_instance();
  std::string path = "C:\\FW";
  try {
    preferences.set_firmware_file_loc(path);
  } catch (utils::AppException& error) {
    std::cout << "thrown: " << error.what() << "\n";
  }
  std::cout << "caller: " << path << "\ngetter: " << preferences.get_firmware_file_loc() << "\n";
  return 0;
}

// The value is lower-cased and kept in memory only; without the key in the file it throws.
TEST(PreferencesTest, SetFirmwareLocation) {
  const struct { const char *config, *output; } rows[] = {
      {"FW_DIR = /old\n", "caller: c:\\fw\ngetter: c:\\fw\n"},
      {"session_timeout = 1\n",
       "thrown: File : ..\\..\\..\\..\\utils\\KeyValueParser Line : 115 Exception : Unknown exception\n"
       "caller: c:\\fw\ngetter: /server/upload_files\n"},
  };
  for (const auto& row : rows) {
    HomedInstallation installation(row.config);
    EXPECT_EQ(row.output, runChild("set_firmware_location", {installation.storeRoot()}).output) << row.config;
    EXPECT_EQ(row.config, installation.readHomeFile("conf/Norvane.conf"));
  }
}

// args[1] threads use the settings for the first time; the even ones start the logger
// first, so with one thread the logger's start waits on the parser's warning.
NORVANE_CHILD(first_use_from_threads) {
  alarm(60);  // a deadlock ends the child instead of the test run
  utils::MachineStore::setRoot(args[0]);
  std::vector<std::thread> threads;
  std::atomic<int> wrong{0};
  for (int i = 0; i < std::stoi(args[1]); ++i) {
    threads.emplace_back([i, &wrong] {
      if (i % 2 == 0) utils::log_info("thread %1% logs first") % i;
      if (launcher::Preferences::get_instance()->get_max_user_count() != 9) ++wrong;
      utils::log_info("thread %1% done") % i;
    });
  }
  for (std::thread& thread : threads) thread.join();
  utils::formatted_log_t::uninitializeLogger();
  return wrong.load();
}

TEST(PreferencesTest, FirstUseWithTheLoggerStartedFirstWarnsOnceAndLogsEveryLine) {
  for (int threads : {1, 8}) {
    HomedInstallation installation;
    ChildResult result = runChild("first_use_from_threads", {installation.storeRoot(), std::to_string(threads)});
    ASSERT_EQ(0, result.exitCode) << threads << " threads: " << result.output;
    const std::string log = installation.readHomeFile("logs/norvane.txt");
    const std::string warning = "| Warning   : KVP:readCfg - Cann't open config file";
    EXPECT_EQ(log.find(warning), log.rfind(warning)) << log;  // once: expectAll below shows it is there
    std::vector<std::string> lines = {warning, "| Info      : thread 0 logs first\n"};
    for (int i = 0; i < threads; ++i) lines.push_back("| Info      : thread " + std::to_string(i) + " done\n");
    expectAll(log, lines);
  }
}

TEST(GenerateConfigTest, GeneratedFileReadsBackToTheSameValues) {
  HomedInstallation installation(
      "session_timeout = 600\nbypass_authentication = true\nuri_prefix = /API/v2\n"
      "ldap_mode = TRUE\nreadOnly = false\nstatistics_mode = 0\nlog_level = 32\n"
      "ldap_server = ldap.example.test\nfull_access_groups = Storage Admins\n"
      "FW_DIR = /Firmware\nperf_duration = 30\nlog_file_count = 9\n");
  const Settings before = readSettings(installation);
  EXPECT_EQ("600", before.at("get_session_timeout"));
  generate(installation);
  expectAll(installation.readHomeFile("conf/Norvane.conf"),
            {"\nbypass_authentication = 1\n", "\nstatistics_mode = false\n", "\nreadOnly = 0\n",
             "\nuri_prefix = /api/v2\n"});
  EXPECT_EQ(before, readSettings(installation));
}

TEST(GenerateConfigTest, WithoutHomeThePathGoesUnderTheParentDirectory) {
  TempInstallation installation;
  prepareFallbackRoute(installation);
  generate(installation);
  // Work directory <root>/bin: "../conf/Norvane.conf" is <root>/conf/Norvane.conf.
  expectAll(testsupport::readFile(installation.root() + "/conf/Norvane.conf"),
            {"\nkey_store = ./bin/key.store\n", "\nlog_file = ../Logs/norvane.txt\n"});
  expectAll(testsupport::readFile(installation.root() + "/Logs/norvane.txt"),
            {"| Error     : Pref:genConf - Invalid Norvane Home Path, using default conf file path"});
}
