// Login checks: a user name and password against the local machine, a domain or an
// LDAP directory, as the web server checks them; and the PAM services they use.
#include <fcntl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <launcher/Preferences.h>
#include <utils/Log.h>
#include <utils/System.h>

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iostream>

#include "Command.h"

namespace norvanectl {
namespace {

constexpr const char* kDefaultPamDirectory = "/etc/pam.d";

// Local accounts only: the machine's own password database.
constexpr const char* kLocalService =
    "# norvane-local: logins of libnorvane against the machine's local accounts.\n"
    "# Written by norvanectl auth install-pam.\n"
    "auth     required  pam_unix.so\n"
    "account  required  pam_unix.so\n";
// The system's own stack, so that sssd or winbind answer for a domain's users.
constexpr const char* kDomainService =
    "# norvane-domain: logins of libnorvane against the domain the host is joined to\n"
    "# (through the system's stack: sssd or winbind). Written by norvanectl auth install-pam.\n"
    "@include common-auth\n"
    "@include common-account\n";

// One line from standard input, without echo when it is a terminal. The text is
// never printed.
bool readPassword(std::string& password) {
  const bool terminal = isatty(STDIN_FILENO) == 1;
  termios saved{};
  if (terminal) {
    if (tcgetattr(STDIN_FILENO, &saved) != 0) return false;
    termios quiet = saved;
    quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    quiet.c_lflag |= ECHONL;
    if (tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet) != 0) return false;
    // Only now: what is typed after the prompt must be neither echoed nor flushed.
    std::cerr << "Password: " << std::flush;
  }
  const bool read = static_cast<bool>(std::getline(std::cin, password)) || !password.empty();
  if (terminal) tcsetattr(STDIN_FILENO, TCSAFLUSH, &saved);
  if (!password.empty() && password.back() == '\r') password.pop_back();
  return read;
}

const char* levelName(utils::System::AccessLevel_ level) {
  switch (level) {
    case utils::System::NO_ACCESS: return "NO_ACCESS";
    case utils::System::READ_ONLY_ACCESS: return "READ_ONLY_ACCESS";
    case utils::System::FULL_ACCESS: return "FULL_ACCESS";
  }
  return "unknown";
}

int verdict(Invocation& call, bool accepted, utils::System::AccessLevel_ level, int errorCode,
            const std::string& errorMessage) {
  utils::formatted_log_t::uninitializeLogger();
  call.out << "verdict: " << (accepted ? "accepted" : "refused") << "\n"
           << "access level: " << static_cast<int>(level) << " (" << levelName(level) << ")\n"
           << "error code: " << errorCode << "\n"
           << "error message: '" << errorMessage << "'\n";
  return accepted ? kOk : kFailed;
}

bool parseNumber(const std::string& text, unsigned long& value) {
  if (text.empty() || !std::isdigit(static_cast<unsigned char>(text[0]))) return false;
  char* end = nullptr;
  errno = 0;
  value = std::strtoul(text.c_str(), &end, 10);
  return *end == '\0' && errno == 0;
}

int runLocalOrDomain(Invocation& call, const Command& self, const std::vector<std::string>& args) {
  const bool local = args[0] == "local";
  if (args.size() != (local ? 2u : 3u)) {
    return usageError(call, self, local ? "auth local needs exactly one USER" : "auth domain needs USER and DOMAIN");
  }
  std::string password;
  if (!readPassword(password)) return failure(call, "no password on standard input");
  utils::System& system = *utils::System::get_instance();
  std::string reserved, errorMessage;
  utils::System::AccessLevel_ level = utils::System::NO_ACCESS;
  int errorCode = 0;
  const bool accepted = local ? system.authenticate(args[1], password, reserved, level, errorCode, errorMessage)
                              : system.authenticate(args[1], password, args[2], reserved, level, errorCode, errorMessage);
  return verdict(call, accepted, level, errorCode, errorMessage);
}

int runLdap(Invocation& call, const Command& self, const std::vector<std::string>& args) {
  const launcher::Preferences& preferences = *launcher::Preferences::get_instance();
  std::string server = preferences.getLDAPServer();
  std::string base = preferences.getLDAPDNDetails();
  unsigned long port = preferences.getLDAPPortNumber();
  std::string versionText = preferences.getLDAPProtocolVersion();
  std::string mode = preferences.getLDAPBindingMode();
  std::vector<std::string> users;
  for (std::size_t i = 1; i < args.size(); ++i) {
    const std::string& arg = args[i];
    if (arg.rfind("--", 0) != 0) {
      users.push_back(arg);
      continue;
    }
    if (arg != "--server" && arg != "--base" && arg != "--port" && arg != "--version" && arg != "--mode") {
      return usageError(call, self, "unknown option '" + arg + "'");
    }
    if (i + 1 >= args.size()) return usageError(call, self, arg + " needs a value");
    const std::string& value = args[++i];
    if (arg == "--server") server = value;
    if (arg == "--base") base = value;
    if (arg == "--version") versionText = value;
    if (arg == "--mode") mode = value;
    if (arg == "--port" && !parseNumber(value, port)) return usageError(call, self, "--port needs a number");
  }
  if (users.size() != 1) return usageError(call, self, "auth ldap needs exactly one USER");
  if (server.empty()) return usageError(call, self, "no LDAP server: give --server or set ldap_server");
  // The settings write the version as "v3"; the option takes "3" as well.
  unsigned long version = 0;
  const std::string digits = !versionText.empty() && (versionText[0] == 'v' || versionText[0] == 'V')
                                 ? versionText.substr(1) : versionText;
  if (!parseNumber(digits, version)) return usageError(call, self, "protocol version '" + versionText + "' is no number");
  for (char& c : mode) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (mode != "basic" && mode != "secure") return usageError(call, self, "mode '" + mode + "' is neither basic nor secure");
  std::string password;
  if (!readPassword(password)) return failure(call, "no password on standard input");
  const unsigned int protocolVersion = static_cast<unsigned int>(version);
  const int bindingMode = mode == "secure" ? 1 : 0;
  std::string reserved, errorMessage;
  utils::System::AccessLevel_ level = utils::System::NO_ACCESS;
  int errorCode = 0;
  const bool accepted = utils::System::get_instance()->authenticate(
      users[0], password, server, base, port, protocolVersion, bindingMode, reserved, level, errorCode, errorMessage);
  return verdict(call, accepted, level, errorCode, errorMessage);
}

// A PAM service that is cut short can lock every login out, so a file is written
// beside its final name and renamed over it once complete. "" or the system's reason.
std::string writeWholeFile(const std::string& path, const std::string& text) {
  std::string temporary = path + ".XXXXXX";
  const int fd = ::mkstemp(temporary.data());
  if (fd < 0) return std::strerror(errno);
  int failedWith = ::fchmod(fd, 0644) == 0 ? 0 : errno;
  for (std::size_t done = 0; failedWith == 0 && done < text.size();) {
    const ssize_t wrote = ::write(fd, text.data() + done, text.size() - done);
    if (wrote > 0) done += static_cast<std::size_t>(wrote);
    if (wrote < 0 && errno != EINTR) failedWith = errno;
    if (wrote == 0) failedWith = EIO;
  }
  if (failedWith == 0 && ::fsync(fd) != 0) failedWith = errno;
  if (::close(fd) != 0 && failedWith == 0) failedWith = errno;
  if (failedWith == 0 && ::rename(temporary.c_str(), path.c_str()) != 0) failedWith = errno;
  if (failedWith == 0) return "";
  ::unlink(temporary.c_str());
  return std::strerror(failedWith);
}

int installPam(Invocation& call, const Command& self, const std::vector<std::string>& args) {
  std::string directory = kDefaultPamDirectory;
  if (args.size() == 3 && args[1] == "--dir" && !args[2].empty()) {
    directory = args[2];
  } else if (args.size() != 1) {
    return usageError(call, self, "auth install-pam takes only --dir DIR");
  }
  for (const auto& [name, text] : {std::pair{"norvane-local", kLocalService}, {"norvane-domain", kDomainService}}) {
    const std::string path = directory + "/" + name;
    const std::string why = writeWholeFile(path, text);
    if (!why.empty()) return failure(call, "cannot write " + path + ": " + why);
    call.out << "wrote " << path << "\n";
  }
  return kOk;
}

int runAuth(Invocation& call) {
  const Command& self = *findCommand("auth");
  const std::vector<std::string>& args = call.args;
  if (args.empty()) return usageError(call, self, "auth needs local, domain, ldap or install-pam");
  if (args[0] == "local" || args[0] == "domain") return runLocalOrDomain(call, self, args);
  if (args[0] == "ldap") return runLdap(call, self, args);
  if (args[0] == "install-pam") return installPam(call, self, args);
  return usageError(call, self, "unknown auth command '" + args[0] + "'");
}

}  // namespace
}  // namespace norvanectl

