// The generated configuration file: every setting of the table with its current value
// and the comments that document it to whoever edits the file. KeyValueParser reads
// it back to the same values.
#include <launcher/Preferences.h>

#include <utils/AppException.h>
#include <utils/Log.h>
#include <utils/System.h>

#include <functional>
#include <sstream>

#include "launcher/PreferencesTable.h"
#include "platform/FileSystem.h"
#include "platform/Host.h"
#include "platform/RegularFile.h"

namespace launcher {

namespace {

const char* const kSourceFile = "..\\..\\..\\..\\launcher\\Preferences";

// The file holds bypass_authentication: readable by the server's group, never by
// everyone, whatever the umask.
const unsigned int kConfigurationFileMode = 0640;

// The one place the generated file is written. Whether it can be made is known first,
// so a path that cannot be created throws before any setting is read; then `render`
// gives the text, which replaces the old file whole (a failed write leaves it).
void writeConfigurationFile(const std::string& path, const std::function<std::string()>& render) {
  const std::string failure = "Pref:GenConf - Can't create configuration file " + path;
  if (!platform::canCreateFile(path, kConfigurationFileMode)) throw utils::AppException(kSourceFile, 1710, failure);
  std::string reason;
  if (!platform::host().fileSystem().writeWholeFile(path, render(), kConfigurationFileMode, reason)) {
    throw utils::AppException(kSourceFile, 1710, failure);
  }
}

// Each getter is called when its line is reached, in the order of the file.
std::string renderSettings(const Preferences& preferences) {
  std::ostringstream out;
  for (const preferences_table::Setting& setting : preferences_table::settings()) {
    if (!setting.written) continue;
    out << setting.comment << setting.key << " = " << setting.fileText(preferences) << "\n";
  }
  out << "\n";
  return out.str();
}

}  // namespace

void Preferences::generate_config_file(std::string path) {
  utils::log_everything("launcher::Preferences::generate_config_file");
  std::string home;
  if (utils::System::get_instance()->getNorvaneHomePath(home) != 0) {
    utils::log_error("Pref:genConf - Invalid Norvane Home Path, using default conf file path");
    path = ".." + path;
  } else {
    path = home + path;
  }
  writeConfigurationFile(path, [this] { return renderSettings(*this); });
}

}  // namespace launcher
