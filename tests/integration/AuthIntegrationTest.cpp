// LDAP logins against a slapd of the test's own on loopback: both sequences, in this
// process.
#include "support/TestPrelude.h"

#include "support/ChildProcess.h"
#include "support/Loopback.h"
#include "utils/AuthenticationTestSupport.h"

namespace {

// slapd with a configuration and database of its own in a temporary directory,
// listening on ldap://127.0.0.1:port and ldaps://127.0.0.1:tlsPort with a
// self-signed certificate for 127.0.0.1. Suffix dc=example,dc=com; the users'
// passwords are stored in clear text (DIGEST-MD5 needs them), and a SASL name maps
// to cn=<name>,dc=example,dc=com. Attribute types and the class the login reads are
// those of a Windows directory.
struct Slapd {
  explicit Slapd(const std::string& ldif) {
    if (access("/usr/sbin/slapd", X_OK) != 0) {
      failure = "slapd is not installed (package slapd)";
      return;
    }
    const std::string attribute = " EQUALITY caseIgnoreMatch SYNTAX 1.3.6.1.4.1.1466.115.121.1.15 )\n";
    testsupport::writeFile(d + "/norvane.schema",
                           "attributetype ( 1.3.6.1.4.1.55555.1.1 NAME 'objectCategory'" + attribute +
                               "attributetype ( 1.3.6.1.4.1.55555.1.2 NAME 'memberOf'" + attribute +
                               "objectclass ( 1.3.6.1.4.1.55555.2.1 NAME 'user' SUP top AUXILIARY MAY "
                               "( objectCategory $ memberOf ) )\n");
    testsupport::writeFile(d + "/slapd.conf",
                           "include /etc/ldap/schema/core.schema\ninclude " + d + "/norvane.schema\n"
                           "modulepath /usr/lib/ldap\nmoduleload back_mdb\npidfile " + d + "/slapd.pid\n"
                           "TLSCertificateFile " + d + "/cert.pem\nTLSCertificateKeyFile " + d + "/key.pem\n"
                           "authz-regexp \"uid=([^,]*),.*cn=auth\" \"cn=$1,dc=example,dc=com\"\n"
                           "sasl-secprops none\nsasl-auxprops slapd\ndatabase mdb\nsuffix \"dc=example,dc=com\"\n"
                           "directory " + d + "/db\naccess to attrs=userPassword by anonymous auth by * none\n"
                           "access to * by * read\n");
    testsupport::writeFile(d + "/data.ldif", "dn: dc=example,dc=com\nobjectClass: dcObject\nobjectClass: organization\n"
                                             "o: example\ndc: example\n\n" + ldif);
    const std::string quiet = " >>" + d + "/setup.log 2>&1";
    if (std::system(("mkdir " + d + "/db && openssl req -x509 -newkey rsa:2048 -nodes -keyout " + d + "/key.pem -out " +
                     d + "/cert.pem -days 1 -subj /CN=127.0.0.1 -addext subjectAltName=IP:127.0.0.1" + quiet +
                     " && slapadd -f " + d + "/slapd.conf -l " + d + "/data.ldif" + quiet).c_str()) != 0) {
      failure = "cannot prepare the directory: " + testsupport::readFile(d + "/setup.log");
      return;
    }
    const std::string urls = "ldap://127.0.0.1:" + std::to_string(port) + "/ ldaps://127.0.0.1:" + std::to_string(tlsPort) + "/";
    const int log = open((d + "/slapd.log").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    // -d 0 keeps it in the foreground, so this pid is the server's.
    pid = testsupport::launch({"/usr/sbin/slapd", "-f", d + "/slapd.conf", "-h", urls, "-d", "0"}, {}, -1, log, log);
    close(log);
    for (int i = 0; i < 100 && waitpid(pid, nullptr, WNOHANG) != pid; ++i) {
      if (testsupport::loopbackAccepts(port) && testsupport::loopbackAccepts(tlsPort)) return;
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    failure = "slapd did not start: " + testsupport::readFile(d + "/slapd.log");
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
    pid = -1;
  }
  ~Slapd() {
    if (pid <= 0) return;
    kill(pid, SIGTERM);
    for (int i = 0; i < 100; ++i, std::this_thread::sleep_for(std::chrono::milliseconds(20))) {
      if (waitpid(pid, nullptr, WNOHANG) == pid) return;
    }
    kill(pid, SIGKILL), waitpid(pid, nullptr, 0);
  }

  testsupport::TempInstallation scratch;  // removed after the server has stopped
  const std::string d = scratch.root();
  std::string failure;
  int pid = -1, port = testsupport::freeLoopbackPort(), tlsPort = testsupport::freeLoopbackPort();
};

// An entry of the directory; a user object when memberOf is given, even empty.
std::string person(const std::string& name, const char* memberOf = nullptr) {
  return "dn: cn=" + name + ",dc=example,dc=com\nobjectClass: person\ncn: " + name + "\nsn: " + name +
         "\nuserPassword: " + name + "pw\n" +
         (memberOf ? "objectClass: user\nobjectCategory: person\n" + std::string(memberOf) : "") + "\n";
}

TEST(SlapdTest, BothSequencesBindSearchAndReadMemberOf) {
  testsupport::HomedInstallation installation("log_level = 255\nlog_cache_mode = 0\n");
  installation.useStore();
  const Slapd slapd(person("alice", "memberOf: CN=Administrators,CN=Builtin,DC=example,DC=com\n") + person("carol"));
  if (slapd.pid <= 0) GTEST_SKIP() << slapd.failure;
  // libldap reads its trust anchors from the environment when first used.
  setenv("LDAPTLS_CACERT", (slapd.d + "/cert.pem").c_str(), 1);
  // The access decisions are the unit tests' business; here the server is reached
  // by both sequences and its answers come through.
  const struct { int mode, port; const char* user; const char* password; const char* expected; } rows[] = {
      {0, slapd.port, "alice", "alicepw", "true 2 -1 [old]"},
      {0, slapd.port, "alice", "wrong", "false 3 49 [Invalid credentials]"},
      {0, slapd.port, "carol", "carolpw", "false 3 0 [Success]"},  // not a user object
      {1, slapd.tlsPort, "alice", "alicepw", "true 2 -1 [old]"},
      {1, slapd.tlsPort, "alice", "wrong", "false 3 49 [Invalid credentials]"},
      {0, testsupport::freeLoopbackPort(), "alice", "alicepw", "false 3 -1 [Can't contact LDAP server]"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.expected, authtest::login(row.user, row.password, "127.0.0.1", "dc=example,dc=com", row.port, 3, row.mode))
        << row.mode << " " << row.port << " " << row.user;
  }
}

}  // namespace
