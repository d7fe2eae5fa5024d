// Domain logins over the fake platform: the logon as user@domain, the domain test
// and the token-group matching with its candidate texts.
#include "utils/AuthenticationTestSupport.h"

using authtest::joined;
using authtest::login;
using authtest::logLines;
using authtest::runCase;
using platform::TokenGroup;

namespace {

const TokenGroup kAuthenticated{"Authenticated Users", "NT AUTHORITY"};

// "user=<result>/<level> ..." of the logins of six users into the domain.
std::string levels(const std::string& config, const std::string& domainName) {
  return runCase(config, [&](auto& fake) {
    fake.nss.dns = "corp.example.com";
    const std::map<std::string, std::vector<TokenGroup>> tokens = {
        {"alice", {{"Domain Users", "CORP"}, kAuthenticated}},
        {"bob", {{"Domain Admins", "CORP"}}},
        {"carol", {{"Domain Admins", "corp.example.com"}}},
        // The first group that hits decides: read-only ahead of full access.
        {"dave", {kAuthenticated, {"Operators", "OTHER"}}},
        {"erin", {{"Operators", "OTHER", false}, {"Operators", "OTHER", true, false}, {std::string(1024, 'x'), "OTHER"},
                  {"Domain Users", "CORP"}}},
        {"frank", {{"Domain Users", "CORP"}, {"Operators", "OTHER"}}},
    };
    std::string levels;
    for (const auto& [user, groups] : tokens) {
      fake.pam.accept("norvane-domain", user + "@" + domainName, "pw");
      fake.nss.tokens[user + "@" + domainName] = groups;
      const std::string outcome = login(user, "pw", domainName);
      levels += (levels.empty() ? "" : " ") + user + "=" + outcome.substr(0, outcome.find(' ') + 2);
    }
    return levels;
  });
}

}  // namespace

TEST(DomainAccessTest, TokenGroupsMatchByTheirCandidateTexts) {
  const struct { const char* config; const char* domain; const char* levels; } rows[] = {
      // Default lists: only the well-known group hits, read-only.
      {"", "corp", "alice=true 1 bob=false 0 carol=false 0 dave=true 1 erin=false 0 frank=false 0"},
      // A group of the login's own domain needs DOMAIN\Group for full access, in any
      // letter case; a group of another authority matches by its bare name.
      {"full_access_groups = corp\\domain admins,Operators\n", "corp",
       "alice=true 1 bob=true 2 carol=false 0 dave=true 1 erin=false 0 frank=true 2"},
      {"full_access_groups = Domain Admins\n", "corp",
       "alice=true 1 bob=false 0 carol=true 2 dave=true 1 erin=false 0 frank=false 0"},
      // Read-only: the own domain's candidate is the doubled text, so neither form hits.
      {"full_access_groups = \nreadonly_access_groups = CORP\\Domain Users,Domain Users\n", "corp",
       "alice=false 0 bob=false 0 carol=false 0 dave=false 0 erin=false 0 frank=false 0"},
      {"full_access_groups = \nreadonly_access_groups = corp\\Domain UsersCORP\\Domain Users\n", "corp",
       "alice=true 1 bob=false 0 carol=false 0 dave=false 0 erin=true 1 frank=true 1"},
      // Entries are not trimmed on this path.
      {"full_access_groups = Administrators, Operators\nreadonly_access_groups = Authenticated Users ,x\n", "corp",
       "alice=false 0 bob=false 0 carol=false 0 dave=false 0 erin=false 0 frank=false 0"},
      // The domain is found in the DNS name case-sensitively: "CORP" is not in it.
      {"", "CORP", "alice=false 3 bob=false 3 carol=false 3 dave=false 3 erin=false 3 frank=false 3"},
      // A DNS domain given as the domain: groups of "CORP" then match by bare name,
      // those of "corp.example.com" no longer do.
      {"full_access_groups = Domain Admins\n", "corp.example.com",
       "alice=true 1 bob=true 2 carol=false 0 dave=true 1 erin=false 0 frank=false 0"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.levels, levels(row.config, row.domain)) << row.config << row.domain;
  }
}

TEST(DomainAccessTest, FailureRowsAndTheDomainTest) {
  const auto rows = [](testsupport::ScopedFakeHost& fake) {
    fake.pam.accept("norvane-domain", "alice@corp", "pw");
    fake.nss.tokens["alice@corp"] = {{"Domain Admins", "CORP"}};
    std::vector<std::string> seen = {login("alice", "bad", "corp"), login("CORP\\alice", "pw", "corp")};
    fake.nss.dns = "corp.example.com";
    seen.push_back(login("alice", "pw", "corp"));
    fake.nss.dnsPresent = false;
    seen.push_back(login("alice", "pw", "corp"));
    fake.nss.dnsStatus = -2;  // the question fails: counts as in the domain
    seen.push_back(login("alice", "pw", "corp"));
    fake.nss.tokens.clear();
    seen.push_back(login("alice", "pw", "corp"));
    fake.pam.machineStatus = 38;
    seen.push_back(login("alice", "pw", "corp"));
    for (const char* text : {"User '", "DomainNameDns", "DsRole", "GetComputerName"}) seen.push_back(joined(logLines(text), ","));
    return joined(seen, "\n");
  };
  EXPECT_EQ("false 3 7 [Authentication failure]\n"
            "false 3 7 [Authentication failure]\n"  // "CORP\alice@corp": the name is not parsed
            "true 2 -1 [old]\n"
            "false 3 -1 [old]\n"  // no DNS domain: "corp" is not in ""
            "true 2 -1 [old]\n"
            "false 0 -1 [old]\n"  // token unreadable
            "false 3 38 [old]\n"
            "Critical: User 'alice' failed to login to strDomain: 'corp' server: 'Authentication failure',"
            "Critical: User 'CORP\\alice' failed to login to strDomain: 'corp' server: 'Authentication failure',"
            "Info: User 'alice' logged in successfully into strDomain 'corp' !,Info: User 'alice' logged in successfully into strDomain 'corp' !,"
            "Info: User 'alice' logged in successfully into strDomain 'corp' !,Info: User 'alice' logged in successfully into strDomain 'corp' !\n"
            "Info: DomainNameDns:corp.example.com,Info: DomainNameDns is NULL\n"
            "Always: DsRoleGetPrimaryDomainInformation:-2,Always: DsRoleGetPrimaryDomainInformation:-2\n"
            "Always: GetComputerName() fails with error code '38'",
            runCase("full_access_groups = CORP\\Domain Admins\n", rows));
}
