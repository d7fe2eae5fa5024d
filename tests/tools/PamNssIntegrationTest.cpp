// Local and domain logins through the real PAM and NSS code paths, without touching
// the machine: pam_wrapper reads the test's own service files (pam_matrix with a
// password file), nss_wrapper the test's passwd, group and hosts files, and the host
// is named node1.corp.test. Runs norvanectl with the password on a pipe.
#include <gtest/gtest.h>
#include <unistd.h>

#include "support/TempInstallation.h"
#include "support/ToolRun.h"

#if defined(NORVANECTL_PATH) && defined(PAM_WRAPPER_MODULES)

namespace {

// pam_wrapper loads libpam with RTLD_DEEPBIND, which the ASan runtime refuses.
#if defined(__SANITIZE_ADDRESS__)
#define SKIP_UNDER_ASAN() GTEST_SKIP() << "pam_wrapper's RTLD_DEEPBIND does not work under AddressSanitizer"
#else
#define SKIP_UNDER_ASAN() static_cast<void>(0)
#endif

constexpr const char* kNoAccounts = "/nonexistent:/bin/false\n";

class PamNssTest : public testing::Test {
 protected:
  void SetUp() override {
    const std::string modules = PAM_WRAPPER_MODULES;
    if (access((modules + "/pam_matrix.so").c_str(), R_OK) != 0) {
      GTEST_SKIP() << "pam_wrapper is not installed (packages libpam-wrapper, libnss-wrapper)";
    }
    const std::string d = m_installation.root();
    const std::string matrix = modules + "/pam_matrix.so passdb=" + d + "/passdb\n";
    testsupport::writeFile(d + "/passwd", std::string("alice:x:1101:1101::") + kNoAccounts + "bob:x:1102:1102::" +
                                              kNoAccounts + "carol:x:1103:1103::" + kNoAccounts + "erin:x:1104:1104::" +
                                              kNoAccounts + "alice@corp.test:x:1301:1301::" + kNoAccounts);
    testsupport::writeFile(d + "/group",
                           "alice:x:1101:\nbob:x:1102:\ncarol:x:1103:\nerin:x:1104:\nAdministrators:x:1200:alice\n"
                           "staff:x:1201:bob,carol\nalice@corp.test:x:1301:\nadmins@corp.test:x:1302:alice@corp.test\n");
    testsupport::writeFile(d + "/hosts", "127.0.0.1 node1.corp.test node1\n");
    testsupport::writeFile(d + "/passdb",
                           "alice:alicepw:norvane-local\nbob:bobpw:norvane-local\ncarol:carolpw:norvane-local\n"
                           "erin:erinpw:norvane-local\nalice@corp.test:domainpw:norvane-domain\n");
    mkdir((d + "/pam.d").c_str(), 0700);
    // carol's account is locked: the account step refuses her after her password passed.
    testsupport::writeFile(d + "/pam.d/norvane-local", "auth required " + matrix +
                                                           "account requisite pam_succeed_if.so quiet user notin carol\n"
                                                           "account required " + matrix);
    testsupport::writeFile(d + "/pam.d/norvane-domain", "auth required " + matrix + "account required " + matrix);
    // libpam looks for the fallback service too.
    testsupport::writeFile(d + "/pam.d/other", "auth required pam_deny.so\naccount required pam_deny.so\n");
    m_env = {{"LD_PRELOAD", "libpam_wrapper.so:libnss_wrapper.so"},
             {"PAM_WRAPPER", "1"},
             {"PAM_WRAPPER_SERVICE_DIR", d + "/pam.d"},
             {"NSS_WRAPPER_PASSWD", d + "/passwd"},
             {"NSS_WRAPPER_GROUP", d + "/group"},
             {"NSS_WRAPPER_HOSTS", d + "/hosts"},
             {"NSS_WRAPPER_HOSTNAME", "node1.corp.test"}};
  }

  // "<exit>|<output>" of norvanectl auth ARGS with the password on standard input.
  std::string auth(const std::vector<std::string>& args, const std::string& password) {
    std::vector<std::string> all = {"--store-root", m_installation.storeRoot(), "auth"};
    all.insert(all.end(), args.begin(), args.end());
    const testsupport::ToolResult run = testsupport::runTool(NORVANECTL_PATH, all, password + "\n", m_env);
    if (password.size() > 1) {
      EXPECT_EQ(std::string::npos, (run.out + run.err).find(password)) << "the password was printed";
    }
    return std::to_string(run.exitCode) + "|" + run.out + run.err;
  }

