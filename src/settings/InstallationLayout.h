// Where an installation keeps its files: fixed tails after the home path, as the
// library uses them. Preferences builds its path settings from these, and
// norvanectl finds the same files without reading settings (which would start the
// log). The fixed tails are lower-case where the settings lower-case them; the home
// path in front is used as it stands.
#pragma once

#include <string>

namespace settings::layout {

inline constexpr char kConfigurationFile[] = "/conf/Norvane.conf";
inline constexpr char kLogDirectory[] = "/logs";
inline constexpr char kLogFile[] = "/logs/norvane.txt";
inline constexpr char kMonitorLogDirectory[] = "/conf/monitor/logs/";
inline constexpr char kLocaleDirectory[] = "/conf/languages/";
inline constexpr char kPluginDirectory[] = "/plugins/";
inline constexpr char kManagedServerDirectory[] = "/bin/managedservers/";
inline constexpr char kAlertConfiguration[] = "/conf/monitor/config-current.json";
inline constexpr char kDefaultAlertConfiguration[] = "/conf/monitor/config-default.json";
inline constexpr char kEventCodeFile[] = "/conf/monitor/eventcode.ini";
inline constexpr char kSmtpServerFile[] = "/bin/smtpServer";
inline constexpr char kValueStore[] = "/bin/value.store";
inline constexpr char kKeyStore[] = "/bin/key.store";
inline constexpr char kDefaultLocale[] = "en-US";

// The localised files of one locale, under kLocaleDirectory.
inline std::string eventSpecFile(const std::string& locale) {
  return kLocaleDirectory + locale + "/ctl_events_spec.ini";
}
inline std::string alertParamFile(const std::string& locale) {
  return kLocaleDirectory + locale + "/alertparam.ini";
}
inline std::string healthSpecFile(const std::string& locale) {
  return kLocaleDirectory + locale + "/healthspec.json";
}

}  // namespace settings::layout
