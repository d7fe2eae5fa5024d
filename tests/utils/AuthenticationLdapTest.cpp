// LDAP logins over the fake client: the two sequences, every failure row, the
// reading of memberOf, and the LDAP settings check.
#include <utils/LDAPServer.h>

#include <algorithm>

#include "utils/AuthenticationTestSupport.h"

using authtest::joined;
using authtest::logLines;
using authtest::runCase;

namespace {

const std::string kSearch = "search cn=alice,dc=example,dc=com (&(objectCategory=person)(objectClass=user)(cn=alice))";

// Alice's login (unless told otherwise) to ldap.example.com:389 in this mode after
// the set-up: the outcome, the client's calls and the log's LDAP lines.
std::string traced(int mode, const std::function<void(testsupport::ScopedFakeHost&)>& setUp,
                   const std::string& user = "alice", const std::string& server = "ldap.example.com",
                   const std::string& base = "dc=example,dc=com", unsigned long port = 389, unsigned int version = 3) {
  return runCase("", [&](auto& fake) {
    setUp(fake);
    const std::string outcome = authtest::login(user, "pw", server, base, port, version, mode);
    return outcome + " " + joined(fake.ldap.calls, ",") + " | " + joined(logLines("LDAP "), ",");
  });
}

}  // namespace

TEST(LdapLoginTest, OnlyModeOneTakesTheSecureSequenceAndEveryFailingStepHasItsTextAndCode) {
  const auto found = [](auto& fake) { fake.ldap.entries = {{{{"cn", true, {"alice"}}}}}; };
  const std::string basic = "open ldap://ldap.example.com:389,version 3,connect,simpleBind cn=alice,dc=example,dc=com pw,";
  for (int mode : {0, 2, -1}) EXPECT_EQ("true 1 -1 [old] " + basic + kSearch + ",unbind | ", traced(mode, found));
  EXPECT_EQ("true 1 -1 [old] open ldaps://ldap.example.com:389,version 3,getTls,connect,"
            "digestBind alice ldap.example.com pw," + kSearch + ",unbind | ", traced(1, found));
  // Nothing is escaped; an empty base leaves the trailing comma; TLS is demanded when
  // the session does not have it.
  EXPECT_EQ("true 1 -1 [old] open ldaps://srv:636,version 2,getTls,setTls,connect,digestBind a)(cn=* srv pw,"
            "search cn=a)(cn=*, (&(objectCategory=person)(objectClass=user)(cn=a)(cn=*)),unbind | ",
            traced(1, [&](auto& fake) { found(fake), fake.ldap.tlsValue = 0; }, "a)(cn=*", "srv", "", 636, 2));
  // The step that fails (with 49, TLS off), the calls made before it, its log word.
  // An absent entry gives the search's own code, 0; a failed open the caller's, -1.
  const std::vector<std::string> sequences[] = {
      {"open ldap://ldap.example.com:389", "version 3", "connect", "simpleBind cn=alice,dc=example,dc=com pw", kSearch},
      {"open ldaps://ldap.example.com:389", "version 3", "getTls", "setTls", "connect",
       "digestBind alice ldap.example.com pw", kSearch}};
  const struct { int mode; std::string step; int calls; const char* word; } rows[] = {
      {0, "open", 1, "Init"}, {1, "open", 1, "Init"}, {0, "version", 2, "Set"}, {1, "version", 2, "Set1"},
      {1, "getTls", 3, "Get"}, {1, "setTls", 4, "Set2"}, {0, "connect", 3, "Connect"}, {1, "connect", 5, "Connect"},
      {0, "simpleBind", 4, "Simple Bind"}, {1, "digestBind", 6, "Bind"}, {0, "search", 5, "Search"},
      {0, "absent", 5, "Count entries"}, {1, "absent", 7, "Count entries"}};
  for (const auto& row : rows) {
    const std::string code = row.step == "open" ? "-1" : row.step == "absent" ? "0" : "49";
    const std::vector<std::string> made(sequences[row.mode].begin(), sequences[row.mode].begin() + row.calls);
    const char* text = code == "-1" ? " [LDAP init failed] " : code == "0" ? " [Success] " : " [Invalid credentials] ";
    EXPECT_EQ("false 3 " + code + text +
                  joined(made, ",") + (code == "-1" ? "" : ",unbind") + " | Always: LDAP " + row.word +
                  " for the LDAP Server:ldap.example.com failed with error code:" + code,
              traced(row.mode, [&](auto& fake) {
                fake.ldap.opens = row.step != "open";
                fake.ldap.failures[row.step] = 49, fake.ldap.tlsValue = 0;
              }))
        << row.mode << " " << row.step;
  }
}

