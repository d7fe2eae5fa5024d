#include <launcher/Preferences.h>
#include <utils/AppException.h>
#include <utils/Log.h>
#include <utils/MachineStore.h>

#include <gtest/gtest.h>

#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <iostream>
#include <atomic>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "PreferencesTestSupport.h"
#include "support/ChildProcess.h"
#include "support/TempInstallation.h"

using launcher::Preferences;
using preferencestest::readSettings;
using testsupport::ChildResult;
using testsupport::runChild;
using testsupport::TempInstallation;

namespace {

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

// The defaults of every getter with a valid home path and no configuration file.
std::map<std::string, std::string> defaultsUnder(const std::string& home) {
  return {
      {"get_listening_port_backlog", "256"},
      {"get_max_processing_threads_count", "15"},
      {"get_session_timeout", "180"},
      {"get_max_user_count", "9"},
      {"get_event_max_response_time", "55"},
      {"get_event_grouping_time_gap", "1"},
      {"get_event_queue_size_threshold", "2048"},
      {"get_max_events_retrievable", "30"},
      {"get_max_events_downloadable", "300"},
      {"get_max_events_client_handle", "30"},
      {"get_monitorlog_level", "1"},
      {"get_perf_polling_duration", "15"},
      {"get_time_sync_interval", "60"},
      {"getInstallationType", "0"},
      {"get_installation_oem_type", "1"},
      {"getRepositoryCacheMode", "0"},
      {"getRepositoryRetryCount", "8"},
      {"getVolatileDataUpdateTime", "300"},
      {"getDriveLocateTimeInterval", "300"},
      {"getUserOptionToRetrieveEventList", "0"},
      {"getBaseForDriveCapacityCalculation", "1024"},
      {"getProtocolValue", "0"},
      {"getVirtualSGPIODisplayValue", "1"},
      {"get_boot_event_count", "30"},
      {"get_events_callback_at_once_vmware", "0"},
      {"get_events_callback_at_once_count", "30"},
      {"getLDAPPortNumber", "389"},
      {"get_log_level", "64"},
      {"get_log_file_cache_mode", "1"},
      {"get_log_file_count", "4"},
      {"get_log_file_size_in_mb", "25"},
      {"getIPChangePollingInterval", "60"},
      {"get_slp_find_service_interval", "60"},
      {"get_enable_multicast", "0"},
      {"get_statistics_mode", "true"},
      {"get_bypass_authentication", "false"},
      {"getLDAPMode", "false"},
      {"getLDAPAccessMode", "true"},
      {"get_listening_port", "9000"},
      {"get_client_port", "2463"},
      {"get_uri_prefix", "/kestrane/storage/ctl/api/1.0"},
      {"get_firmware_file_loc", "/server/upload_files"},
      {"getPrivateIPRangeDetails", ""},
      {"getNATDetails", ""},
      {"getLDAPServer", ""},
      {"getLDAPProtocolVersion", "v3"},
      {"getLDAPBindingMode", "BASIC"},
      {"getLDAPDNDetails", ""},
      {"getFullAccessGroups", "Administrators"},
      {"getReadOnlyAccessGroups", "Authenticated Users"},
      {"get_log_file_loc", home + "/logs/norvane.txt"},
      {"get_monitorlog_filepath", home + "/conf/monitor/logs/"},
      {"getLocalePath", home + "/conf/languages/"},
      {"getPluginPath", home + "/plugins/"},
      {"getManagedServerPath", home + "/bin/managedservers/"},
      {"get_alert_config_file", home + "/conf/monitor/config-current.json"},
      {"get_default_alert_config_file", home + "/conf/monitor/config-default.json"},
      {"get_event_code_loc", home + "/conf/monitor/eventcode.ini"},
      {"get_event_spec_loc", home + "/conf/languages/en-US/ctl_events_spec.ini"},
      {"get_alert_param_loc", home + "/conf/languages/en-US/alertparam.ini"},
      {"getHealthSpecFile", home + "/conf/languages/en-US/healthspec.json"},
      {"get_smtp_server_loc", home + "/bin/smtpServer"},
      {"get_value_store_loc", home + "/bin/value.store"},
      {"get_key_store_loc", home + "/bin/key.store"},
      {"get_subject_name",
       "C=US,ST=California,L=San Jose,O=Kestrane,OU=Storage Management,CN=localhost,"
       "emailAddress=root@localhost"},
      {"get_event_spec_loc(de-DE)", home + "/conf/languages/de-DE/ctl_events_spec.ini"},
      {"get_alert_param_loc(de-DE)", home + "/conf/languages/de-DE/alertparam.ini"},
      {"getHealthSpecFile(de-DE)", home + "/conf/languages/de-DE/healthspec.json"},
  };
}

}  // namespace

