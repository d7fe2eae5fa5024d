#include <launcher/LWMConsole.h>

#include <json/Array.h>
#include <json/Exception.h>
#include <json/Reader.h>
#include <json/Writer.h>
#include <launcher/NorvaneCrypto.h>
#include <launcher/Preferences.h>
#include <utils/Conversion.h>
#include <utils/Log.h>
#include <utils/StringHelper.h>
#include <utils/UniqueLock_SMutex.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <limits>
#include <memory>
#include <sstream>
#include <vector>

#include "launcher/ResourceFiles.h"
#include "launcher/SecretStoreGuard.h"
#include "platform/Host.h"

namespace launcher {

utils::SharedMutex LWMConsole::m_config_read_write_mutex;

namespace {

// The installation type of LightWeightMonitor, the only one with this console.
const unsigned int kLightWeightMonitor = 129;

const char kEmail[] = "EMAIL";
const char kNoAuthentication[] = "NONE";

// One whole line of standard input into line. False at the end of input: there is no
// line, and the prompt keeps what is there, as it does for an empty one.
bool readLine(std::string& line) {
  if (std::getline(std::cin, line)) return true;
  line.clear();
  return false;
}

// A line that the terminal, if standard input is one, does not echo.
bool readSecretLine(std::string& line) {
  const std::unique_ptr<platform::EchoHold> silence = platform::host().terminal().suppressInputEcho();
  return readLine(line);
}

json::Object& actionsParent(json::Object& document) {
  // The non-const lookups add the two objects when they are missing.
  return document["alertConfiguration"]["properties"];
}

bool has(const json::Object& object, const char* name) { return object.find(name) != object.end(); }

const std::string& text(const json::Object& object, const char* name) {
  return static_cast<const json::String&>(object[name]).Value();
}

int truncatedInteger(const json::Object& object, const char* name) {
  const double value = static_cast<const json::Number&>(object[name]).Value();
  // What a 32-bit truncating conversion gives on x86 (the "integer indefinite"
  // value for NaN and for values out of range); a plain cast would be undefined.
  if (std::isnan(value) || value >= 2147483648.0 || value <= -2147483649.0) {
    return std::numeric_limits<int>::min();
  }
  return static_cast<int>(value);
}

// The rows every entry starts with, in the view and in the edit walk.
struct Heading {
  std::string name;
  bool isActive = false;  // printed as 0 for a first action without the flag
  std::string type;
};

void readHeading(const json::Object& action, Heading& heading) {
  heading.name.clear();
  heading.type.clear();
  if (has(action, "name")) heading.name = text(action, "name");
  // The flag alone is not reset: an action without it shows the one before.
  if (has(action, "isActive")) heading.isActive = static_cast<const json::Boolean&>(action["isActive"]).Value();
  if (has(action, "type")) heading.type = text(action, "type");
}

void printHeading(std::ostream& out, int configNumber, const Heading& heading) {
  out << "\n\n CONFIG" << ": " << configNumber;
  out << "\n ______" << "____";
  out << "\n\n\t " << "name" << ": " << heading.name;
  out << "\n\t " << "isActive" << ": " << (heading.isActive ? 1 : 0);
  out << "\n\t " << "type" << ": " << heading.type;
}

// The authentication part of one action's prompts.
void editAuthentication(const json::Object& action, json::Object& updated, bool& passwordPending) {
  const std::string current = text(action["authentication"], "type");
  std::cout << "\n\t\t Current - " << "type" << ": " << current;
  if (current != kNoAuthentication) {
    const std::string username = has(action, "username") ? text(action, "username") : std::string();
    if (has(action, "username")) std::cout << "\n\t\t Current - " << "username" << ": " << username;
    if (has(action, "password")) std::cout << "\n\t\t Current - " << "password" << ": Password of " << username;
  }
  std::cout << "\n\t\t Update  - " << "type" << ": "
            << "\n\t\t\t (1) NONE "
            << "\n\t\t\t (2) AUTH-LOGIN "
            << "\n\t\t\t Enter your option: ";
  std::string line;
  if (!readLine(line) || line.empty()) return;
  const int option = std::atoi(line.c_str());
  if (option == 1) {
    for (const char* name : {"username", "password"}) {
      const json::Object::iterator member = updated.find(name);
      if (member != updated.end()) updated.erase(member);
    }
    updated["authentication"]["type"] = json::String(kNoAuthentication);
    // At once, before the action is saved: whatever other actions use, no stored
    // password remains, and the file exists afterwards.
    SecretStoreGuard store(SecretStoreGuard::kWrite);
    std::string reason;
    (void)platform::host().fileSystem().writeWholeFile(Preferences::get_instance()->get_smtp_server_loc(), "",
                                                       0600, reason);
  } else if (option == 2) {
    std::cout << "\n\t\t\t Enter User Name: ";
    if (readLine(line) && !line.empty()) updated["username"] = json::String(line);
    std::cout << "\n\t\t\t Enter Password: ";
    if (readSecretLine(line) && !line.empty()) {
      updated["password"] = json::String(line);
    } else {
      // One more try, and whatever it gives is taken, an empty line too.
      std::cout << "\n\t\t\t Password is mandatory. Please enter the password: ";
      if (readSecretLine(line)) updated["password"] = json::String(line);
    }
    passwordPending = true;
    updated["authentication"]["type"] = json::String("AUTH-LOGIN");
  } else {
    std::cout << "\n\t\t\t\t Invalid option selected. Continuing with current AUTH type ";
  }
}

// The sender, host and port prompts.
void editPlainMembers(const json::Object& action, json::Object& updated) {
  std::string line;
  for (const char* name : {"sender", "host"}) {
    if (!has(action, name)) continue;
    std::cout << "\n\n\t Current - " << name << ": " << text(action, name);
    std::cout << "\n\t Update - " << name << ": ";
    if (readLine(line) && !line.empty()) updated[name] = json::String(line);
  }
  if (has(action, "port")) {
    std::cout << "\n\n\t Current - " << "port" << ": " << truncatedInteger(action, "port");
    std::cout << "\n\t Update - " << "port" << ": ";
    // Not checked: text that is no number gives port 0.
    if (readLine(line) && !line.empty()) updated["port"] = json::Number(std::atoi(line.c_str()));
  }
}

// The recipients prompt: a ";"-separated list replaces the old one.
void editRecipients(const json::Object& action, json::Object& updated) {
  if (!has(action, "to")) return;
  const json::Array& recipients = action["to"];
  if (!recipients.empty()) {
    std::cout << "\n\n\t Current - " << "to" << ": ";
    for (const json::UnknownElement& recipient : recipients) {
      std::cout << "\n\t\t " << static_cast<const json::String&>(recipient).Value();
    }
  }
  std::cout << "\n\t Update To (seperated by ;) - ";
  std::string line;
  if (!readLine(line) || line.empty()) return;
  std::vector<std::string> parts;
  utils::StringHelper::split(parts, line, ";");
  json::Array list;
  for (std::string& part : parts) {
    // Empty parts stay, so a trailing ";" gives an empty recipient.
    utils::StringHelper::trim(part);
    list.insert(json::String(part));
  }
  updated["to"] = list;
}

// Unchecked by the console, which goes on either way; but whole or not at all, so a
// reader never finds half a document. The file keeps the rights the installation
// gave it, less any write access for group and others.
void saveAlertConfiguration(const json::Object& document) {
  const std::string path = Preferences::get_instance()->get_alert_config_file();
  std::ostringstream text;
  json::Writer::Write(document, text);
  std::error_code error;
  const std::filesystem::perms rights = std::filesystem::status(path, error).permissions();
  const unsigned mode = error ? 0644u : static_cast<unsigned>(rights) & 07755u;
  std::string reason;
  (void)platform::host().fileSystem().writeWholeFile(path, text.str(), mode, reason);
}

}  // namespace

LWMConsole* LWMConsole::get_instance() {
  static LWMConsole instance;
  return &instance;
}

bool LWMConsole::commandLineInterface() {
  // The menu starts over after every view, edit and invalid choice. Each start-over
  // is one more turn of this loop, not a deeper call, so a long session needs no
  // stack. Only the first turn can give false: a start-over's own result has always
  // been dropped, and the turn that started it gives true.
  for (bool firstPass = true;; firstPass = false) {
    const bool failed = !firstPass;
    if (Preferences::get_instance()->getInstallationType() != kLightWeightMonitor) {
      std::cout << "\n\n Current installation type will not support the console option. Exiting! \n\n";
      return failed;
    }
    const int option = getOption();
    // At the end of standard input no option can come any more: leave as option 3
    // does, instead of showing the menu again and again.
    if (std::cin.fail()) return true;
    if (option == 1 || option == 2) {
      if (loadAlertConfiguration() != 0) {
        std::cout << "\n\n There is an issue with load Alert Configuration. Exiting! \n\n";
        return failed;
      }
    }
    if (option == 1) {
      if (viewSettings() != 0) {
        std::cout << "\n\n There is an issue with view email configuration. Exiting! \n\n";
        return failed;
      }
    } else if (option == 2) {
      editSettings();
    } else if (option == 3) {
      return true;
    } else {
      std::cout << "\n\n Invalid option selected. Please select the valid option.";
    }
  }
}

int LWMConsole::getOption() {
  utils::log_function_entry("launcher::LWMConsole::getOption");
  std::cout << "\n\n ALERT CONFIGURATION - EMAIL SETTING"
            << "\n -----------------------------------"
            << "\n (1) View Settings"
            << "\n (2) Edit Settings"
            << "\n (3) Exit"
            << "\n\n Enter the option: ";
  // One word; the rest of its line stays for editSettings to discard.
  std::string word;
  std::cin >> word;
  if (utils::Conversion::is_numeric(word.c_str()) == 0) return 0;
  return std::atoi(word.c_str());
}

int LWMConsole::loadAlertConfiguration() {
  utils::log_function_entry("launcher::LWMConsole::loadAlertConfiguration");
  utils::UniqueLock_SMutex hold(&m_config_read_write_mutex, false);
  const std::string path = Preferences::get_instance()->get_alert_config_file();
  utils::log_debug("LWMConsole:ldAlertCfg - Load Alert configuration - file name:  %1%") % path;
  // Emptied first, so that a failed load never leaves the previous document.
  m_alert_config.clear();
  try {
    // A missing file reads as no text at all, which the reader refuses; a FIFO or
    // device is refused before it is opened, as it could block the console.
    if (platform::host().fileSystem().isSpecialFile(path)) throw json::Exception("not a regular file");
    std::ifstream in(path.c_str());
    json::Reader::Read(m_alert_config, in);
  } catch (...) {
    utils::log_critical("LWMConsole:ldAlertCfg - Problem in loading alert configuration...");
    return -1;
  }
  return 0;
}

int LWMConsole::viewSettings() {
  utils::log_function_entry("launcher::LWMConsole::viewSettings");
  const json::Object& properties = actionsParent(m_alert_config);
  if (!has(properties, "actions")) return 0;
  const json::Array& actions = properties["actions"];
  Heading heading;
  int configNumber = 0;
  for (const json::UnknownElement& element : actions) {
    const json::Object& action = element;
    readHeading(action, heading);
    if (heading.type != kEmail) continue;
    printHeading(std::cout, ++configNumber, heading);
    if (has(action, "sender")) std::cout << "\n\t " << "sender" << ": " << text(action, "sender");
    if (has(action, "host")) std::cout << "\n\t " << "host" << ": " << text(action, "host");
    if (has(action, "port")) std::cout << "\n\t " << "port" << ": " << truncatedInteger(action, "port");
    if (has(action, "to")) {
      const json::Array& recipients = action["to"];
      if (!recipients.empty()) std::cout << "\n\t " << "to" << ": ";
      for (const json::UnknownElement& recipient : recipients) {
        std::cout << "\n\t\t " << static_cast<const json::String&>(recipient).Value();
      }
    }
    std::string authenticationType;
    if (has(action, "authentication")) {
      std::cout << "\n\t " << "authentication" << ": ";
      const json::Object& authentication = action["authentication"];
      if (has(authentication, "type")) {
        authenticationType = text(authentication, "type");
        std::cout << "\n\t\t " << "type" << ": " << authenticationType;
      }
    }
    if (authenticationType != kNoAuthentication) {
      const std::string username = has(action, "username") ? text(action, "username") : std::string();
      if (has(action, "username")) std::cout << "\n\t\t " << "username" << ": " << username;
      // Never the password itself.
      if (has(action, "password")) std::cout << "\n\t\t " << "password" << ": Password of " << username;
    }
  }
  return 0;
}

void LWMConsole::editSettings() {
  utils::log_function_entry("launcher::LWMConsole::editSettings");
  // What the menu's word-wise read left of its line.
  std::cin.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
  const json::Object& properties = actionsParent(m_alert_config);
  if (!has(properties, "actions")) return;
  const json::Array actions = static_cast<const json::Array&>(properties["actions"]);
  if (actions.empty()) return;

  // Once set, the pending password is stored again for every later e-mail action
  // of this walk, changed or not; the SMTP server file ends up holding the last one.
  bool passwordPending = false;
  Heading heading;
  int configNumber = 0;
  for (std::size_t position = 0; position < actions.size(); ++position) {
    const json::Object& action = actions[position];
    json::Object updated = action;
    readHeading(action, heading);
    if (heading.type != kEmail) continue;
    printHeading(std::cout, ++configNumber, heading);
    std::cout << "\n\n\t " << "<< Press Enter to continue with current one >>";

    editPlainMembers(action, updated);
    editRecipients(action, updated);
    if (has(action, "authentication")) {
      std::cout << "\n\n\t " << "authentication" << ": ";
      const json::Object& authentication = action["authentication"];
      if (has(authentication, "type")) editAuthentication(action, updated, passwordPending);
    }
    if (passwordPending) {
      encryptEmailConfig(updated);
      // The real password lives in the SMTP server file only.
      updated["password"] = json::String("");
    }
    actionsParent(m_alert_config)["actions"][position] = updated;

    utils::UniqueLock_SMutex hold(&m_config_read_write_mutex, false);
    saveAlertConfiguration(m_alert_config);
  }
}

void LWMConsole::encryptEmailConfig(const json::Object& action) {
  utils::log_function_entry("launcher::LWMConsole::encryptEmailConfig");
  std::string smtpServerFile = Preferences::get_instance()->get_smtp_server_loc();
  // Read before any file is touched, so that an action without them raises and is
  // not stored. They would pick the old entry to update, but none is kept (below).
  [[maybe_unused]] const std::string username = text(action, "username");
  [[maybe_unused]] const std::string host = text(action, "host");
  [[maybe_unused]] const int port = truncatedInteger(action, "port");

  NorvaneCrypto& store = *NorvaneCrypto::get_instance();
  std::string stored;
  if (store.decrypt_file_to_str(smtpServerFile, stored) == -1) {
    utils::log_critical(
        "LWMConsole:encryptEmail - Problem during decryptEmailConfig- e-mail functionality will not work as "
        "expected");
    return;
  }
  json::Array servers;
  if (!stored.empty()) {
    // The old entries are read only to prove that the file deciphers and parses; the
    // saved action replaces them all, so the file never holds more than this one.
    json::Object old = parseDeciphered(stored);
    servers = static_cast<json::Array&>(old["values"]);
    servers.clear();
  }
  servers.insert(action);

  json::Object record;
  record["values"] = servers;
  std::ostringstream out;
  json::Writer::Write(record, out);
  std::string resource = out.str();
  int encryptedLength = 0;
  if (store.encrypt_str_to_file(resource, encryptedLength, smtpServerFile) == -1) {
    utils::log_critical(
        "LWMConsole:encryptEmail - Problem during encryptEmailConfig- e-mail functionality will not work as "
        "expected");
  }
}

std::string LWMConsole::getEmailName(json::Object /*action*/) { return std::string(); }

}  // namespace launcher