TEST(LdapLoginTest, OnlyTheFirstMemberOfValueCanGiveFullAccess) {
  // "<result> <level> unbind*<unbinds> newlines*<printed>", then the lines logged.
  const struct { std::vector<platform::LdapAttribute> attributes; const char* expected; } rows[] = {
      // The hit ends the session inside the walk, and the caller ends it again.
      {{{"cn", true, {"alice"}}, {"memberOf", true, {"CN=Administrators,CN=Builtin,DC=x"}}},
       "true 2 unbind*2 newlines*1 Info: LDAP user has Admin access"},
      {{{"memberOf", true, {"CN=Staff,CN=Administrators,DC=x"}}, {"cn", true, {"alice"}}},
       "true 2 unbind*2 newlines*0 Info: LDAP user has Admin access"},
      // The Administrators group in the second value; other letter case; the
      // attribute's name is case-sensitive.
      {{{"memberOf", true, {"CN=Staff,DC=x", "CN=Administrators,DC=x"}}},
       "true 1 unbind*1 newlines*1 Info: Attribute array values: CN=Administrators,DC=x"},
      {{{"memberOf", true, {"CN=administrators,DC=x"}}}, "true 1 unbind*1 newlines*1 "},
      {{{"memberof", true, {"CN=Administrators,DC=x"}}}, "true 1 unbind*1 newlines*1 "},
      {{}, "true 3 unbind*1 newlines*0 "},  // no attribute: the level stays
      {{{"jpegPhoto", false, {}}, {"seeAlso", true, {}}},
       "true 3 unbind*1 newlines*2 Info: NO ATTRIBUTE VALUE RETURNED,Info: BAD VALUE LIST"},
      {{{"sn", true, {"a", "b"}}}, "true 1 unbind*1 newlines*1 Info: Attribute array values: b"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.expected, runCase("", [&](auto& fake) {
      fake.ldap.entries = {{row.attributes}};
      testing::internal::CaptureStdout();
      const std::string outcome = authtest::login("alice", "pw", "srv", "dc=x", 389, 3, 0);
      const std::string printed = testing::internal::GetCapturedStdout();
      const auto unbinds = std::count(fake.ldap.calls.begin(), fake.ldap.calls.end(), "unbind");
      return outcome.substr(0, 6) + " unbind*" + std::to_string(unbinds) +
             " newlines*" + std::to_string(printed.size()) + " " + joined(logLines("Admin access|Attribute array|VALUE"), ",");
    })) << row.expected;
  }
}

TEST(LdapLoginTest, SettingsAreValidWithLdapOnOneServerAndABase) {
  const struct { const char* config; const char* expected; } rows[] = {
      {"ldap_server = ldap1\ndn_details = example\n", "0 [example]"},
      {"ldap_mode = true\ndn_details = example\n", "0 [example]"},
      {"ldap_mode = true\nldap_server = ldap1,ldap2\ndn_details = example\n", "0 [example]"},
      {"ldap_mode = true\nldap_server = ldap1,\ndn_details = example\n", "0 [example]"},
      {"ldap_mode = true\nldap_server = ldap1\n", "0 []"},
      {"ldap_mode = true\nldap_server = ldap1\ndn_details = example\n", "1 [example]"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.expected, runCase(row.config, [](auto&) {
      const utils::Server& server = *utils::Server::get_instance();
      return std::to_string(server.isServerDetailsValid()) + " [" + server.getServerDetials() + "]";
    })) << row.config;
  }
}