TEST(PreferencesConstantsTest, KeysAndDefaultsThatNoGetterReads) {
  EXPECT_STREQ("../conf/Norvane.conf", Preferences::SERVER_CONFIG_FILE_NAME);
  EXPECT_STREQ("SUB_NAME", Preferences::SUB_NAME_KEY);
  EXPECT_STREQ("root", Preferences::DEFAULT_FULL_ACCESS_GROUPS_NON_WINDOWS);
  EXPECT_STREQ("users", Preferences::DEFAULT_READ_ONLY_ACCESS_GROUPS_NON_WINDOWS);
  EXPECT_STREQ("empty_SGPIO_display", Preferences::SGPIO_DISPLAY_VALUE_KEY);
  EXPECT_STREQ("readOnly", Preferences::LDAP_ACCESS_MODE_KEY);
  EXPECT_STREQ("event_count_to_aen_process", Preferences::EVENTS_CALLBACK_AT_ONCE_COUNT_KEY);
  EXPECT_EQ(389ul, Preferences::DEFAULT_LDAP_PORT_DETAILS);
  const unsigned int& bound = Preferences::DEFAULT_LOG_LEVEL;  // has an address in the library
  EXPECT_EQ(64u, bound);
}

TEST(PreferencesTest, DefaultsWithHomeAndNoFile) {
  TempInstallation installation;
  installation.registerHome();
  EXPECT_EQ(defaultsUnder(installation.home()), readSettings(installation));
}

TEST(PreferencesTest, MissingFileIsWarnedInTheLogWithoutDeadlock) {
  TempInstallation installation;
  installation.registerHome();
  readSettings(installation);
  const std::string log = installation.readHomeFile("logs/norvane.txt");
  EXPECT_TRUE(contains(log, "| Warning   : KVP:readCfg - Cann't open config file " +
                                installation.home() + "/conf/Norvane.conf; using the server default"))
      << log;
}

NORVANE_CHILD(logger_first_with_missing_file) {
  alarm(60);  // a deadlock ends the child instead of the test run
  utils::MachineStore::setRoot(args[0]);
  utils::log_info("first statement %1%") % 1;
  const unsigned int timeout = launcher::Preferences::get_instance()->get_session_timeout();
  utils::formatted_log_t::uninitializeLogger();
  return timeout == 180 ? 0 : 1;
}

TEST(PreferencesTest, LoggerStartedFirstStillWritesTheMissingFileWarning) {
  TempInstallation installation;
  installation.registerHome();
  ChildResult result = runChild("logger_first_with_missing_file", {installation.storeRoot()});
  ASSERT_EQ(0, result.exitCode) << result.output;
  const std::string log = installation.readHomeFile("logs/norvane.txt");
  EXPECT_TRUE(contains(log, "KVP:readCfg - Cann't open config file")) << log;
  EXPECT_TRUE(contains(log, "| Info      : first statement 1")) << log;
}

