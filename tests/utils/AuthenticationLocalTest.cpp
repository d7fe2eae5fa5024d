// Local logins over the fake platform: the logon, its failure rows, and the group
// matching of full_access_groups and readonly_access_groups.
#include "utils/AuthenticationTestSupport.h"

using authtest::joined;
using authtest::local;
using authtest::logLines;
using authtest::runCase;
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

// "alice=<level> bob=<level> carol=<level>", then, given batches of account names,
// " | " and what alice's login logged of them.
std::string levels(const std::string& config, const Batches& batches = {}) {
  return runCase(config, [&](auto& fake) {
    directory(fake);
    fake.nss.batches = batches;
    std::string levels;
    std::vector<std::string> accounts;
    for (const char* user : {"alice", "bob", "carol"}) {
      const std::string outcome = local(user, "pw");
      levels += std::string(levels.empty() ? "" : " ") + user + "=" + outcome.substr(outcome.find(' ') + 1, 1);
      for (const std::string& line : levels.size() > 8 ? std::vector<std::string>{} : logLines()) {
        if (line.find("User Account is:") != std::string::npos || line.find("occurred") != std::string::npos) {
          accounts.push_back(line);
        }
      }
    }
    return levels + (batches.empty() ? "" : " | " + joined(accounts));
  });
}

}  // namespace

TEST(LocalAccessTest, GroupNamesMatchCaseBlindMemberPathsCaseSensitive) {
  const struct { const char* config; const char* levels; } rows[] = {
      {"", "alice=2 bob=0 carol=0"},  // Administrators / Authenticated Users
      {"full_access_groups =   administrators  \nreadonly_access_groups = \n", "alice=2 bob=0 carol=0"},
      {"full_access_groups = \nreadonly_access_groups = \n", "alice=0 bob=0 carol=0"},
      // A member path that holds the entry gives the whole group's users access...
      {"full_access_groups = Domain Users\nreadonly_access_groups = \n", "alice=2 bob=2 carol=0"},
      // ... case-sensitively.
      {"full_access_groups = domain users\nreadonly_access_groups = \n", "alice=0 bob=0 carol=0"},
      // Full access wins over read-only whatever the order.
      {"full_access_groups = Administrators\nreadonly_access_groups = Users\n", "alice=2 bob=1 carol=0"},
      // The machine's name in member paths matches too.
      {"full_access_groups = \nreadonly_access_groups = FAKEHOST\n", "alice=1 bob=1 carol=1"},
      {"full_access_groups = ,\nreadonly_access_groups = Backup Operators\n", "alice=0 bob=0 carol=1"},
      // An entry naming an account refuses everybody; with a blank before it, it passes
      // that guard and is trimmed for the match.
      {"full_access_groups = Administrators,Bob\n", "alice=0 bob=0 carol=0"},
      {"full_access_groups = Administrators\nreadonly_access_groups = SVC\n", "alice=0 bob=0 carol=0"},
      {"full_access_groups = Administrators, bob\n", "alice=2 bob=2 carol=0"},
  };
  for (const auto& row : rows) EXPECT_EQ(row.levels, levels(row.config)) << row.config;
}

TEST(LocalAccessTest, AccountNamesAreCollectedBatchByBatchUntilAFailure) {
  const std::string config = "full_access_groups = Administrators,carol\n";
  // More data, then the end: carol is an account, so the lists are refused.
  EXPECT_EQ("alice=0 bob=0 carol=0 | Info: User Account is:x1,Info: User Account is:carol",
            levels(config, {{234, {"x1"}}, {0, {"carol"}}}));
  // A null entry ends its batch: carol is never seen, and the entry "carol" finds
  // her through the member path of her group.
  EXPECT_EQ("alice=2 bob=0 carol=2 | Info: User Account is:x1,Info: User Account is:bob,"
            "Always: An access violation has occurred",
            levels(config, {{234, {"x1"}}, {0, {"bob", std::nullopt, "carol"}}}));
  // A failed batch stops the collection; no name at all lets the lists pass.
  EXPECT_EQ("alice=2 bob=0 carol=2 | Always: A system error has occurred: 53", levels(config, {{53, {"carol"}}}));
}

TEST(LocalAccessTest, FailureRowsLeaveWhatTheyShould) {
  EXPECT_EQ(
      "false 3 7 [Authentication failure]\n"
      "false 3 13 [Authentication token is no longer valid; new one required]\n"
      // Behind the first object that is no user: accepted, no level.
      "false 0 -1 [old]\n"
      // The directory's names match without regard to case (the logon was the fake's
      // and took "ALICE" as it stands).
      "false 3 7 [Authentication failure]\n"
      "false 0 -1 [old]\n"
      "false 0 -1 [old]\n"
      "false 3 5 [old]\n"
      "Critical: User 'alice' failed to login to local server: 'Authentication failure',"
      "Critical: User 'carol' failed to login to local server: "
      "'Authentication token is no longer valid; new one required',"
      "Critical: User 'ALICE' failed to login to local server: 'Authentication failure'\n"
      "Always: GetComputerName() fails with error code '5'\n"
      "0",
      runCase("", [](auto& fake) {
        directory(fake);
        fake.pam.accountRefusals["carol"] = {13, "  Authentication token is no longer valid; new one required "};
        fake.nss.objects.insert(fake.nss.objects.begin() + 1, {"Guests", false});  // hides bob and carol
        std::vector<std::string> seen = {local("alice", "wrong"), local("carol", "pw"), local("bob", "pw"),
                                         local("ALICE", "pw")};
        fake.nss.groupsOf.erase("alice");
        seen.push_back(local("alice", "pw"));
        fake.nss.directoryOpens = false;
        seen.push_back(local("alice", "pw"));
        fake.pam.machineStatus = 5;
        seen.push_back(local("alice", "pw"));
        seen.push_back(joined(logLines("login")));
        seen.push_back(joined(logLines("GetComputerName")));
        seen.push_back(std::to_string(utils::System::get_instance()->iSUserNameCaseSensitive()));
        return joined(seen, "\n");
      }));
}

TEST(LocalAccessTest, AcceptedLoginLogsTheGroupsAndTheLevel) {
  EXPECT_EQ("true 2 -1 [old]\nInfo: logged into the server\nInfo: User is Part of Administrators group\n"
            "Info: accessLevel returning after all the checks is:2",
            runCase("", [](auto& fake) {
              directory(fake);
              fake.pam.accept("norvane-local", "ALICE", "pw");
              const std::string outcome = local("ALICE", "pw");
              std::vector<std::string> lines = logLines("Info: ");
              lines.erase(lines.begin() + 1, lines.end() - 2);  // the groups and members it walked
              return outcome + "\n" + joined(lines, "\n");
            }));
}
