// LDAP logins against a slapd of the test's own on loopback: both sequences, in this
// process.
#include <gtest/gtest.h>
#include <utils/System.h>

#include <cstdlib>
#include <memory>

#include "AuthIntegrationSupport.h"
#include "support/Loopback.h"
#include "support/TempInstallation.h"
#include "utils/AuthenticationTestSupport.h"

namespace {

std::string ldapLogin(const std::string& user, const std::string& password, int port, int mode) {
  return authtest::ldap(user, password, "127.0.0.1", "dc=example,dc=com", static_cast<unsigned long>(port), 3, mode);
}

// An entry of the directory; a user object when memberOf is given, even empty.
std::string person(const std::string& name, const char* memberOf = nullptr) {
  return "dn: cn=" + name + ",dc=example,dc=com\nobjectClass: person\ncn: " + name + "\nsn: " + name +
         "\nuserPassword: " + name + "pw\n" +
         (memberOf ? "objectClass: user\nobjectCategory: person\n" + std::string(memberOf) : "") + "\n";
}

class SlapdTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    s_installation = std::make_unique<testsupport::HomedInstallation>("log_level = 255\nlog_cache_mode = 0\n");
    s_installation->useStore();
    s_slapd = std::make_unique<authit::Slapd>(
        person("alice", "memberOf: CN=Administrators,CN=Builtin,DC=example,DC=com\nmemberOf: CN=Staff,DC=example,DC=com\n") +
        person("bob", "memberOf: CN=Staff,DC=example,DC=com\nmemberOf: CN=Administrators,DC=example,DC=com\n") +
        person("dave", "") + person("carol"));
    // libldap reads its trust anchors from the environment when first used.
    setenv("LDAPTLS_CACERT", s_slapd->certificate().c_str(), 1);
  }
  static void TearDownTestSuite() {
    s_slapd.reset();
    s_installation.reset();
  }
  void SetUp() override {
    if (!s_slapd->running()) GTEST_SKIP() << s_slapd->failure();
  }
  static inline std::unique_ptr<testsupport::TempInstallation> s_installation;
  static inline std::unique_ptr<authit::Slapd> s_slapd;
};

TEST_F(SlapdTest, BothSequencesBindSearchAndReadMemberOf) {
  const struct { int mode; const char* user; const char* password; const char* expected; } rows[] = {
      {0, "alice", "alicepw", "true 2 -1 [old]"},
      {0, "bob", "bobpw", "true 1 -1 [old]"},    // Administrators in the second value
      {0, "dave", "davepw", "true 1 -1 [old]"},  // no memberOf at all
      {0, "alice", "wrong", "false 3 49 [Invalid credentials]"},
      {0, "zed", "zedpw", "false 3 49 [Invalid credentials]"},  // no such entry
      {0, "carol", "carolpw", "false 3 0 [Success]"},           // not a user object
      {1, "alice", "alicepw", "true 2 -1 [old]"},
      {1, "alice", "wrong", "false 3 49 [Invalid credentials]"},
      {1, "zed", "zedpw", "false 3 80 [Other (e.g., implementation specific) error]"},  // SASL: no such user
  };
  for (const auto& row : rows) {
    const int port = row.mode == 1 ? s_slapd->tlsPort() : s_slapd->port();
    EXPECT_EQ(row.expected, ldapLogin(row.user, row.password, port, row.mode)) << row.mode << " " << row.user;
  }
  // TLS against the plain port, and nothing listening.
  EXPECT_EQ("false 3 -1 [Can't contact LDAP server]", ldapLogin("alice", "alicepw", s_slapd->port(), 1));
  EXPECT_EQ("false 3 -1 [Can't contact LDAP server]", ldapLogin("alice", "alicepw", testsupport::freeLoopbackPort(), 0));
}

}  // namespace