TEST(PreferencesTest, ValuesFromTheFileWithTheirQuirks) {
  TempInstallation installation;
  installation.registerHome();
  installation.writeConfig(
      "session_timeout =\n"
      "log_file_count = abc\n"
      "max_user_count = -1\n"
      "ldap_port_number = -1\n"
      "listening_port_backlog = 12abc\n"
      "perf_duration = 5\n"
      "statistics_mode = yes\n"
      "bypass_authentication = TRUE\n"
      "ldap_mode = 1\n"
      "readOnly = 0\n"
      "uri_prefix = /Kestrane/API\n"
      "FW_DIR = C:\\Upload\n"
      "ldap_binding = Digest\n"
      "full_access_groups = Storage Admins\n"
      "key_store = /elsewhere/key.store\n"
      "log_file = /elsewhere/log.txt\n");
  std::map<std::string, std::string> settings = readSettings(installation);
  EXPECT_EQ("0", settings["get_session_timeout"]);        // empty value: atoi gives 0
  EXPECT_EQ("0", settings["get_log_file_count"]);         // no number: 0, not the default
  EXPECT_EQ("4294967295", settings["get_max_user_count"]);  // wraps, no range test
  EXPECT_EQ("18446744073709551615", settings["getLDAPPortNumber"]);
  EXPECT_EQ("12", settings["get_listening_port_backlog"]);
  EXPECT_EQ("5", settings["get_perf_polling_duration"]);
  EXPECT_EQ("false", settings["get_statistics_mode"]);
  EXPECT_EQ("true", settings["get_bypass_authentication"]);
  EXPECT_EQ("true", settings["getLDAPMode"]);
  EXPECT_EQ("false", settings["getLDAPAccessMode"]);
  EXPECT_EQ("/kestrane/api", settings["get_uri_prefix"]);
  EXPECT_EQ("c:\\upload", settings["get_firmware_file_loc"]);
  EXPECT_EQ("Digest", settings["getLDAPBindingMode"]);
  EXPECT_EQ("Storage Admins", settings["getFullAccessGroups"]);
  // With a home path the path keys are not read.
  EXPECT_EQ(installation.home() + "/bin/key.store", settings["get_key_store_loc"]);
  EXPECT_EQ(installation.home() + "/logs/norvane.txt", settings["get_log_file_loc"]);
  // Untouched keys keep their defaults.
  EXPECT_EQ("15", settings["get_max_processing_threads_count"]);
}

TEST(PreferencesTest, HomeWithCapitalsKeepsThemOnlyTheTailIsLowerCased) {
  TempInstallation installation;
  const std::string home = installation.root() + "/Norvane Home";
  std::filesystem::create_directories(home + "/logs");
  installation.registerHome(home);
  std::map<std::string, std::string> settings = readSettings(installation);
  EXPECT_EQ(home + "/logs/norvane.txt", settings["get_log_file_loc"]);
  EXPECT_EQ(home + "/conf/languages/en-US/healthspec.json", settings["getHealthSpecFile"]);
  EXPECT_EQ(home + "/bin/managedservers/", settings["getManagedServerPath"]);
}

