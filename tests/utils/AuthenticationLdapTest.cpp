// LDAP logins over the fake client: the two sequences, every failure row, the
// reading of memberOf, and the LDAP settings check.
#include <utils/LDAPServer.h>

#include <algorithm>

#include "utils/AuthenticationTestSupport.h"

using authtest::joined;
using authtest::ldap;
using authtest::logLines;
using authtest::repeated;
using authtest::runCase;
using platform::LdapAttribute;

namespace {

const std::string kFilter = "(&(objectCategory=person)(objectClass=user)(cn=alice))";

std::string login(int bindingMode) { return ldap("alice", "pw", "ldap.example.com", "dc=example,dc=com", 389, 3, bindingMode); }

}  // namespace

AUTH_CASE(ldap_sequences) {
  fake.ldap.entries = {{{{"cn", true, {"alice"}}}}};
  std::vector<std::string> seen;
  for (int mode : {0, 2, -1, 1}) {
    fake.ldap.calls.clear();
    const std::string outcome = login(mode);
    seen.push_back(outcome + " " + joined(fake.ldap.calls, ","));
  }
  fake.ldap.calls.clear();
  fake.ldap.tlsValue = 0;
  const std::string outcome = ldap("a)(cn=*", "pw", "srv", "", 636, 2, 1);
  seen.push_back(outcome + " " + joined(fake.ldap.calls, ","));
  seen.push_back(joined(logLines("strSearch"), ","));
  return joined(seen, "\n");
}

TEST(LdapLoginTest, OnlyModeOneTakesTheSecureSequence) {
  const std::string basic = "true 1 -1 [old] open ldap://ldap.example.com:389,version 3,connect,"
                            "simpleBind cn=alice,dc=example,dc=com pw,search cn=alice,dc=example,dc=com " +
                            kFilter + ",unbind\n";
  EXPECT_EQ(basic + basic + basic +
                "true 1 -1 [old] open ldaps://ldap.example.com:389,version 3,getTls,connect,"
                "digestBind alice ldap.example.com pw,search cn=alice,dc=example,dc=com " + kFilter + ",unbind\n"
                // Nothing is escaped; an empty base leaves the trailing comma; TLS is
                // demanded when the session does not have it.
                "true 1 -1 [old] open ldaps://srv:636,version 2,getTls,setTls,connect,digestBind a)(cn=* srv pw,"
                "search cn=a)(cn=*, (&(objectCategory=person)(objectClass=user)(cn=a)(cn=*)),unbind\n" +
                repeated("Info: strSearch:" + kFilter, 4, ",") +
                ",Info: strSearch:(&(objectCategory=person)(objectClass=user)(cn=a)(cn=*))",
            runCase(ldap_sequences));
}

AUTH_CASE(ldap_failure) {
  const int mode = std::stoi(args[0]);
  if (args[1] == "open") {
    fake.ldap.opens = false;
  } else if (args[1] == "absent") {
    fake.ldap.entries.clear();
  } else {
    fake.ldap.failures[args[1]] = 49;
    fake.ldap.tlsValue = 0;
  }
  const std::string outcome = login(mode);
  return outcome + " " + joined(fake.ldap.calls, ",") + " | " + joined(logLines("LDAP Server"), ",");
}

TEST(LdapLoginTest, EveryFailingStepHasItsTextAndCode) {
  const std::string server = "ldap.example.com";
  const std::string open = "open ldap://" + server + ":389";
  const std::string openTls = "open ldaps://" + server + ":389";
  const std::string bindBasic = "simpleBind cn=alice,dc=example,dc=com pw";
  const std::string bindSecure = "digestBind alice " + server + " pw";
  const std::string search = "search cn=alice,dc=example,dc=com " + kFilter;
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
    EXPECT_EQ(row.expected, runCase(ldap_failure, "", {std::to_string(row.mode), row.step})) << row.step;
  }
}

AUTH_CASE(ldap_attributes) {
  const std::vector<std::vector<LdapAttribute>> entries = {
      {{"cn", true, {"alice"}}, {"memberOf", true, {"CN=Administrators,CN=Builtin,DC=x"}}},
      {{"memberOf", true, {"CN=Staff,CN=Administrators,DC=x"}}, {"cn", true, {"alice"}}},
      {{"memberOf", true, {"CN=Staff,DC=x", "CN=Administrators,DC=x"}}},
      {{"memberOf", true, {"CN=administrators,DC=x"}}},
      {{"memberOf", true, {"CN=Staff, CN=Administrators"}}},
      {{"memberof", true, {"CN=Administrators,DC=x"}}},
      {},
      {{"jpegPhoto", false, {}}, {"seeAlso", true, {}}},
      {{"sn", true, {"a", "b"}}},
  };
  std::vector<std::string> seen;
  for (const auto& attributes : entries) {
    fake.ldap.entries = {{attributes}};
    fake.ldap.calls.clear();
    testing::internal::CaptureStdout();
    const std::string outcome = login(0);
    const std::string printed = testing::internal::GetCapturedStdout();
    const std::size_t unbinds = std::count(fake.ldap.calls.begin(), fake.ldap.calls.end(), "unbind");
    seen.push_back(outcome.substr(0, 6) + " unbind*" + std::to_string(unbinds) + " newlines*" +
                   std::to_string(printed.size()));
  }
  for (const char* text : {"memberOf", "strAttributeValue", "Admin access", "Attribute array", "VALUE"}) {
    seen.push_back(joined(logLines(text), ","));
  }
  return joined(seen, "\n");
}