NORVANECTL_COMMANDS(auth) {
  using norvanectl::Command;
  return {
      Command{"auth", "auth", "check a login against the local machine, a domain or LDAP",
              "auth local USER | auth domain USER DOMAIN | auth ldap USER [OPTIONS] | auth install-pam [--dir DIR]",
              "Checks USER's password the way the web server does and prints the verdict, the\n"
              "access level and, on failure, the error code and text. The password is read\n"
              "from standard input (without echo on a terminal) and never shown or logged.\n\n"
              "  local USER          a local account (PAM service norvane-local); the level\n"
              "                      comes from full_access_groups and readonly_access_groups\n"
              "  domain USER DOMAIN  a domain account, checked as USER@DOMAIN (PAM service\n"
              "                      norvane-domain, so sssd or winbind answer)\n"
              "  ldap USER           binds as cn=USER,BASE; the level comes from memberOf.\n"
              "                      Options default from the settings:\n"
              "    --server HOST     ldap_server\n"
              "    --base DN         dn_details\n"
              "    --port N          ldap_port_number\n"
              "    --version N       ldap_protocol_version (\"v3\" or \"3\")\n"
              "    --mode basic|secure  ldap_binding: a simple bind over ldap://, or TLS\n"
              "                      (ldaps://) with a DIGEST-MD5 bind\n"
              "  install-pam         writes the PAM services norvane-local (pam_unix) and\n"
              "                      norvane-domain (common-auth, common-account) to\n"
              "                      /etc/pam.d, or to --dir DIR\n\n"
              "Exit status: 0 the login was accepted (or the files written); 1 it was\n"
              "refused; 2 wrong usage.\n",
              norvanectl::runAuth},
  };
}