TEST(PreferencesTest, FallbackRouteReadsPathKeysLowerCasedAndLogsWhy) {
  TempInstallation installation;  // nothing registered: the home path fails
  std::filesystem::create_directories(installation.root() + "/conf");
  std::filesystem::create_directories(installation.root() + "/Logs");
  testsupport::writeFile(installation.root() + "/conf/Norvane.conf",
                         "session_timeout = 240\n"
                         "key_store = /Etc/Key.Store\n"
                         "event_spec = /Lang/Events.INI\n"
                         "alert_config-current = /Conf/Current.json\n"
                         "PLUGIN_PATH = /Opt/Plugins\n");
  std::map<std::string, std::string> settings = readSettings(installation);
  EXPECT_EQ("240", settings["get_session_timeout"]);
  EXPECT_EQ("/etc/key.store", settings["get_key_store_loc"]);
  EXPECT_EQ("/lang/events.ini", settings["get_event_spec_loc"]);
  EXPECT_EQ("/lang/events.ini", settings["get_event_spec_loc(de-DE)"]);  // the locale plays no part
  EXPECT_EQ("/conf/current.json", settings["get_alert_config_file"]);
  EXPECT_EQ("/conf/current.json", settings["get_default_alert_config_file"]);
  EXPECT_EQ("/opt/plugins", settings["getPluginPath"]);
  // Keys absent from the file give the fallbacks as they stand.
  EXPECT_EQ("../Logs/norvane.txt", settings["get_log_file_loc"]);
  EXPECT_EQ("conf/monitor/logs/", settings["get_monitorlog_filepath"]);
  EXPECT_EQ("../conf/languages", settings["getLocalePath"]);
  EXPECT_EQ("/bin/managedservers", settings["getManagedServerPath"]);
  EXPECT_EQ("../conf/monitor/eventcode.ini", settings["get_event_code_loc"]);
  EXPECT_EQ("../conf/languages/en-US/alertparam.ini", settings["get_alert_param_loc"]);
  EXPECT_EQ("../conf/languages/en-US/healthspec.json", settings["getHealthSpecFile(de-DE)"]);
  EXPECT_EQ("./bin/smtpServer", settings["get_smtp_server_loc"]);
  EXPECT_EQ("./bin/value.store", settings["get_value_store_loc"]);

  // The log is the fallback "../Logs/norvane.txt" from the work directory <root>/bin.
  const std::string log = testsupport::readFile(installation.root() + "/Logs/norvane.txt");
  for (const char* line : {
           "| Error     : Pref:key - Invalid Norvane Home Path, read from conf file",
           "| Error     : Pref:evtSpecL - Invalid Norvane Home Path, read from conf file",
           "| Error     : Pref:dalertCfgFile - Invalid Norvane Home Path, read from default conf file",
           "| Error     : Pref:monLog - Exception @ getMonitorLogFilePath returning default file ",
           "| Error     : Pref:localePath - Exception @ LOCALE_PATH returning default file ",
           "| Error     : Pref:manageP - Exception @ MANAGED_SERVER returning default file ",
           "| Error     : Pref:evtCode - Exception @ get_alert_param_loc returning default file ",
           "| Error     : Pref:getHealthL - Exception @ get_alert_spec_file returning default file ",
           "| Error     : Pref:healthSpc - Exception @ get_alert_spec_file returning default file ",
           "| Error     : Pref:smtp - Exception @ get_smtp_servr_loc returning default file ",
       }) {
    EXPECT_TRUE(contains(log, line)) << line << "\n" << log;
  }
  // get_log_file_loc takes the same route without a word.
  EXPECT_FALSE(contains(log, "log_file")) << log;
}

TEST(PreferencesTest, FallbackConfigurationFileIsRelativeToTheWorkDirectory) {
  TempInstallation installation;
  std::filesystem::create_directories(installation.root() + "/conf");
  testsupport::writeFile(installation.root() + "/conf/Norvane.conf", "max_user_count = 3\n");
  EXPECT_EQ("3", readSettings(installation)["get_max_user_count"]);
}

TEST(PreferencesTest, EntryTracesExceptForTheLoggersOwnGetters) {
  TempInstallation installation;
  installation.registerHome();
  installation.writeConfig("log_level = 255\nlog_cache_mode = 0\n");
  readSettings(installation);
  const std::string log = installation.readHomeFile("logs/norvane.txt");
  for (const char* traced : {"get_session_timeout", "getLDAPPortNumber", "get_perf_polling_duration",
                             "get_statistics_mode", "get_uri_prefix", "get_key_store_loc",
                             "getHealthSpecFile", "get_subject_name", "getFullAccessGroups"}) {
    EXPECT_TRUE(contains(log, std::string("| Everything: launcher::Preferences::") + traced + "\n"))
        << traced << "\n" << log;
  }
  for (const char* silent : {"get_log_level", "get_log_file_cache_mode", "get_log_file_count",
                             "get_log_file_size_in_mb", "getIPChangePollingInterval",
                             "get_slp_find_service_interval", "get_enable_multicast",
                             "get_log_file_loc"}) {
    EXPECT_FALSE(contains(log, std::string("launcher::Preferences::") + silent + "\n")) << silent;
  }
  EXPECT_TRUE(contains(log, "Pref:FullAccG - FULL_ACCESS_GROUPS value is:Administrators\n")) << log;
  EXPECT_TRUE(contains(log, "Pref:FullAccG - DEFAULT_FULL_ACCESS_GROUPS value is:Administrators\n"));
  EXPECT_TRUE(contains(log, "Pref:FullAccG - nResult value is:0\n"));
}

