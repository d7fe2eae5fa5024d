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

// "<result><level> ..." of the logins of alice, bob, carol, dave, erin and frank into
// the domain, the result as T or F.
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
      levels += std::string(levels.empty() ? "" : " ") + (outcome[0] == 't' ? 'T' : 'F') + outcome[outcome.find(' ') + 1];
    }
    return levels;
  });
}

}  // namespace

TEST(DomainAccessTest, TokenGroupsMatchByTheirCandidateTexts) {
  const struct { const char* config; const char* domain; const char* levels; } rows[] = {
      // Default lists: only the well-known group hits, read-only.
      {"", "corp", "T1 F0 F0 T1 F0 F0"},
      // A group of the login's own domain needs DOMAIN\Group for full access, in any
      // letter case; a group of another authority matches by its bare name.
      {"full_access_groups = corp\\domain admins,Operators\n", "corp", "T1 T2 F0 T1 F0 T2"},
      {"full_access_groups = Domain Admins\n", "corp", "T1 F0 T2 T1 F0 F0"},
      // Read-only: the own domain's candidate is the doubled text, so neither form hits.
      {"full_access_groups = \nreadonly_access_groups = CORP\\Domain Users,Domain Users\n", "corp", "F0 F0 F0 F0 F0 F0"},
      {"full_access_groups = \nreadonly_access_groups = corp\\Domain UsersCORP\\Domain Users\n", "corp", "T1 F0 F0 F0 T1 T1"},
      // Entries are not trimmed on this path.
      {"full_access_groups = Administrators, Operators\nreadonly_access_groups = Authenticated Users ,x\n", "corp",
       "F0 F0 F0 F0 F0 F0"},
      // The domain is found in the DNS name case-sensitively: "CORP" is not in it.
      {"", "CORP", "F3 F3 F3 F3 F3 F3"},
      // A DNS domain given as the domain: groups of "CORP" then match by bare name,
      // those of "corp.example.com" no longer do.
      {"full_access_groups = Domain Admins\n", "corp.example.com", "T1 T2 F0 T1 F0 F0"},
  };
  for (const auto& row : rows) EXPECT_EQ(row.levels, levels(row.config, row.domain)) << row.config << row.domain;
  // Groups passed over: an authority too long, no name; empty entries match nothing; a
  // group without authority is no group of the own domain; no lists at all refuse.
  const auto gina = [](auto& fake) {
    fake.nss.dns = "corp.example.com";
    fake.pam.accept("norvane-domain", "gina@corp", "pw");
    fake.nss.tokens["gina@corp"] = {{"Admins", std::string(1024, 'x')}, {"", "CORP"}, {"Staff", "OTHER"}, {"Domain Users", ""}};
    return login("gina", "pw", "corp");
  };
  EXPECT_EQ("true 1 -1 [old]",
            runCase("full_access_groups = ,Admins,Domain Users\nreadonly_access_groups = ,Domain Users\n", gina));
  EXPECT_EQ("false 0 -1 [old]", runCase("full_access_groups = \nreadonly_access_groups = \n", gina));
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
    for (const char* text : {"Critical: User '", "DsRole", "GetComputerName"}) seen.push_back(joined(logLines(text), ","));
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
            "Critical: User 'CORP\\alice' failed to login to strDomain: 'corp' server: 'Authentication failure'\n"
            "Always: DsRoleGetPrimaryDomainInformation:-2,Always: DsRoleGetPrimaryDomainInformation:-2\n"
            "Always: GetComputerName() fails with error code '38'",
            runCase("full_access_groups = CORP\\Domain Admins\n", rows));
}
