// The text console with which an operator of a LightWeightMonitor installation looks
// at and changes the e-mail actions of the alert configuration, on the process's
// standard input and output.
//
//   bool done = launcher::LWMConsole::get_instance()->commandLineInterface();
//
// The alert configuration file (Preferences::get_alert_config_file) is read afresh
// before every view and every edit and written back whole after each edited e-mail
// action, so members the console does not know survive. An SMTP password typed in
// the console goes, enciphered, into the SMTP server file of the secret store
// (Preferences::get_smtp_server_loc); the alert configuration keeps an empty one.
#pragma once

#include <NorvaneExport.h>
#include <json/Object.h>
#include <utils/SharedMutex.h>

#include <string>

namespace launcher {

class NORVANE_API LWMConsole {
 public:
  LWMConsole() = default;
  LWMConsole(const LWMConsole&) = default;
  LWMConsole(LWMConsole&&) = default;
  LWMConsole& operator=(const LWMConsole&) = default;
  LWMConsole& operator=(LWMConsole&&) = default;
  ~LWMConsole() = default;

  // The one console of the process; thread-safe on first use.
  static LWMConsole* get_instance();

  // Runs the menu until the operator leaves it. Only an installation of type 129
  // (LightWeightMonitor) gets the menu; any other prints a refusal and gives false.
  // Otherwise the result is false only when loading the alert configuration fails
  // in the very first pass of the menu, and true in every other case: leaving with
  // option 3, a failure in a later pass, or the end of standard input. A member of
  // the wrong type in the document, or an edit that leaves the SMTP user, host or
  // port missing, throws json::Exception out of here.
  bool commandLineInterface();

 private:
  // Prints the menu and reads one word: its number, or 0 if it is not one.
  int getOption();
  // 0, or -1 when the file cannot be read as a document.
  int loadAlertConfiguration();
  // Prints every e-mail action. Always 0.
  int viewSettings();
  // Walks every e-mail action prompt by prompt, saving each one.
  void editSettings();
  // Stores the action, with its real password, as the only entry of the SMTP server
  // file. Failures show in the log only.
  void encryptEmailConfig(const json::Object& action);
  // Kept for compatibility: always empty.
  std::string getEmailName(json::Object action);

  json::Object m_alert_config;
  static utils::SharedMutex m_config_read_write_mutex;
};

}  // namespace launcher
