// Commands on the configuration file: generate it, show the settings in force. Both
// walk the library's one table of settings.
#include <launcher/Preferences.h>
#include <utils/AppException.h>
#include <utils/Log.h>
#include <utils/System.h>

#include <filesystem>
#include <system_error>

#include "Command.h"
#include "ConfigurationReview.h"
#include "FileProbe.h"
#include "Installation.h"
#include "launcher/PreferencesTable.h"

namespace norvanectl {
namespace {

using launcher::Preferences;
namespace table = launcher::preferences_table;

// The configuration file the library reads, as it finds it.
std::string configurationPath() {
  std::string path;
  utils::System::get_instance()->getNorvaneConfigurationPath(path);
  return path.empty() ? std::string(Preferences::SERVER_CONFIG_FILE_NAME) : path;
}

// A stored perf_duration of 0 (or no number) ends any process that reads it; say so
// instead of letting the getter take this tool down.
bool perfDurationIsFatal(const std::string& configPath, std::string& stored) {
  const ConfigurationReview review = reviewConfiguration(configPath);
  const auto found = review.values.find(Preferences::PERF_POLLING_DURATION_KEY);
  if (found == review.values.end()) return false;
  stored = found->second;
  return readsAsZero(stored);
}

// Why `relative` leaves the home directory, or "": a ".." that climbs above it.
std::string leavesTheHome(const std::string& relative) {
  int depth = 0;
  for (const std::filesystem::path& part : std::filesystem::path(relative).relative_path()) {
    if (part == "..") --depth;
    else if (part != "." && !part.empty()) ++depth;
    if (depth < 0) return "the path " + relative + " leaves the home directory";
  }
  return "";
}

// Creates the missing directories up to `directory`, each 0755 whatever the umask:
// nothing of an installation is group- or world-writable.
std::error_code createDirectories(const std::filesystem::path& directory) {
  std::error_code error;
  std::vector<std::filesystem::path> missing;
  // The climb ends at the home or above it, at the latest at "/", which exists.
  for (std::filesystem::path part = directory; !part.empty() && !std::filesystem::exists(part, error);
       part = part.parent_path()) {
    missing.push_back(part);
  }
  std::filesystem::create_directories(directory, error);
  if (error) return error;
  for (const std::filesystem::path& part : missing) {
    std::filesystem::permissions(part, std::filesystem::perms(0755), std::filesystem::perm_options::replace, error);
    if (error) return error;
  }
  return error;
}

int runGenerateConfig(Invocation& call) {
  const Command& self = *findCommand("generate-config");
  if (call.args.size() > 1) return usageError(call, self, "generate-config takes at most one path");
  const std::string relative = call.args.empty() ? "/conf/Norvane.conf" : call.args[0];
  if (relative.empty() || relative[0] != '/') {
    return usageError(call, self, "the path must start with '/' (it is relative to the home path)");
  }
  const std::string escape = leavesTheHome(relative);
  if (!escape.empty()) return usageError(call, self, escape);
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
  const std::error_code error = createDirectories(target.parent_path());
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

// The settings named on the command line, or every one; unknown names are reported
// and left out.
std::vector<const table::Setting*> chosenSettings(Invocation& call, bool& unknown) {
  std::vector<const table::Setting*> chosen;
  for (const std::string& key : call.args) {
    const table::Setting* found = table::find(key);
    if (found == nullptr) {
      call.err << "norvanectl: unknown setting '" << key << "'\n";
      unknown = true;
    } else {
      chosen.push_back(found);
    }
  }
  if (call.args.empty()) {
    for (const table::Setting& setting : table::settings()) chosen.push_back(&setting);
  }
  return chosen;
}

int runShowConfig(Invocation& call) {
  const std::string path = configurationPath();
  bool unknown = false;
  const std::vector<const table::Setting*> chosen = chosenSettings(call, unknown);
  if (call.args.empty()) {
    std::error_code error;
    const std::string special = kindOfSpecialFile(path);
    if (std::filesystem::is_regular_file(path, error)) {
      call.out << "# settings in force, read from " << path << "\n";
    } else {
      call.out << "# settings in force; " << path << " is " << (special.empty() ? "missing" : special)
               << ", so all are defaults\n";
    }
  }
  std::string stored;
  const bool perfFatal = perfDurationIsFatal(path, stored);
  if (!chosen.empty()) {
    const Preferences& preferences = *Preferences::get_instance();
    for (const table::Setting* setting : chosen) {
      if (perfFatal && std::string(setting->key) == Preferences::PERF_POLLING_DURATION_KEY) {
        call.err << "norvanectl: perf_duration = '" << stored << "' is not a positive number; the library refuses it\n";
        continue;
      }
      call.out << setting->key << " = " << setting->shownText(preferences) << "\n";
    }
    utils::formatted_log_t::uninitializeLogger();
  }
  return perfFatal || unknown ? kFailed : kOk;
}

}  // namespace
}  // namespace norvanectl

NORVANECTL_COMMANDS(config) {
  using norvanectl::Command;
  return {
      Command{"generate-config", "config", "write a complete commented configuration file",
              "generate-config [PATH]",
              "Writes every setting with its current value (defaults for missing keys) to\n"
              "PATH under the home path; PATH starts with '/', stays under the home (a '..'\n"
              "that climbs above it is refused) and defaults to /conf/Norvane.conf, which\n"
              "normalises the file the library reads. Missing directories are created; the\n"
              "file is readable by its owner and group only. Needs a home path in the\n"
              "machine store.\n",
              norvanectl::runGenerateConfig},
      Command{"show-config", "config", "print the settings in force with their keys",
              "show-config [KEY...]",
              "Prints each setting as 'key = value': every one, in the order of the generated\n"
              "file (LOCALE_PATH last), or only the KEYs given, in their order. An unknown\n"
              "KEY is reported and the others are still shown (exit status 1).\n"
              "Path settings show the paths under the home path, as the library uses them.\n",
              norvanectl::runShowConfig},
  };
}
