#include "AuthIntegrationSupport.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <thread>

#include "support/TempInstallation.h"

namespace authit {
namespace {

std::string makeDirectory(const char* pattern) {
  std::string path = pattern;
  if (mkdtemp(path.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  return path;
}

bool accepts(int port) {
  const int socketFd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const bool connected = connect(socketFd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
  close(socketFd);
  return connected;
}

// Attribute types and the class the login reads, in the manner of a Windows directory.
constexpr const char* kSchema =
    "attributetype ( 1.3.6.1.4.1.55555.1.1 NAME 'objectCategory' EQUALITY caseIgnoreMatch\n"
    "  SYNTAX 1.3.6.1.4.1.1466.115.121.1.15 )\n"
    "attributetype ( 1.3.6.1.4.1.55555.1.2 NAME 'memberOf' EQUALITY caseIgnoreMatch\n"
    "  SYNTAX 1.3.6.1.4.1.1466.115.121.1.15 )\n"
    "objectclass ( 1.3.6.1.4.1.55555.2.1 NAME 'user' SUP top AUXILIARY MAY ( objectCategory $ memberOf ) )\n";

}  // namespace

Run runWithInput(const std::string& program, const std::vector<std::string>& args,
                 const std::map<std::string, std::string>& env, const std::string& input) {
  const std::string directory = makeDirectory("/tmp/norvane-auth-run-XXXXXX");
  const std::string outPath = directory + "/out", errPath = directory + "/err";
  int pipeFds[2];
  if (pipe(pipeFds) != 0) throw std::runtime_error("pipe failed");
  const pid_t pid = fork();
  if (pid < 0) throw std::runtime_error("fork failed");
  if (pid == 0) {
    const int out = open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const int err = open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (out < 0 || err < 0) _exit(127);
    dup2(pipeFds[0], STDIN_FILENO);
    dup2(out, STDOUT_FILENO);
    dup2(err, STDERR_FILENO);
    close(pipeFds[0]);
    close(pipeFds[1]);
    for (const auto& [name, value] : env) setenv(name.c_str(), value.c_str(), 1);
    std::vector<char*> argv{const_cast<char*>(program.c_str())};
    for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    execv(program.c_str(), argv.data());
    _exit(127);
  }
  close(pipeFds[0]);
  const ssize_t written = write(pipeFds[1], input.data(), input.size());
  (void)written;
  close(pipeFds[1]);
  int status = 0;
  while (waitpid(pid, &status, 0) < 0) continue;
  Run run{WIFEXITED(status) ? WEXITSTATUS(status) : -1, testsupport::readFile(outPath),
          testsupport::readFile(errPath)};
  std::system(("rm -rf " + directory).c_str());
  return run;
}

int freePort() {
  const int socketFd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  bind(socketFd, reinterpret_cast<sockaddr*>(&address), sizeof address);
  socklen_t length = sizeof address;
  getsockname(socketFd, reinterpret_cast<sockaddr*>(&address), &length);
  close(socketFd);
  return ntohs(address.sin_port);
}

Slapd::Slapd(const std::string& ldif) : m_directory(makeDirectory("/tmp/norvane-slapd-XXXXXX")) {
  const std::string& d = m_directory;
  if (access("/usr/sbin/slapd", X_OK) != 0) {
    m_failure = "slapd is not installed (package slapd)";
    return;
  }
  testsupport::writeFile(d + "/norvane.schema", kSchema);
  testsupport::writeFile(d + "/slapd.conf",
                         "include /etc/ldap/schema/core.schema\n"
                         "include " + d + "/norvane.schema\n"
                         "modulepath /usr/lib/ldap\n"
                         "moduleload back_mdb\n"
                         "pidfile " + d + "/slapd.pid\n"
                         "TLSCertificateFile " + d + "/cert.pem\n"
                         "TLSCertificateKeyFile " + d + "/key.pem\n"
                         "authz-regexp \"uid=([^,]*),.*cn=auth\" \"cn=$1,dc=example,dc=com\"\n"
                         "sasl-secprops none\n"
                         "sasl-auxprops slapd\n"
                         "database mdb\n"
                         "suffix \"dc=example,dc=com\"\n"
                         "directory " + d + "/db\n"
                         "access to attrs=userPassword by anonymous auth by * none\n"
                         "access to * by * read\n");
  testsupport::writeFile(d + "/data.ldif",
                         "dn: dc=example,dc=com\nobjectClass: dcObject\nobjectClass: organization\no: example\n"
                         "dc: example\n\n" + ldif);
  const std::string quiet = " >>" + d + "/setup.log 2>&1";
  if (std::system(("mkdir " + d + "/db && openssl req -x509 -newkey rsa:2048 -nodes -keyout " + d +
                   "/key.pem -out " + d + "/cert.pem -days 1 -subj /CN=127.0.0.1 -addext subjectAltName=IP:127.0.0.1" +
                   quiet + " && slapadd -f " + d + "/slapd.conf -l " + d + "/data.ldif" + quiet).c_str()) != 0) {
    m_failure = "cannot prepare the directory: " + testsupport::readFile(d + "/setup.log");
    return;
  }
  m_port = freePort();
  m_tlsPort = freePort();
  const std::string urls =
      "ldap://127.0.0.1:" + std::to_string(m_port) + "/ ldaps://127.0.0.1:" + std::to_string(m_tlsPort) + "/";
  const pid_t pid = fork();
  if (pid == 0) {
    const int log = open((d + "/slapd.log").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(log, STDOUT_FILENO);
    dup2(log, STDERR_FILENO);
    // -d 0 keeps it in the foreground, so this pid is the server's.
    execl("/usr/sbin/slapd", "slapd", "-f", (d + "/slapd.conf").c_str(), "-h", urls.c_str(), "-d", "0", nullptr);
    _exit(127);
  }
  m_pid = pid;
  for (int i = 0; i < 100; ++i) {
    if (accepts(m_port) && accepts(m_tlsPort)) return;
    int status = 0;
    if (waitpid(m_pid, &status, WNOHANG) == m_pid) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  m_failure = "slapd did not start: " + testsupport::readFile(d + "/slapd.log");
  kill(m_pid, SIGKILL);
  waitpid(m_pid, nullptr, 0);
  m_pid = -1;
}

Slapd::~Slapd() {
  if (m_pid > 0) {
    kill(m_pid, SIGTERM);
    int status = 0;
    bool reaped = false;
    for (int i = 0; i < 100 && !reaped; ++i) {
      reaped = waitpid(m_pid, &status, WNOHANG) == m_pid;
      if (!reaped) std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    if (!reaped) {
      kill(m_pid, SIGKILL);
      waitpid(m_pid, &status, 0);
    }
  }
  std::system(("rm -rf " + m_directory).c_str());
}

}  // namespace authit
