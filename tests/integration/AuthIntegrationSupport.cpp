#include "AuthIntegrationSupport.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <thread>

#include "support/ChildProcess.h"
#include "support/Loopback.h"
#include "support/TempInstallation.h"

namespace authit {
namespace {

// Attribute types and the class the login reads, in the manner of a Windows directory.
constexpr const char* kSchema =
    "attributetype ( 1.3.6.1.4.1.55555.1.1 NAME 'objectCategory' EQUALITY caseIgnoreMatch\n  SYNTAX 1.3.6.1.4.1.1466.115.121.1.15 )\n"
    "attributetype ( 1.3.6.1.4.1.55555.1.2 NAME 'memberOf' EQUALITY caseIgnoreMatch\n  SYNTAX 1.3.6.1.4.1.1466.115.121.1.15 )\n"
    "objectclass ( 1.3.6.1.4.1.55555.2.1 NAME 'user' SUP top AUXILIARY MAY ( objectCategory $ memberOf ) )\n";

}  // namespace

Slapd::Slapd(const std::string& ldif) {
  const std::string& d = m_directory;
  if (access("/usr/sbin/slapd", X_OK) != 0) {
    m_failure = "slapd is not installed (package slapd)";
    return;
  }
  testsupport::writeFile(d + "/norvane.schema", kSchema);
  testsupport::writeFile(d + "/slapd.conf",
                         "include /etc/ldap/schema/core.schema\ninclude " + d + "/norvane.schema\n"
                         "modulepath /usr/lib/ldap\nmoduleload back_mdb\npidfile " + d + "/slapd.pid\n"
                         "TLSCertificateFile " + d + "/cert.pem\nTLSCertificateKeyFile " + d + "/key.pem\n"
                         "authz-regexp \"uid=([^,]*),.*cn=auth\" \"cn=$1,dc=example,dc=com\"\n"
                         "sasl-secprops none\nsasl-auxprops slapd\ndatabase mdb\nsuffix \"dc=example,dc=com\"\n"
                         "directory " + d + "/db\naccess to attrs=userPassword by anonymous auth by * none\n"
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
  m_port = testsupport::freeLoopbackPort();
  m_tlsPort = testsupport::freeLoopbackPort();
  const std::string urls =
      "ldap://127.0.0.1:" + std::to_string(m_port) + "/ ldaps://127.0.0.1:" + std::to_string(m_tlsPort) + "/";
  const int log = open((d + "/slapd.log").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  // -d 0 keeps it in the foreground, so this pid is the server's.
  m_pid = testsupport::launch({"/usr/sbin/slapd", "-f", d + "/slapd.conf", "-h", urls, "-d", "0"}, {}, -1, log, log);
  close(log);
  for (int i = 0; i < 100; ++i) {
    if (testsupport::loopbackAccepts(m_port) && testsupport::loopbackAccepts(m_tlsPort)) return;
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
    bool reaped = false;
    for (int i = 0; i < 100 && !(reaped = waitpid(m_pid, nullptr, WNOHANG) == m_pid); ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    if (!reaped) kill(m_pid, SIGKILL), waitpid(m_pid, nullptr, 0);
  }
}

}  // namespace authit
