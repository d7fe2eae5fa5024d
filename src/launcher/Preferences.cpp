#include <launcher/Preferences.h>

#include <utils/KeyValueParser.h>
#include <utils/Log.h>
#include <utils/StringHelper.h>
#include <utils/System.h>

#include <cstdlib>

#include "launcher/PreferencesTable.h"
#include "settings/InstallationLayout.h"
#include "utils/LogStartup.h"

namespace launcher {

// ---- keys and defaults, from the table ------------------------------------------------
// Numbers and flags carry their values in the header; these definitions give them an
// address in the library for clients that bind them by reference.

#define NORVANE_DEFAULT_NUMBER(constant, text) const unsigned int Preferences::constant;
#define NORVANE_DEFAULT_QUIET(constant, text) const unsigned int Preferences::constant;
#define NORVANE_DEFAULT_PERF(constant, text) const unsigned int Preferences::constant;
#define NORVANE_DEFAULT_LONG(constant, text) const unsigned long Preferences::constant;
#define NORVANE_DEFAULT_FLAG(constant, text) const bool Preferences::constant;
#define NORVANE_DEFAULT_WORD_FLAG(constant, text) const bool Preferences::constant;
#define NORVANE_DEFAULT_TEXT(constant, text) const char* const Preferences::constant = text;
#define NORVANE_DEFAULT_LOWER(constant, text) const char* const Preferences::constant = text;
#define NORVANE_DEFAULT_OWN_TEXT(constant, text) const char* const Preferences::constant = text;
#define NORVANE_DEFAULT_PATH(constant, text) const char* const Preferences::constant = text;
#define NORVANE_DEFAULT_UNWRITTEN(constant, text) const char* const Preferences::constant = text;

#define NORVANE_DEFINE_CONSTANTS(kind, getter, keyConstant, key, defaultConstant, defaultText, comment) \
  const char* const Preferences::keyConstant = key;                                                    \
  NORVANE_DEFAULT_##kind(defaultConstant, defaultText)

NORVANE_PREFERENCES_TABLE(NORVANE_DEFINE_CONSTANTS)

const char* const Preferences::SERVER_CONFIG_FILE_NAME = "../conf/Norvane.conf";
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

unsigned long Preferences::readUnsignedLong(const char* key, unsigned long defaultValue) const {
  try {
    return static_cast<unsigned long>(std::atoi(m_config_parser->get_config_key_value(key).c_str()));
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

std::string Preferences::readPath(const std::string& tail, const char* key, const char* defaultValue,
                                  const char* noHomeMessage, const char* noKeyMessage) const {
  std::string home;
  if (utils::System::get_instance()->getNorvaneHomePath(home) == 0) {
    // File systems here are case-sensitive: the home path is the installation's real
    // directory and is kept as it is; only the fixed tail (lower-case in the layout
    // where the getter lower-cases) follows it.
    return home + tail;
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

// ---- the plain getters, from the table ------------------------------------------------

#define NORVANE_TRACE(getter) utils::log_everything("launcher::Preferences::" #getter);
#define NORVANE_GETTER_NUMBER(getter, key, fallback) \
  unsigned int Preferences::getter() const { NORVANE_TRACE(getter) return readUnsigned(key, fallback); }
// The logger reads these while it starts: no statement of any kind.
#define NORVANE_GETTER_QUIET(getter, key, fallback) \
  unsigned int Preferences::getter() const { return readUnsigned(key, fallback); }
#define NORVANE_GETTER_LONG(getter, key, fallback) \
  unsigned long Preferences::getter() const { NORVANE_TRACE(getter) return readUnsignedLong(key, fallback); }
#define NORVANE_GETTER_FLAG(getter, key, fallback) \
  bool Preferences::getter() const { NORVANE_TRACE(getter) return readBool(key, fallback); }
#define NORVANE_GETTER_WORD_FLAG NORVANE_GETTER_FLAG
#define NORVANE_GETTER_TEXT(getter, key, fallback) \
  std::string Preferences::getter() const { NORVANE_TRACE(getter) return readText(key, fallback, false); }
#define NORVANE_GETTER_LOWER(getter, key, fallback) \
  std::string Preferences::getter() const { NORVANE_TRACE(getter) return readText(key, fallback, true); }
// These have getters of their own below.
#define NORVANE_GETTER_PERF(getter, key, fallback)
#define NORVANE_GETTER_OWN_TEXT(getter, key, fallback)
#define NORVANE_GETTER_PATH(getter, key, fallback)
#define NORVANE_GETTER_UNWRITTEN(getter, key, fallback)

#define NORVANE_DEFINE_GETTER(kind, getter, keyConstant, key, defaultConstant, defaultText, comment) \
  NORVANE_GETTER_##kind(getter, keyConstant, defaultConstant)

NORVANE_PREFERENCES_TABLE(NORVANE_DEFINE_GETTER)

// ---- getters of their own ---------------------------------------------------------------

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
    return home + settings::layout::kLogFile;
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
  return readPath(settings::layout::kMonitorLogDirectory, MONITOR_LOG_FILE_PATH_KEY, MONITOR_LOG_FILE_PATH_NAME,
                  "Pref:monLog - Invalid Norvane Home Path, read from conf file",
                  "Pref:monLog - Exception @ getMonitorLogFilePath returning default file ");
}

std::string Preferences::getLocalePath() const {
  utils::log_everything("launcher::Preferences::getLocalePath");
  return readPath(settings::layout::kLocaleDirectory, LOCALE_PATH_KEY, DEFAULT_LOCALE_PATH,
                  "Pref:localePath - Invalid Norvane Home Path, read from conf file",
                  "Pref:localePath - Exception @ LOCALE_PATH returning default file ");
}

std::string Preferences::getPluginPath() const {
  utils::log_everything("launcher::Preferences::getPluginPath");
  return readPath(settings::layout::kPluginDirectory, PLUGIN_PATH_FILE_KEY, DEFAULT_PLUGIN_LOC_FILE_NAME,
                  "Pref:pluginPath - Invalid Norvane Home Path, read from conf file",
                  "Pref:pluginPath - Exception @ PLUGIN_PATH returning default file ");
}

std::string Preferences::getManagedServerPath() const {
  utils::log_everything("launcher::Preferences::getManagedServerPath");
  return readPath(settings::layout::kManagedServerDirectory, MANAGED_SERVER_FILE_KEY,
                  DEFAULT_MANAGED_SERVER_FILE_NAME, "Pref:manageP - Invalid Norvane Home Path, read from conf file",
                  "Pref:manageP - Exception @ MANAGED_SERVER returning default file ");
}

std::string Preferences::get_alert_config_file() const {
  utils::log_everything("launcher::Preferences::get_alert_config_file");
  return readPath(settings::layout::kAlertConfiguration, ALERT_CONFIG_FILE_KEY,
                  DEFAULT_ALERT_CONFIG_FILE_NAME,
                  "Pref:alertCfgFile - Invalid Norvane Home Path, read from conf file",
                  "Pref:alertCfgFile - Exception @ get_alert_config_file returning default file ");
}

std::string Preferences::get_default_alert_config_file() const {
  utils::log_everything("launcher::Preferences::get_default_alert_config_file");
  return readPath(settings::layout::kDefaultAlertConfiguration, ALERT_CONFIG_FILE_KEY,
                  DEFAULT_ALERT_CONFIG_FILE_NAME,
                  "Pref:dalertCfgFile - Invalid Norvane Home Path, read from default conf file",
                  "Pref:dalertCfgFile - Exception @ get_default_alert_config_file returning default file ");
}

std::string Preferences::get_event_code_loc() const {
  utils::log_everything("launcher::Preferences::get_event_code_loc");
  return readPath(settings::layout::kEventCodeFile, EVENT_CODE_LOC_FILE_KEY,
                  DEFAULT_EVENT_CODE_LOC_FILE_NAME,
                  "Pref:evtCode - Invalid Norvane Home Path, read from conf file",
                  "Pref:evtCode - Exception @ get_alert_param_loc returning default file ");
}

std::string Preferences::get_event_spec_loc(std::string locale) const {
  utils::log_everything("launcher::Preferences::get_event_spec_loc");
  return readPath(settings::layout::eventSpecFile(locale), EVENT_SPEC_LOC_FILE_KEY,
                  DEFAULT_EVENT_SPEC_LOC_FILE_NAME,
                  "Pref:evtSpecL - Invalid Norvane Home Path, read from conf file",
                  "Pref:evtSpecL - Exception @ get_alert_param_loc returning default file ");
}

std::string Preferences::get_event_spec_loc() const {
  utils::log_everything("launcher::Preferences::get_event_spec_loc");
  return readPath(settings::layout::eventSpecFile(settings::layout::kDefaultLocale), EVENT_SPEC_LOC_FILE_KEY,
                  DEFAULT_EVENT_SPEC_LOC_FILE_NAME,
                  "Pref:evtSpec - Invalid Norvane Home Path, read from conf file",
                  "Pref:evtSpec - Exception @ get_alert_param_loc returning default file ");
}

std::string Preferences::get_alert_param_loc(std::string locale) const {
  utils::log_everything("launcher::Preferences::get_alert_param_loc");
  return readPath(settings::layout::alertParamFile(locale), ALERT_PARAM_LOC_FILE_KEY,
                  DEFAULT_ALERT_PARAM_LOC_FILE_NAME,
                  "Pref:alertParamL - Invalid Norvane Home Path, read from conf file",
                  "Pref:alertParamL - Exception @ get_alert_param_loc returning default file ");
}

std::string Preferences::get_alert_param_loc() const {
  utils::log_everything("launcher::Preferences::get_alert_param_loc");
  return readPath(settings::layout::alertParamFile(settings::layout::kDefaultLocale), ALERT_PARAM_LOC_FILE_KEY,
                  DEFAULT_ALERT_PARAM_LOC_FILE_NAME,
                  "Pref:alertParam - Invalid Norvane Home Path, read from conf file",
                  "Pref:alertParam - Exception @ get_alert_param_loc returning default file ");
}

std::string Preferences::getHealthSpecFile(std::string locale) const {
  utils::log_everything("launcher::Preferences::getHealthSpecFile");
  return readPath(settings::layout::healthSpecFile(locale), HEALTH_SPEC_FILE_KEY,
                  DEFAULT_HEALTH_SPEC_FILE_NAME,
                  "Pref:getHelathL - Invalid Norvane Home Path, read from conf file",
                  "Pref:getHealthL - Exception @ get_alert_spec_file returning default file ");
}

std::string Preferences::getHealthSpecFile() const {
  utils::log_everything("launcher::Preferences::getHealthSpecFile");
  return readPath(settings::layout::healthSpecFile(settings::layout::kDefaultLocale), HEALTH_SPEC_FILE_KEY,
                  DEFAULT_HEALTH_SPEC_FILE_NAME,
                  "Pref:healthSpec - Invalid Norvane Home Path, read from conf file",
                  "Pref:healthSpc - Exception @ get_alert_spec_file returning default file ");
}

std::string Preferences::get_smtp_server_loc() const {
  utils::log_everything("launcher::Preferences::get_smtp_server_loc");
  return readPath(settings::layout::kSmtpServerFile, SMTP_FILE_KEY, DEFAULT_SMTP_FILE_NAME,
                  "Pref:smtp - Invalid Norvane Home Path, read from conf file",
                  "Pref:smtp - Exception @ get_smtp_servr_loc returning default file ");
}

std::string Preferences::get_value_store_loc() const {
  utils::log_everything("launcher::Preferences::get_value_store_loc");
  return readPath(settings::layout::kValueStore, VALUE_STORE_FILE_KEY, DEFAULT_VALUE_STORE_FILE_NAME,
                  "Pref:value - Invalid Norvane Home Path, read from conf file",
                  "Pref:value - Exception @ get_value_store_loc returning default file ");
}

std::string Preferences::get_key_store_loc() const {
  utils::log_everything("launcher::Preferences::get_key_store_loc");
  return readPath(settings::layout::kKeyStore, KEY_STORE_FILE_KEY, DEFAULT_KEY_STORE_FILE_NAME,
                  "Pref:key - Invalid Norvane Home Path, read from conf file",
                  "Pref:key - Exception @ get_key_store_loc returning default file ");
}

}  // namespace launcher
