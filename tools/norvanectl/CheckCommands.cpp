// `check`: what an installation lacks, each item with its fix. It only looks: it
// reads no setting through the library and writes no log line, so running it beside
// a live server changes nothing (the first log statement of a process would empty
// the active log file).
#include <json/Array.h>
#include <json/Exception.h>
#include <json/Object.h>
#include <json/Reader.h>
#include <launcher/NorvaneCrypto.h>
#include <utils/System.h>

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "Command.h"
#include "ConfigurationReview.h"
#include "FileProbe.h"
#include "Installation.h"

namespace norvanectl {
namespace {

struct Finding {
  std::string item;
  std::string problem;  // "" when the item is in order
  std::string fix;
};

// What 'keys init' writes: 36 characters, lower-case hexadecimal with four hyphens.
bool isKeyText(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  char text[38] = {};
  in.read(text, sizeof text);
  if (in.gcount() != 36) return false;
  for (int i = 0; i < 36; ++i) {
    const bool hyphen = i == 8 || i == 13 || i == 18 || i == 23;
    const char c = text[i];
    if (hyphen ? c != '-' : !((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'))) return false;
  }
  return true;
}

// The store files hold one UUID each; the secret store derives its key from the first
// 8 bytes of the key store and its IV from the whole value store.
Finding storeFile(const std::string& item, const std::string& path, off_t least) {
  const std::string keys = Installation::command("keys init");
  struct stat info;
  if (::stat(path.c_str(), &info) != 0) {
    const int error = errno;
    if (error == ENOENT) return {item, path + ": " + reason(error), keys + " creates it"};
    return {item, path + ": " + reason(error), "make " + path + " readable"};
  }
  if (!S_ISREG(info.st_mode)) return {item, path + " is " + kindOfSpecialFile(path), "move it away; then " + keys};
  const std::string why = whyNotReadable(path);
  if (!why.empty()) return {item, path + ": " + why, "make " + path + " readable for the server's user"};
  if (info.st_size == 0) return {item, path + " is empty", keys + " fills it"};
  if (info.st_size < least) {
    return {item, path + " holds " + std::to_string(info.st_size) + " bytes, fewer than " + std::to_string(least),
            "restore it from a backup (secrets made with other store files do not decrypt)"};
  }
  if (!isKeyText(path)) {
    return {item, path + " is not the UUID text that " + keys + " writes",
            "restore it from a backup (secrets made with other store files do not decrypt)"};
  }
  return {item, "", path};
}

// A re-key journal outlives only a re-key that died; the next use of the secret store
// finishes or undoes it, and leaves a note of what it did.
Finding interruptedReKey(const Installation& installation) {
  const std::string bin = installation.keyStore().substr(0, installation.keyStore().rfind('/'));
  struct stat info;
  if (::stat((bin + "/rekey.journal").c_str(), &info) == 0) {
    return {"re-key", "an interrupted re-key is waiting for recovery (" + bin + "/rekey.journal)",
            Installation::command("secret get FILE") + " or any use of the secret store recovers it"};
  }
  std::ifstream note(bin + "/rekey.recovered");
  std::string done;
  if (std::getline(note, done)) return {"re-key", "", "an interrupted re-key was recovered: " + done};
  return {"", "", ""};  // nothing to report: no row
}

// Each secret file must decipher under the store files and pass its integrity test;
// only names are shown. Reading them goes through the secret store, which finishes
// an interrupted re-key first.
Finding storedSecrets(const Installation& installation) {
  const std::string bin = installation.keyStore().substr(0, installation.keyStore().rfind('/'));
  std::vector<std::string> paths{bin + "/smtpServer"};
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(bin + "/managedservers", error)) {
    if (entry.is_regular_file(error) && entry.path().filename().string()[0] != '.') paths.push_back(entry.path());
  }
  std::sort(paths.begin() + 1, paths.end());
  paths.erase(std::remove_if(paths.begin(), paths.end(),
                             [&error](const std::string& path) {
                               return std::filesystem::file_size(path, error) == 0 || error;
                             }),
              paths.end());
  // Without secrets there is nothing to report, and the library is not started.
  if (paths.empty()) return {"", "", ""};
  std::string failing;
  for (std::string& path : paths) {
    std::string text;
    const bool read = launcher::NorvaneCrypto::get_instance()->decrypt_file_to_str(path, text) != -1 &&
                      launcher::NorvaneCrypto::lastCallReport().integrityPassed;
    std::fill(text.begin(), text.end(), '\0');
    if (!read) failing += (failing.empty() ? "" : ", ") + path.substr(path.rfind('/') + 1);
  }
  if (failing.empty()) return {"secrets", "", std::to_string(paths.size()) + " stored secrets decipher"};
  return {"secrets", "these stored secrets do not decipher: " + failing,
          "store them again with " + Installation::command("secret put FILE") +
              ", or restore the store files they were enciphered with"};
}

// The alert console reads this document and walks alertConfiguration.properties.
// actions; a member of another kind there would end the console.
Finding alertConfiguration(const Installation& installation) {
  const std::string item = "alert configuration";
  const std::string path = installation.alertConfiguration();
  const std::string fallback = installation.defaultAlertConfiguration();
  std::string fix = "write " + path + " with the alert settings";
  if (whyNotReadable(fallback).empty()) fix = "start from the default: cp " + fallback + " " + path;
  // A FIFO would hold the read for ever and a socket cannot be opened at all; the
  // console refuses such a file too.
  const std::string special = kindOfSpecialFile(path);
  if (!special.empty() && special != "a directory") return {item, path + " is " + special, "move it away; then " + fix};
  const std::string why = whyNotReadable(path);
  if (!why.empty()) {
    struct stat info;
    if (::stat(path.c_str(), &info) == 0) fix = "make " + path + " readable for the server's user";
    return {item, path + ": " + why, fix};
  }
  std::ifstream in(path);
  json::Object document;
  try {
    json::Reader::Read(document, in);
  } catch (json::Exception& error) {
    return {item, path + " is not a JSON document: " + error.what(), "correct it, or " + fix};
  }
  try {
    const json::Object& whole = document;  // const lookups throw instead of adding members
    const json::Object& root = whole["alertConfiguration"];
    const json::Object& properties = root["properties"];
    const json::Array& actions = properties["actions"];
    for (const json::UnknownElement& action : actions) static_cast<void>(static_cast<const json::Object&>(action));
  } catch (json::Exception&) {
    return {item, path + " has no alertConfiguration.properties.actions array of objects",
            "correct it, or " + fix};
  }
  return {item, "", path};
}

// The logger writes into an existing directory only; otherwise every line of every
// process is lost.
Finding logsDirectory(const Installation& installation) {
  const std::string item = "logs directory";
  const std::string logs = installation.logDirectory(), logFile = installation.logFile();
  const std::string setHome = Installation::command("set-home " + Installation::shellWord(installation.home()));
  const std::string problem = installation.logDirectoryProblem();
  struct stat info;
  if (installation.logDirectoryMissing()) return {item, problem, setHome + " creates it"};
  if (::stat(logs.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) {
    return {item, problem, "move " + logs + " away, then " + setHome};
  }
  if (!problem.empty()) return {item, problem, "give the users that log write access to " + logs};
  if (::stat(logFile.c_str(), &info) != 0) return {item, "", logs};
  if (!S_ISREG(info.st_mode)) {
    return {item, "log file " + logFile + " is " + kindOfSpecialFile(logFile), "move it away"};
  }
  const std::string why = whyNotWritable(logFile);
  if (!why.empty()) {
    return {item, "cannot write log file " + logFile + ": " + why, "give the users that log write access to it"};
  }
  return {item, "", logs};
}

// The configuration file: readable, a regular file, and every line read as its writer
// meant; one finding per line that is not.
std::vector<Finding> configurationFile(const Installation& installation) {
  const std::string item = "configuration file", path = installation.configurationFile();
  const std::string generate = Installation::command("generate-config");
  const ConfigurationReview review = reviewConfiguration(path);
  if (!review.read) {
    const std::string special = kindOfSpecialFile(path);
    if (review.readError == ENOENT) return {{item, path + ": " + reason(ENOENT), generate + " writes it"}};
    const std::string why = special.empty() || special == "a directory" ? ": " + reason(review.readError)
                                                                        : " is " + special;
    return {{item, path + why, "make it a readable file, or move it away and run " + generate}};
  }
  std::vector<Finding> findings;
  for (const ConfigurationIssue& issue : review.issues) {
    findings.push_back({item, path + " line " + std::to_string(issue.line) + ": " + issue.problem, issue.fix});
  }
  if (findings.empty()) findings.push_back({item, "", path});
  return findings;
}

// The stored home path, or why there is none usable; false when the other items
// cannot be looked at.
bool homeFinding(std::vector<Finding>& findings, std::string& home) {
  std::string problem;
  const std::string setHome = Installation::command("set-home DIR");
  if (!Installation::storedHome(home, problem)) {
    findings.push_back({"home path", problem, setHome});
    return false;
  }
  struct stat info;
  const int error = ::stat(home.c_str(), &info) == 0 ? (S_ISDIR(info.st_mode) ? 0 : ENOTDIR) : errno;
  if (error != 0) {
    findings.push_back({"home path", home + ": " + reason(error), setHome});
    return false;
  }
  findings.push_back({"home path", "", home});
  return true;
}

// An interrupted re-key, when one waits or recovery has left a note; and the stored
// secrets, once both store files are in order.
std::vector<Finding> secretStoreState(const Installation& installation) {
  std::vector<Finding> rows;
  const Finding reKey = interruptedReKey(installation);
  if (!reKey.item.empty()) rows.push_back(reKey);
  if (storeFile("key store", installation.keyStore(), 8).problem.empty() &&
      storeFile("value store", installation.valueStore(), 1).problem.empty()) {
    const Finding secrets = storedSecrets(installation);
    if (!secrets.item.empty()) rows.push_back(secrets);
  }
  return rows;
}

// The items under the home, in the order they are printed. Each area of the
// installation adds its rows here: one function from the installation to findings.
using Examination = std::vector<Finding> (*)(const Installation&);
const Examination kExaminations[] = {
    configurationFile,
    [](const Installation& installation) { return std::vector<Finding>{logsDirectory(installation)}; },
    [](const Installation& installation) {
      return std::vector<Finding>{storeFile("key store", installation.keyStore(), 8)};
    },
    [](const Installation& installation) {
      return std::vector<Finding>{storeFile("value store", installation.valueStore(), 1)};
    },
    secretStoreState,
    [](const Installation& installation) { return std::vector<Finding>{alertConfiguration(installation)}; },
};

std::vector<Finding> examine() {
  std::vector<Finding> findings;
  std::string home;
  if (!homeFinding(findings, home)) return findings;
  const Installation installation(home);
  for (const Examination examination : kExaminations) {
    for (Finding& finding : examination(installation)) findings.push_back(std::move(finding));
  }
  return findings;
}

void printJson(std::ostream& out, const std::vector<Finding>& findings, std::size_t wrong) {
  out << "{\"ok\": " << (wrong == 0 ? "true" : "false") << ", \"problems\": " << wrong << ", \"items\": [";
  for (std::size_t i = 0; i < findings.size(); ++i) {
    const Finding& finding = findings[i];
    out << (i == 0 ? "" : ", ") << "{\"item\": " << jsonString(finding.item);
    if (finding.problem.empty()) {
      out << ", \"ok\": true, \"detail\": " << jsonString(finding.fix) << "}";
    } else {
      out << ", \"ok\": false, \"problem\": " << jsonString(finding.problem) << ", \"fix\": "
          << jsonString(finding.fix) << "}";
    }
  }
  out << "]}\n";
}

void printText(std::ostream& out, const std::vector<Finding>& findings, std::size_t wrong) {
  for (const Finding& finding : findings) {
    if (finding.problem.empty()) {
      out << "ok       " << finding.item << ": " << finding.fix << "\n";
    } else {
      out << "PROBLEM  " << finding.item << ": " << finding.problem << "\n"
          << "         fix: " << finding.fix << "\n";
    }
  }
  if (findings.size() == 1) {  // only the home path, which failed
    out << "the other items need the home path\n";
  } else if (wrong == 0) {
    out << "all " << findings.size() << " items in order\n";
  } else {
    out << wrong << " of " << findings.size() << " items need attention\n";
  }
}

int runCheck(Invocation& call) {
  const Command& self = *findCommand("check");
  const bool json = call.args.size() == 1 && call.args[0] == "--json";
  if (!call.args.empty() && !json) return usageError(call, self, "check takes no arguments but --json");
  const std::vector<Finding> findings = examine();
  std::size_t wrong = 0;
  for (const Finding& finding : findings) wrong += finding.problem.empty() ? 0 : 1;
  if (json) {
    printJson(call.out, findings, wrong);
  } else {
    printText(call.out, findings, wrong);
  }
  return wrong == 0 ? kOk : kFailed;
}

}  // namespace
}  // namespace norvanectl

NORVANECTL_COMMANDS(check) {
  using norvanectl::Command;
  return {
      Command{"check", "check", "report what the installation lacks, with fixes", "check [--json]",
              "Looks at the installation the machine store points to and prints one line per\n"
              "item, 'ok' or 'PROBLEM' with the reason and a fix:\n"
              "  home path            stored, and an existing directory\n"
              "  configuration file   <home>/conf/Norvane.conf a readable regular file; each\n"
              "                       line the library reads otherwise than written (a value\n"
              "                       that is no number or flag, an unknown or repeated key,\n"
              "                       a line without '=' or too long) with its line number\n"
              "                       and the default\n"
              "  logs directory       <home>/logs exists and is writable (without it nothing\n"
              "                       is logged)\n"
              "  key store            <home>/bin/key.store and <home>/bin/value.store\n"
              "  value store          present, readable, the UUID text 'keys init' writes\n"
              "  re-key               no interrupted re-key waiting; what recovery last did\n"
              "  secrets              each stored secret deciphers (names only, never content)\n"
              "  alert configuration  <home>/conf/monitor/config-current.json: a JSON\n"
              "                       document with alertConfiguration.properties.actions\n"
              "The SMTP server file (<home>/bin/smtpServer) is written when e-mail settings\n"
              "are saved, so it is not required. Only reading the secrets goes through the\n"
              "library (which finishes an interrupted re-key, and logs to\n"
              "<home>/logs/norvanectl.txt); nothing else is changed, so check is safe beside\n"
              "a running server.\n\n"
              "--json prints the same findings as one JSON object for scripts:\n"
              "  {\"ok\": BOOL, \"problems\": N, \"items\": [{\"item\": TEXT, \"ok\": true,\n"
              "  \"detail\": TEXT} or {\"item\": TEXT, \"ok\": false, \"problem\": TEXT,\n"
              "  \"fix\": TEXT}, ...]}\n\n"
              "Exit status: 0 every item in order; 1 some item needs attention; 2 wrong usage.\n",
              norvanectl::runCheck},
  };
}
