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

using testsupport::readFile;
using testsupport::writeFile;

class PamNssTest : public testing::Test {
 protected:
  void SetUp() override {
    const std::string modules = PAM_WRAPPER_MODULES, d = m_installation.root();
    if (access((modules + "/pam_matrix.so").c_str(), R_OK) != 0) {
      GTEST_SKIP() << "pam_wrapper is not installed (packages libpam-wrapper, libnss-wrapper)";
    }
    const std::string matrix = modules + "/pam_matrix.so passdb=" + d + "/passdb\n";
    const std::string shell = "::/nonexistent:/bin/false\n";
    writeFile(d + "/passwd", "alice:x:1101:1101" + shell + "bob:x:1102:1102" + shell + "carol:x:1103:1103" + shell +
                                 "erin:x:1104:1104" + shell + "alice@corp.test:x:1301:1301" + shell);
    writeFile(d + "/passdb", "alice:alicepw:norvane-local\nbob:bobpw:norvane-local\ncarol:carolpw:norvane-local\n"
                             "erin:erinpw:norvane-local\nalice@corp.test:domainpw:norvane-domain\n"
                             "alice@example.org:pw:norvane-domain\n");
    writeFile(d + "/group", "alice:x:1101:\nbob:x:1102:\ncarol:x:1103:\nerin:x:1104:\nAdministrators:x:1200:alice\n"
                            "staff:x:1201:bob,carol\nalice@corp.test:x:1301:\n"
                            "admins@corp.test:x:1302:alice@corp.test\n");
    writeFile(d + "/hosts", "127.0.0.1 node1.corp.test node1\n");
    mkdir((d + "/pam.d").c_str(), 0700);
    // carol's account is locked: the account step refuses her after her password passed.
    writeFile(d + "/pam.d/norvane-local", "auth required " + matrix + "account requisite pam_succeed_if.so quiet user "
                                          "notin carol\naccount required " + matrix);
    writeFile(d + "/pam.d/norvane-domain", "auth required " + matrix + "account required " + matrix);
    // libpam looks for the fallback service too.
    writeFile(d + "/pam.d/other", "auth required pam_deny.so\naccount required pam_deny.so\n");
    m_env = {{"LD_PRELOAD", "libpam_wrapper.so:libnss_wrapper.so"}, {"PAM_WRAPPER", "1"},
             {"PAM_WRAPPER_SERVICE_DIR", d + "/pam.d"}, {"NSS_WRAPPER_PASSWD", d + "/passwd"},
             {"NSS_WRAPPER_GROUP", d + "/group"}, {"NSS_WRAPPER_HOSTS", d + "/hosts"},
             {"NSS_WRAPPER_HOSTNAME", "node1.corp.test"}};
  }

  // "<exit>|<output>" of norvanectl auth ARGS with the password on standard input, which
  // it never prints.
  std::string auth(std::vector<std::string> args, const std::string& password) {
    args.insert(args.begin(), {"--store-root", m_installation.storeRoot(), "auth"});
    const testsupport::ToolResult run = testsupport::runTool(NORVANECTL_PATH, args, password + "\n", m_env);
    EXPECT_TRUE(password.size() < 2 || (run.out + run.err).find(password) == std::string::npos) << "password printed";
    return std::to_string(run.exitCode) + "|" + run.out + run.err;
  }

  testsupport::HomedInstallation m_installation;
  std::map<std::string, std::string> m_env;
};

// Every accepted user holds "Authenticated Users", the default read-only group; staff
// lists bob and carol, so its members' paths are WinNT://NODE1/bob and .../carol.
TEST_F(PamNssTest, LoginsGetTheirLevelFromTheGroupDatabase) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "pam_wrapper loads libpam with RTLD_DEEPBIND, which AddressSanitizer refuses";
#endif
  const std::string local = "full_access_groups = Administrators,corp.test\\admins\n";
  const std::string members = "full_access_groups = \nreadonly_access_groups = WinNT://NODE1/bob\n";
  const std::string domain = "full_access_groups = Administrators,CORP.TEST\\Admins\n";
  const struct { const std::string& config; std::vector<std::string> args; const char* password; int level, code;
                 const char* message; } rows[] = {
      {local, {"local", "alice"}, "alicepw", 2, 0, ""}, {local, {"local", "bob"}, "bobpw", 1, 0, ""},
      {local, {"local", "bob"}, "wrong", 0, 7, "Authentication failure"},
      {local, {"local", "carol"}, "carolpw", 0, 7, "Authentication failure"},
      {local, {"local", "nobody"}, "x", 0, 7, "Authentication failure"},
      // The domain's account is no local one: pam_matrix refuses it in the account step.
      {local, {"local", "alice@corp.test"}, "domainpw", 0, 6, "Permission denied"},
      {members, {"local", "bob"}, "bobpw", 1, 0, ""}, {members, {"local", "erin"}, "erinpw", 0, 0, ""},
      {domain, {"domain", "alice", "corp.test"}, "domainpw", 2, 0, ""},
      {domain, {"domain", "alice", "corp.test"}, "alicepw", 0, 7, "Authentication failure"},
      // Accepted, but the host is not in that domain: the level is never looked at.
      {domain, {"domain", "alice", "example.org"}, "pw", 0, 0, ""},
  };
  static const char* const names[] = {"NO_ACCESS", "READ_ONLY_ACCESS", "FULL_ACCESS"};
  for (const auto& row : rows) {
    m_installation.writeConfig(row.config);
    EXPECT_EQ(std::string(row.level > 0 ? "0|verdict: accepted" : "1|verdict: refused") + "\naccess level: " +
                  std::to_string(row.level) + " (" + names[row.level] + ")\nerror code: " + std::to_string(row.code) +
                  "\nerror message: '" + row.message + "'\n",
              auth(row.args, row.password)) << row.args.back() << " " << row.password;
  }
  const std::string log = m_installation.readHomeFile("logs/norvanectl.txt");
  EXPECT_NE(std::string::npos, log.find("User 'alice@corp.test' failed to login to local server: 'Permission denied'"));
  EXPECT_EQ(std::string::npos, log.find("domainpw"));
}

TEST_F(PamNssTest, InstallPamWritesBothServicesOrSaysWhyNotAndUsageIsChecked) {
  m_env.clear();  // no login here: the tool runs without the wrappers
  const std::string d = m_installation.root() + "/pam.d";
  EXPECT_EQ("0|wrote " + d + "/norvane-local\nwrote " + d + "/norvane-domain\n", auth({"install-pam", "--dir", d}, ""));
  EXPECT_NE(std::string::npos, readFile(d + "/norvane-local").find("auth     required  pam_unix.so\naccount  required  "
                                                                   "pam_unix.so\n"));
  EXPECT_NE(std::string::npos, readFile(d + "/norvane-domain").find("@include common-auth\n@include common-account\n"));
  EXPECT_EQ("1|norvanectl: cannot write " + d + "/missing/norvane-local: No such file or directory\n",
            auth({"install-pam", "--dir", d + "/missing"}, ""));
  for (const std::vector<std::string>& wrong : std::vector<std::vector<std::string>>{
           {"local"}, {"ldap", "alice", "--mode", "kerberos", "--server", "h"}, {"whoami"}, {"install-pam", "--dir"}}) {
    EXPECT_EQ("2|", auth(wrong, "x").substr(0, 2)) << wrong.back();
  }
}

}  // namespace

#endif
