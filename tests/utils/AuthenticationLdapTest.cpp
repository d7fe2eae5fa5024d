// LDAP logins over the fake client: the two sequences, every failure row, the
// reading of memberOf, and the LDAP settings check.
#include <utils/LDAPServer.h>

#include <algorithm>

#include "utils/AuthenticationTestSupport.h"

using authtest::joined;
using authtest::ldap;
using authtest::logLines;
using authtest::runCase;
using platform::LdapAttribute;

namespace {

const std::string kFilter = "(&(objectCategory=person)(objectClass=user)(cn=alice))";

std::string login(int bindingMode) { return ldap("alice", "pw", "ldap.example.com", "dc=example,dc=com", 389, 3, bindingMode); }

}  // namespace

TEST(LdapLoginTest, OnlyModeOneTakesTheSecureSequence) {
  const std::string search = ",search cn=alice,dc=example,dc=com " + kFilter + ",unbind | Info: strSearch:" + kFilter;
  const std::string basic = "open ldap://ldap.example.com:389,version 3,connect,"
                            "simpleBind cn=alice,dc=example,dc=com pw" + search;
  const struct { int mode; std::string calls; } rows[] = {
      {0, basic}, {2, basic}, {-1, basic},
      {1, "open ldaps://ldap.example.com:389,version 3,getTls,connect,digestBind alice ldap.example.com pw" + search},
  };
  for (const auto& row : rows) {
    EXPECT_EQ("true 1 -1 [old] " + row.calls, runCase("", [&](auto& fake) {
      fake.ldap.entries = {{{{"cn", true, {"alice"}}}}};
      const std::string outcome = login(row.mode);
      return outcome + " " + joined(fake.ldap.calls) + " | " + joined(logLines("strSearch"));
    })) << row.mode;
  }
  // Nothing is escaped; an empty base leaves the trailing comma; TLS is demanded when
  // the session does not have it.
  EXPECT_EQ("true 1 -1 [old] open ldaps://srv:636,version 2,getTls,setTls,connect,digestBind a)(cn=* srv pw,"
            "search cn=a)(cn=*, (&(objectCategory=person)(objectClass=user)(cn=a)(cn=*)),unbind",
            runCase("", [](auto& fake) {
              fake.ldap.entries = {{{{"cn", true, {"alice"}}}}};
              fake.ldap.tlsValue = 0;
              const std::string outcome = ldap("a)(cn=*", "pw", "srv", "", 636, 2, 1);
              return outcome + " " + joined(fake.ldap.calls);
            }));
}

TEST(LdapLoginTest, EveryFailingStepHasItsTextAndCode) {
  const std::string server = "ldap.example.com", open = "open ldap://" + server + ":389",
                    openTls = "open ldaps://" + server + ":389", bindBasic = "simpleBind cn=alice,dc=example,dc=com pw",
                    bindSecure = "digestBind alice " + server + " pw",
                    search = "search cn=alice,dc=example,dc=com " + kFilter;
  const auto line = [&](const std::string& step, const std::string& code) {
    return "Always: LDAP " + step + " for the LDAP Server:" + server + " failed with error code:" + code;
  };
  // A step that fails with 49 after the first `calls` calls of its mode's sequence (TLS
  // off, so the secure one turns it on).
  const std::vector<std::string> sequences[] = {
      {open, "version 3", "connect", bindBasic, search},
      {openTls, "version 3", "getTls", "setTls", "connect", bindSecure, search}};
  const auto failed = [&](int mode, int calls, const std::string& step) {
    const std::vector<std::string> made(sequences[mode].begin(), sequences[mode].begin() + calls);
    return "false 3 49 [Invalid credentials] " + joined(made, ",") + ",unbind | " + line(step, "49");
  };
  const struct { int mode; const char* step; std::string expected; } rows[] = {
      {0, "open", "false 3 -1 [LDAP init failed] " + open + " | " + line("Init", "-1")},
      {1, "open", "false 3 -1 [LDAP init failed] " + openTls + " | " + line("Init", "-1")},
      {0, "version", failed(0, 2, "Set")},
      {1, "version", failed(1, 2, "Set1")},
      {1, "getTls", failed(1, 3, "Get")},
      {1, "setTls", failed(1, 4, "Set2")},
      {0, "connect", failed(0, 3, "Connect")},
      {1, "connect", failed(1, 5, "Connect")},
      {0, "simpleBind", failed(0, 4, "Simple Bind")},
      {1, "digestBind", failed(1, 6, "Bind")},
      {0, "search", failed(0, 5, "Search")},
      // The entry is not there: the code is the search's own, 0, with its text.
      {0, "absent", "false 3 0 [Success] " + open + ",version 3,connect," + bindBasic + "," + search +
                        ",unbind | " + line("Count entries", "0")},
      {1, "absent", "false 3 0 [Success] " + openTls + ",version 3,getTls,connect," + bindSecure + "," + search +
                        ",unbind | " + line("Count entries", "0")},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.expected, runCase("", [&](auto& fake) {
      const std::string step = row.step;
      if (step == "open") fake.ldap.opens = false;
      if (step != "open" && step != "absent") fake.ldap.failures[step] = 49, fake.ldap.tlsValue = 0;
      const std::string outcome = login(row.mode);
      return outcome + " " + joined(fake.ldap.calls) + " | " + joined(logLines("LDAP Server"));
    })) << row.step;
  }
}

TEST(LdapLoginTest, OnlyTheFirstMemberOfValueCanGiveFullAccess) {
  // "<result> <level> unbind*<unbinds> newlines*<printed>", then the lines logged.
  const struct { std::vector<LdapAttribute> attributes; const char* expected; } rows[] = {
      // The hit ends the session inside the walk, and the caller ends it again.
      {{{"cn", true, {"alice"}}, {"memberOf", true, {"CN=Administrators,CN=Builtin,DC=x"}}},
       "true 2 unbind*2 newlines*1 Info: LDAP user has Admin access"},
      {{{"memberOf", true, {"CN=Staff,CN=Administrators,DC=x"}}, {"cn", true, {"alice"}}},
       "true 2 unbind*2 newlines*0 Info: LDAP user has Admin access"},
      // The Administrators group in the second value; other letter case; parts not
      // trimmed; the attribute's name is case-sensitive.
      {{{"memberOf", true, {"CN=Staff,DC=x", "CN=Administrators,DC=x"}}},
       "true 1 unbind*1 newlines*1 Info: Attribute array values: CN=Administrators,DC=x"},
      {{{"memberOf", true, {"CN=administrators,DC=x"}}}, "true 1 unbind*1 newlines*1 "},
      {{{"memberOf", true, {"CN=Staff, CN=Administrators"}}}, "true 1 unbind*1 newlines*1 "},
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
      const std::string outcome = login(0);
      const std::string printed = testing::internal::GetCapturedStdout();
      std::vector<std::string> lines;
      for (const char* text : {"Admin access", "Attribute array", "VALUE"}) {
        for (const std::string& line : logLines(text)) lines.push_back(line);
      }
      return outcome.substr(0, 6) + " unbind*" +
             std::to_string(std::count(fake.ldap.calls.begin(), fake.ldap.calls.end(), "unbind")) + " newlines*" +
             std::to_string(printed.size()) + " " + joined(lines);
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
  EXPECT_EQ(utils::Server::get_instance(), static_cast<const utils::Server*>(utils::LDAPServer::get_instance()));
}