TEST(LdapLoginTest, OnlyTheFirstMemberOfValueCanGiveFullAccess) {
  EXPECT_EQ(
      // The hit ends the session inside the walk, and the caller ends it again.
      "true 2 unbind*2 newlines*1\n"
      "true 2 unbind*2 newlines*0\n"
      "true 1 unbind*1 newlines*1\n"  // the Administrators group in the second value
      "true 1 unbind*1 newlines*1\n"  // other letter case
      "true 1 unbind*1 newlines*1\n"  // parts are not trimmed
      "true 1 unbind*1 newlines*1\n"  // the attribute's name is case-sensitive
      "true 3 unbind*1 newlines*0\n"  // no attribute: the level stays
      "true 3 unbind*1 newlines*2\n"  // attributes without values
      "true 1 unbind*1 newlines*1\n" +
          repeated("Info: Attribute Name: memberOf,"
                   "Info: got the memberOf details so trying to retreive the attribute values", 5, ",") +
          "\n"
      "Info: strAttributeValue: CN=Administrators,"
      "Info: strAttributeValue: CN=Staff,Info: strAttributeValue: CN=Administrators,"
      "Info: strAttributeValue: CN=Staff,Info: strAttributeValue: DC=x,"
      "Info: strAttributeValue: CN=administrators,Info: strAttributeValue: DC=x,"
      "Info: strAttributeValue: CN=Staff,Info: strAttributeValue:  CN=Administrators\n"
      "Info: LDAP user has Admin access,Info: LDAP user has Admin access\n"
      "Info: Attribute array values: CN=Administrators,DC=x,Info: Attribute array values: b\n"
      "Info: NO ATTRIBUTE VALUE RETURNED,Info: BAD VALUE LIST",
      runCase(ldap_attributes));
}

AUTH_CASE(ldap_settings) {
  const utils::Server& server = *utils::Server::get_instance();
  const bool valid = server.isServerDetailsValid();
  const std::string details = server.getServerDetials();
  const bool same = static_cast<const utils::Server*>(utils::LDAPServer::get_instance()) == &server;
  return std::to_string(valid) + " [" + details + "] " + std::to_string(same) + " " + joined(logLines("Debug: "), ",");
}

TEST(LdapLoginTest, SettingsAreValidWithLdapOnOneServerAndABase) {
  const struct { const char* config; const char* expected; } rows[] = {
      {"ldap_server = ldap1\ndn_details = example\n", "0 [example] 1 Debug: isLDAPEnabled:0,Debug: strLDAPDNDetails:example"},
      {"ldap_mode = true\ndn_details = example\n", "0 [example] 1 Debug: isLDAPEnabled:1,Debug: strLDAPServer:,"
                                                "Debug: strLDAPDNDetails:example"},
      {"ldap_mode = true\nldap_server = ldap1,ldap2\ndn_details = example\n",
       "0 [example] 1 Debug: isLDAPEnabled:1,Debug: strLDAPServer:ldap1,ldap2,Debug: LDAP Server strings.size():2,"
       "Debug: strLDAPDNDetails:example"},
      {"ldap_mode = true\nldap_server = ldap1,\ndn_details = example\n",
       "0 [example] 1 Debug: isLDAPEnabled:1,Debug: strLDAPServer:ldap1,,Debug: LDAP Server strings.size():2,"
       "Debug: strLDAPDNDetails:example"},
      {"ldap_mode = true\nldap_server = ldap1\n",
       "0 [] 1 Debug: isLDAPEnabled:1,Debug: strLDAPServer:ldap1,Debug: LDAP Server strings.size():1,"
       "Debug: strLDAPDNDetails:,Debug: strLDAPDNDetails:"},
      {"ldap_mode = true\nldap_server = ldap1\ndn_details = example\n",
       "1 [example] 1 Debug: isLDAPEnabled:1,Debug: strLDAPServer:ldap1,Debug: LDAP Server strings.size():1,"
       "Debug: strLDAPDNDetails:example,Debug: strLDAPDNDetails:example"},
  };
  for (const auto& row : rows) EXPECT_EQ(row.expected, runCase(ldap_settings, row.config)) << row.config;
}
