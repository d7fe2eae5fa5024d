// Local and domain logins through the real PAM and NSS code paths, without touching
// the machine: pam_wrapper reads the test's own service files (pam_matrix with a
// password file), nss_wrapper the test's passwd, group and hosts files, and the host
// is named node1.corp.test. Runs norvanectl with the password on a pipe.
#include "support/TestPrelude.h"

#include "support/InteractiveProcess.h"
#include "support/Loopback.h"
#include "support/TempInstallation.h"
#include "support/ToolRun.h"

using namespace testsupport;

// Without the wrappers: install-pam, the arguments, and an LDAP server that refuses the
// connection, the password typed on a terminal without echo.
TEST(AuthToolTest, InstallPamArgumentsAndARefusedLdapServer) {
  HomedInstallation in;
  const std::string d = in.root() + "/pam.d", closed = std::to_string(freeLoopbackPort());
  std::filesystem::create_directory(d);
  const auto auth = [&](std::vector<std::string> args, const std::string& input = "") {
    args.insert(args.begin(), "auth");
    return shown(runCtl(NORVANECTL_PATH, in.storeRoot(), args, input));
  };
  EXPECT_EQ("0|wrote " + d + "/norvane-local\nwrote " + d + "/norvane-domain\n|", auth({"install-pam", "--dir", d}));
  EXPECT_NE(std::string::npos, readFile(d + "/norvane-local").find("auth     required  pam_unix.so\naccount  required  "
                                                                   "pam_unix.so\n"));
  EXPECT_NE(std::string::npos, readFile(d + "/norvane-domain").find("@include common-auth\n@include common-account\n"));
  std::filesystem::remove(d + "/norvane-local");
  std::filesystem::create_directory(d + "/norvane-local");  // the rename over it fails, and nothing is left
  EXPECT_EQ("1||norvanectl: cannot write " + d + "/norvane-local: Is a directory\n", auth({"install-pam", "--dir", d}));
  EXPECT_EQ(2, std::distance(std::filesystem::directory_iterator(d), {}));  // no temporary file left
  const struct { std::vector<std::string> args; std::string run; } rows[] = {
      {{"install-pam", "--dir", d + "/missing"},
       "1||norvanectl: cannot write " + d + "/missing/norvane-local: No such file or directory\n"},
      {{"local", "bob"}, "1||norvanectl: no password on standard input\n"},
      {{"install-pam", "--dir"}, "2||norvanectl: auth install-pam takes only --dir DIR\n"},
      {{"ldap"}, "2||norvanectl: auth ldap needs exactly one USER\n"},
      {{"ldap", "a"}, "2||norvanectl: no LDAP server: give --server or set ldap_server\n"},
      {{"ldap", "a", "--colour", "red"}, "2||norvanectl: unknown option '--colour'\n"},
      {{"ldap", "a", "--base"}, "2||norvanectl: --base needs a value\n"},
      {{"ldap", "a", "--port", "x"}, "2||norvanectl: --port needs a number\n"},
      {{"ldap", "a", "--server", "h", "--version", "v"}, "2||norvanectl: protocol version 'v' is no number\n"},
      {{"ldap", "a", "--server", "h", "--mode", "kerberos"},
       "2||norvanectl: mode 'kerberos' is neither basic nor secure\n"},
      {{"ldap", "a", "--server", "127.0.0.1", "--port", closed, "--version", "V3", "--mode", "BASIC", "--base", "dc=t"},
       "1|verdict: refused\naccess level: 0 (NO_ACCESS)\n"},
  };
  for (const auto& row : rows) {
    const std::string input = row.run.find("no password") == std::string::npos ? "pw-never-shown" : "";
    EXPECT_EQ(row.run, auth(row.args, input).substr(0, row.run.size())) << row.args.back();
  }
  InteractiveProcess terminal(NORVANECTL_PATH, {"--store-root", in.storeRoot(), "auth", "ldap", "a", "--server",
                                                "127.0.0.1", "--port", closed});
  ASSERT_TRUE(terminal.waitFor("Password: "));
  terminal.send("pw-typed-unseen\r");
  EXPECT_EQ(1, terminal.finish());
  EXPECT_EQ(0u, terminal.output().find("Password: \r\nverdict: refused\r\n")) << terminal.output();
  const std::string log = in.readHomeFile("logs/norvanectl.txt");
  EXPECT_TRUE(log.find("pw-never-shown") == std::string::npos && log.find("pw-typed-unseen") == std::string::npos);
}

#if defined(PAM_WRAPPER_MODULES)

namespace {

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
                                 "alice@corp.test:x:1301:1301" + shell);
    writeFile(d + "/passdb", "alice:alicepw:norvane-local\nbob:bobpw:norvane-local\ncarol:carolpw:norvane-local\n"
                             "alice@corp.test:domainpw:norvane-domain\nalice@example.org:pw:norvane-domain\n");
    writeFile(d + "/group", "alice:x:1101:\nbob:x:1102:\ncarol:x:1103:\nAdministrators:x:1200:alice\nstaff:x:1201:bob,"
                            "carol\nalice@corp.test:x:1301:\nadmins@corp.test:x:1302:alice@corp.test\n");
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

// Every accepted user holds "Authenticated Users", the default read-only group; the
// groups come from the wrapped group database, the host's domain from its name.
TEST_F(PamNssTest, LoginsGetTheirLevelFromTheGroupDatabase) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "pam_wrapper loads libpam with RTLD_DEEPBIND, which AddressSanitizer refuses";
#endif
  const std::string local = "full_access_groups = Administrators,corp.test\\admins\n";
  const std::string domain = "full_access_groups = Administrators,CORP.TEST\\Admins\n";
  const struct { const std::string& config; std::vector<std::string> args; const char* password; int level, code;
                 const char* message; } rows[] = {
      {local, {"local", "alice"}, "alicepw", 2, 0, ""}, {local, {"local", "bob"}, "bobpw", 1, 0, ""},
      {local, {"local", "bob"}, "wrong", 0, 7, "Authentication failure"},
      {local, {"local", "carol"}, "carolpw", 0, 7, "Authentication failure"},
      // The domain's account is no local one: pam_matrix refuses it in the account step.
      {local, {"local", "alice@corp.test"}, "domainpw", 0, 6, "Permission denied"},
      {domain, {"domain", "alice", "corp.test"}, "domainpw", 2, 0, ""},
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

}  // namespace

#endif