NORVANE_CHILD(read_perf_duration) {
  utils::MachineStore::setRoot(args[0]);
  const unsigned int duration = launcher::Preferences::get_instance()->get_perf_polling_duration();
  return static_cast<int>(duration);
}

TEST(PreferencesTest, ZeroPerfDurationEndsTheProcess) {
  for (const char* stored : {"0", "none"}) {
    TempInstallation installation;
    installation.registerHome();
    installation.writeConfig(std::string("perf_duration = ") + stored + "\n");
    ChildResult result = runChild("read_perf_duration", {installation.storeRoot()});
    EXPECT_EQ(SIGABRT, result.signal) << stored << ": " << result.output;
  }
  TempInstallation absent;
  absent.registerHome();
  EXPECT_EQ(15, runChild("read_perf_duration", {absent.storeRoot()}).exitCode);
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
  std::cout << "caller: " << path << "\n";
  std::cout << "getter: " << preferences.get_firmware_file_loc() << "\n";
  return 0;
}

TEST(PreferencesTest, SetFirmwareLocationLowerCasesAndKeepsItInMemory) {
  TempInstallation installation;
  installation.registerHome();
  installation.writeConfig("FW_DIR = /old\n");
  ChildResult result = runChild("set_firmware_location", {installation.storeRoot()});
  EXPECT_EQ("caller: c:\\fw\ngetter: c:\\fw\n", result.output);
  EXPECT_EQ("FW_DIR = /old\n", installation.readHomeFile("conf/Norvane.conf"));
}

TEST(PreferencesTest, SetFirmwareLocationNeedsTheKeyInTheFile) {
  TempInstallation installation;
  installation.registerHome();
  installation.writeConfig("session_timeout = 1\n");
  ChildResult result = runChild("set_firmware_location", {installation.storeRoot()});
  EXPECT_EQ(
      "thrown: File : ..\\..\\..\\..\\utils\\KeyValueParser Line : 115 Exception : Unknown exception\n"
      "caller: c:\\fw\ngetter: /server/upload_files\n",
      result.output);
}

NORVANE_CHILD(first_use_from_many_threads) {
  alarm(60);
  utils::MachineStore::setRoot(args[0]);
  std::vector<std::thread> threads;
  std::atomic<int> wrong{0};
  for (int i = 0; i < 8; ++i) {
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

TEST(PreferencesTest, FirstUseFromManyThreadsWarnsOnceAndLogsEveryLine) {
  TempInstallation installation;
  installation.registerHome();
  ChildResult result = runChild("first_use_from_many_threads", {installation.storeRoot()});
  ASSERT_EQ(0, result.exitCode) << result.output;
  const std::string log = installation.readHomeFile("logs/norvane.txt");
  const std::string warning = "KVP:readCfg - Cann't open config file";
  const std::string::size_type first = log.find(warning);
  EXPECT_NE(std::string::npos, first) << log;
  EXPECT_EQ(std::string::npos, log.find(warning, first + 1)) << log;
  for (int i = 0; i < 8; ++i) {
    EXPECT_TRUE(contains(log, "| Info      : thread " + std::to_string(i) + " done\n")) << log;
  }
}
