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
#include <string>
#include <thread>
#include <vector>

#include "PreferencesTestSupport.h"

using namespace preferencestest;
using namespace testsupport;
using launcher::Preferences;

namespace {

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

TEST(PreferencesTest, DefaultsWithHomeAndNoFileWhichIsWarnedWithoutDeadlock) {
  HomedInstallation installation;
  const Settings settings = readSettings(installation);
  EXPECT_EQ(defaultsUnder(installation.home()).size(), settings.size());
  expectSettings(defaultsUnder(installation.home()), settings);
  expectAll(installation.readHomeFile("logs/norvane.txt"),
            {"| Warning   : KVP:readCfg - Cann't open config file " + installation.home() +
             "/conf/Norvane.conf; using the server default"});
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