  static std::string verdict(int exitCode, bool accepted, int level, int code, const std::string& message) {
    static const char* const names[] = {"NO_ACCESS", "READ_ONLY_ACCESS", "FULL_ACCESS"};
    return std::to_string(exitCode) + "|verdict: " + (accepted ? "accepted" : "refused") + "\naccess level: " +
           std::to_string(level) + " (" + names[level] + ")\nerror code: " + std::to_string(code) +
           "\nerror message: '" + message + "'\n";
  }

  testsupport::HomedInstallation m_installation;
  std::map<std::string, std::string> m_env;
};

TEST_F(PamNssTest, LocalLoginsGetTheirLevelFromTheGroupDatabase) {
  SKIP_UNDER_ASAN();
  m_installation.writeConfig("full_access_groups = Administrators,corp.test\\admins\n");
  EXPECT_EQ(verdict(0, true, 2, 0, ""), auth({"local", "alice"}, "alicepw"));
  // Every accepted user holds "Authenticated Users", the default read-only group.
  EXPECT_EQ(verdict(0, true, 1, 0, ""), auth({"local", "bob"}, "bobpw"));
  EXPECT_EQ(verdict(1, false, 0, 7, "Authentication failure"), auth({"local", "bob"}, "wrong"));
  EXPECT_EQ(verdict(1, false, 0, 7, "Authentication failure"), auth({"local", "carol"}, "carolpw"));
  EXPECT_EQ(verdict(1, false, 0, 7, "Authentication failure"), auth({"local", "nobody"}, "x"));
  // The domain's account is no local one: pam_matrix refuses it in the account step.
  EXPECT_EQ(verdict(1, false, 0, 6, "Permission denied"), auth({"local", "alice@corp.test"}, "domainpw"));
  const std::string log = m_installation.readHomeFile("logs/norvanectl.txt");  // the last run's
  EXPECT_NE(std::string::npos, log.find("User 'alice@corp.test' failed to login to local server: 'Permission denied'"));
  EXPECT_EQ(std::string::npos, log.find("domainpw"));
}

TEST_F(PamNssTest, MemberPathsNameTheMachineAndTheMember) {
  SKIP_UNDER_ASAN();
  m_installation.writeConfig("full_access_groups = \nreadonly_access_groups = WinNT://NODE1/bob\n");
  // staff lists bob and carol: its members' paths are WinNT://NODE1/bob and .../carol.
  EXPECT_EQ(verdict(0, true, 1, 0, ""), auth({"local", "bob"}, "bobpw"));
  EXPECT_EQ(verdict(1, false, 0, 0, ""), auth({"local", "erin"}, "erinpw"));
}

TEST_F(PamNssTest, DomainLoginsUseUserAtDomainAndTheGroupsAuthority) {
  SKIP_UNDER_ASAN();
  m_installation.writeConfig("full_access_groups = Administrators,CORP.TEST\\Admins\n");
  EXPECT_EQ(verdict(0, true, 2, 0, ""), auth({"domain", "alice", "corp.test"}, "domainpw"));
  EXPECT_EQ(verdict(1, false, 0, 7, "Authentication failure"), auth({"domain", "alice", "corp.test"}, "alicepw"));
  // Accepted, but the host is not in that domain: the level is never looked at.
  testsupport::writeFile(m_installation.root() + "/passdb", "alice@example.org:pw:norvane-domain\n");
  EXPECT_EQ(verdict(1, false, 0, 0, ""), auth({"domain", "alice", "example.org"}, "pw"));
}

TEST_F(PamNssTest, InstallPamWritesBothServicesOrSaysWhyNotAndUsageIsChecked) {
  m_env.clear();  // no login here: the tool runs without the wrappers
  const std::string d = m_installation.root() + "/pam.d";
  EXPECT_EQ("0|wrote " + d + "/norvane-local\nwrote " + d + "/norvane-domain\n", auth({"install-pam", "--dir", d}, ""));
  const std::string local = testsupport::readFile(d + "/norvane-local");
  EXPECT_NE(std::string::npos, local.find("auth     required  pam_unix.so\naccount  required  pam_unix.so\n"));
  EXPECT_NE(std::string::npos,
            testsupport::readFile(d + "/norvane-domain").find("@include common-auth\n@include common-account\n"));
  EXPECT_EQ("1|norvanectl: cannot write " + d + "/missing/norvane-local: No such file or directory\n",
            auth({"install-pam", "--dir", d + "/missing"}, ""));
  for (const std::vector<std::string>& wrong : std::vector<std::vector<std::string>>{
           {"local"}, {"ldap", "alice", "--mode", "kerberos", "--server", "h"}, {"whoami"}, {"install-pam", "--dir"}}) {
    EXPECT_EQ("2|", auth(wrong, "x").substr(0, 2)) << wrong.back();
  }
}

}  // namespace

#endif
