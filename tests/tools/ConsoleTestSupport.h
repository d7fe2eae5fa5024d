// Shared by the console tests: installations of type 129 with store files, the texts
// the console prints, and norvanectl console run with its input on a pipe.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "json/JsonTestSupport.h"
#include "support/TempInstallation.h"
#include "support/ToolRun.h"

namespace consoletest {

using testsupport::ToolResult;

inline const std::string kMenu =
    "\n\n ALERT CONFIGURATION - EMAIL SETTING\n -----------------------------------\n (1) View Settings"
    "\n (2) Edit Settings\n (3) Exit\n\n Enter the option: ";
inline const std::string kInvalid = "\n\n Invalid option selected. Please select the valid option.";
inline const std::string kLoadFailed = "\n\n There is an issue with load Alert Configuration. Exiting! \n\n";

inline std::string heading(int number, const std::string& name, int active) {
  return "\n\n CONFIG: " + std::to_string(number) + "\n __________\n\n\t name: " + name +
         "\n\t isActive: " + std::to_string(active) + "\n\t type: EMAIL";
}

inline std::string document(const std::string& actions) {
  return "{\"alertConfiguration\": {\"properties\": {\"actions\": [" + actions +
         "], \"threshold\": 5}}, \"version\": \"2.1\"}";
}

// An e-mail action with a password login, one of another kind, and an e-mail action
// without "isActive" (carried over from the one before) that needs no login.
inline const std::string kMailer =
    R"({"name": "ops mail", "isActive": true, "type": "EMAIL", "sender": "array@example.com",
        "host": "smtp.example.com", "port": 587.9, "to": ["a@example.com", "b@example.com"],
        "authentication": {"type": "AUTH-LOGIN"}, "username": "mailer", "password": ""})";
inline const std::string kTrap = R"({"name": "trap", "isActive": false, "type": "SNMP", "host": "nms"})";
inline const std::string kRelay =
    R"({"name": "night mail", "type": "EMAIL", "host": "relay", "to": [],
        "authentication": {"type": "NONE"}, "username": "ghost", "password": "x"})";

inline const std::string kMailerView =
    heading(1, "ops mail", 1) +
    "\n\t sender: array@example.com\n\t host: smtp.example.com\n\t port: 587"
    "\n\t to: \n\t\t a@example.com\n\t\t b@example.com"
    "\n\t authentication: \n\t\t type: AUTH-LOGIN\n\t\t username: mailer\n\t\t password: Password of mailer";

struct ConsoleHome : testsupport::HomedInstallation {
  explicit ConsoleHome(unsigned installationType = 129)
      : HomedInstallation("installation_type = " + std::to_string(installationType) + "\nlog_level = 255\n") {
    std::filesystem::create_directories(home() + "/conf/monitor");
    std::filesystem::create_directories(home() + "/bin");
    // The secret store's two files, so an SMTP password can be stored.
    testsupport::writeFile(home() + "/bin/key.store", "3f2a9c1e-7b4d-4e8a-9c2f-1a2b3c4d5e6f");
    testsupport::writeFile(home() + "/bin/value.store", "0d9e8f7a-1111-4222-8333-944455556666");
  }
  std::string alertFile() const { return home() + "/conf/monitor/config-current.json"; }
  std::string smtpFile() const { return home() + "/bin/smtpServer"; }
  void writeAlerts(const std::string& text) const { testsupport::writeFile(alertFile(), text); }
  std::vector<std::string> args() const { return {"--store-root", storeRoot(), "console"}; }
  ToolResult console(const std::string& input) const { return testsupport::runTool(NORVANECTL_PATH, args(), input); }
  std::string log() const { return readHomeFile("logs/norvanectl.txt"); }
  // The alert configuration file read back.
  json::Object alerts() const { return jsontest::read(testsupport::readFile(alertFile())); }
  // The SMTP server file deciphered by the secret store on this host, in a fresh
  // process that uses this installation: "<result>|<resource>".
  std::string smtpServers() const;
};

// "exit code|standard output|standard error" in one text.
using testsupport::shown;

}  // namespace consoletest
