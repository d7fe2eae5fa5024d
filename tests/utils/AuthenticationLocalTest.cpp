// Local logins over the fake platform: the logon, its failure rows, and the group
// matching of full_access_groups and readonly_access_groups.
#include "utils/AuthenticationTestSupport.h"

using authtest::joined;
using authtest::login;
using authtest::logLines;
using Batches = std::vector<std::pair<long, std::vector<std::optional<std::string>>>>;

namespace {

// alice in Administrators and Users; bob in Users, whose members are bob and a
// domain group; carol in Backup Operators; a service account without a password.
void directory(testsupport::ScopedFakeHost& fake) {
  for (const char* user : {"alice", "bob", "carol"}) fake.pam.accept("norvane-local", user, "pw");
  fake.nss.addUser("alice", {"Administrators", "Users"});
  fake.nss.addUser("bob", {"Users"});
  fake.nss.addUser("carol", {"Backup Operators"});
  fake.nss.addUser("svc", {});
  fake.nss.members["Users"] = {"WinNT://FAKEHOST/bob", " WinNT://CORP/Domain Users "};
  fake.nss.members["Backup Operators"] = {"WinNT://FAKEHOST/carol"};
}

// "<alice's level> <bob's> <carol's>", then, given batches of account names, " | "
// and what alice's login logged of them.
std::string levels(const std::string& config, const Batches& batches = {}) {
  return authtest::runCase(config, [&](auto& fake) {
    directory(fake);
    fake.nss.batches = batches;
    std::string levels, accounts;
    for (const char* user : {"alice", "bob", "carol"}) {
      const std::string outcome = login(user, "pw");
      levels += (levels.empty() ? "" : " ") + outcome.substr(outcome.find(' ') + 1, 1);
      if (accounts.empty()) accounts = joined(logLines("User Account is:|occurred"), ",");
    }
    return levels + (batches.empty() ? "" : " | " + accounts);
  });
}

}  // namespace

TEST(LocalAccessTest, GroupNamesMatchCaseBlindMemberPathsCaseSensitiveAccountNamesBatchByBatch) {
  const struct { const char* config; Batches batches; const char* levels; } rows[] = {
      {"", {}, "2 0 0"},  // Administrators / Authenticated Users
      {"full_access_groups =   administrators  \nreadonly_access_groups = \n", {}, "2 0 0"},
      {"full_access_groups = \nreadonly_access_groups = \n", {}, "0 0 0"},
      // A member path that holds the entry gives the whole group's users access, case-sensitively.
      {"full_access_groups = Domain Users\nreadonly_access_groups = \n", {}, "2 2 0"},
      {"full_access_groups = domain users\nreadonly_access_groups = \n", {}, "0 0 0"},
      // Full access wins over read-only whatever the order.
      {"full_access_groups = Administrators\nreadonly_access_groups = Users\n", {}, "2 1 0"},
      // The machine's name in member paths matches too.
      {"full_access_groups = \nreadonly_access_groups = FAKEHOST\n", {}, "1 1 1"},
      {"full_access_groups = ,\nreadonly_access_groups = Backup Operators\n", {}, "0 0 1"},
      // An entry naming an account refuses everybody; with a blank before it, it passes
      // that guard and is trimmed for the match.
      {"full_access_groups = Administrators,Bob\n", {}, "0 0 0"},
      {"full_access_groups = Administrators\nreadonly_access_groups = SVC\n", {}, "0 0 0"},
      {"full_access_groups = Administrators, bob\n", {}, "2 2 0"},
      // Account names come batch by batch: more data, then the end; carol is an account,
      // so the lists are refused.
      {"full_access_groups = Administrators,carol\n", {{234, {"x1"}}, {0, {"carol"}}},
       "0 0 0 | Info: User Account is:x1,Info: User Account is:carol"},
      // A null entry ends its batch: carol is never seen, and the entry "carol" finds
      // her through the member path of her group.
      {"full_access_groups = Administrators,carol\n", {{234, {"x1"}}, {0, {"bob", std::nullopt, "carol"}}},
       "2 0 2 | Info: User Account is:x1,Info: User Account is:bob,Always: An access violation has occurred"},
      // A failed batch stops the collection; no name at all lets the lists pass.
      {"full_access_groups = Administrators,carol\n", {{53, {"carol"}}},
       "2 0 2 | Always: A system error has occurred: 53"},
  };
  for (const auto& row : rows) EXPECT_EQ(row.levels, levels(row.config, row.batches)) << row.config;
}

TEST(LocalAccessTest, FailureRowsAndAnAcceptedLogin) {
  EXPECT_EQ(
      "false 3 7 [Authentication failure]\n"
      "false 3 13 [Authentication token is no longer valid; new one required]\n"
      "false 0 -1 [old]\n"  // behind the first object that is no user: accepted, no level
      // The directory's names match without regard to case (the logon was the fake's
      // and took "ALICE" as it stands).
      "false 3 7 [Authentication failure]\n"
      "false 0 -1 [old]\nfalse 0 -1 [old]\nfalse 3 5 [old]\n"
      "Critical: User 'alice' failed to login to local server: 'Authentication failure',"
      "Critical: User 'carol' failed to login to local server: "
      "'Authentication token is no longer valid; new one required',"
      "Critical: User 'ALICE' failed to login to local server: 'Authentication failure'\n"
      "Always: GetComputerName() fails with error code '5'\n0",
      authtest::runCase("", [](auto& fake) {
        directory(fake);
        fake.pam.accountRefusals["carol"] = {13, "  Authentication token is no longer valid; new one required "};
        fake.nss.objects.insert(fake.nss.objects.begin() + 1, {"Guests", false});  // hides bob and carol
        std::vector<std::string> seen = {login("alice", "wrong"), login("carol", "pw"), login("bob", "pw"),
                                         login("ALICE", "pw")};
        fake.nss.groupsOf.erase("alice");
        seen.push_back(login("alice", "pw"));
        fake.nss.directoryOpens = false;
        seen.push_back(login("alice", "pw"));
        fake.pam.machineStatus = 5;
        seen.push_back(login("alice", "pw"));
        seen.push_back(joined(logLines("login"), ","));
        seen.push_back(joined(logLines("GetComputerName")));
        seen.push_back(std::to_string(systemtest::sys().iSUserNameCaseSensitive()));
        return joined(seen, "\n");
      }));
  EXPECT_EQ("true 2 -1 [old]", authtest::runCase("", [](auto& fake) {
    directory(fake);
    fake.pam.accept("norvane-local", "ALICE", "pw");
    return login("ALICE", "pw");
  }));
}
