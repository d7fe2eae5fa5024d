// A fake platform for logins: the logon service, the account directory and the LDAP
// client, on top of FakeHost, so a test decides which passwords pass, who is in
// which group and what the directory answers:
//
//   testsupport::ScopedFakeAuthHost fake;
//   fake.pam.accept("norvane-local", "alice", "pw");
//   fake.nss.addUser("alice", {"Administrators"});
//   fake.ldap.entries = {{{{"memberOf", true, {"CN=Administrators,DC=x"}}}}};
//
// A fresh fake: machine "fakehost.example.com", DNS domain "example.com", no account,
// no password accepted, and a directory whose every step succeeds with no entry.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "support/FakeHost.h"

namespace testsupport {

class FakeLogon : public platform::Logon {
 public:
  // PAM's codes and texts for the fake's answers.
  static constexpr int kAuthError = 7;  // "Authentication failure"
  void accept(const std::string& service, const std::string& logonName, const std::string& password);
  // The password passes but the account step answers with this code and text.
  std::map<std::string, std::pair<int, std::string>> accountRefusals;  // by logon name
  int machineStatus = 0;
  std::string machine = "fakehost.example.com";
  std::vector<std::string> checks;  // "service logonName", in order

  int check(const std::string& service, const std::string& userName, const std::string& password,
            std::string& text) override;
  int machineName(std::string& name) override;

 private:
  std::map<std::string, std::string> m_passwords;  // "service logonName" -> password
};

class FakeAccounts : public platform::Accounts {
 public:
  // A user object of the directory, in order, with its groups.
  void addUser(const std::string& name, std::vector<std::string> groups);
  // Another kind of object; the walk of users stops at it.
  void addOther(const std::string& name) { objects.push_back({name, false}); }

  bool directoryOpens = true;
  std::vector<platform::DirectoryObject> objects;
  std::map<std::string, std::vector<std::string>> groupsOf;  // users not listed cannot be read
  std::map<std::string, std::vector<std::string>> members;   // group -> member paths
  // The batches accountNames hands out, in order; none given: one batch with every
  // user object's name, status 0.
  std::vector<std::pair<long, std::vector<std::optional<std::string>>>> batches;
  long dnsStatus = 0;
  bool dnsPresent = true;
  std::string dns = "example.com";
  std::map<std::string, std::vector<platform::TokenGroup>> tokens;  // by logon name

  bool machineObjects(std::vector<platform::DirectoryObject>& found) override;
  bool userGroups(const std::string& userName, std::vector<std::string>& groups) override;
  long groupMemberPaths(const std::string& machine, const std::string& group, std::vector<std::string>& paths) override;
  long accountNames(unsigned long& resume, std::vector<std::optional<std::string>>& names) override;
  long dnsDomain(bool& present, std::string& name) override;
  bool tokenGroups(const std::string& logonName, const std::string& machine,
                   std::vector<platform::TokenGroup>& groups) override;
};

class FakeDirectory : public platform::Directory {
 public:
  bool opens = true;
  // Result codes of failing steps: "version", "getTls", "setTls", "connect",
  // "simpleBind", "digestBind", "search".
  std::map<std::string, int> failures;
  int tlsValue = 1;  // what getTls reports
  std::vector<platform::LdapEntry> entries;
  // Every call in order: "open ldap://server:port", "version 3", "getTls", "setTls",
  // "connect", "simpleBind <name> <password>", "digestBind <user> <realm> <password>",
  // "search <base> <filter>", "unbind".
  std::vector<std::string> calls;
  // "Success" for 0, "Invalid credentials" for 49, else "code <n>".
  std::string errorText(int code) override;
  std::unique_ptr<platform::DirectorySession> open(const std::string& server, unsigned long port, bool tls) override;
};

class FakeAuthHost : public FakeHost {
 public:
  FakeLogon pam;
  FakeAccounts nss;
  FakeDirectory ldap;

  platform::Logon& logon() override { return pam; }
  platform::Accounts& accounts() override { return nss; }
  platform::Directory& directory() override { return ldap; }
};

// A FakeAuthHost in force from construction to destruction.
class ScopedFakeAuthHost : public FakeAuthHost {
 public:
  ScopedFakeAuthHost() : m_scope(*this) {}

 private:
  platform::ScopedHost m_scope;
};

}  // namespace testsupport
