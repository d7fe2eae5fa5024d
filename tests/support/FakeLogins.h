// Fakes of the facilities behind logins: the logon service, the account directory
// and the LDAP client, so a test decides which passwords pass, who is in which
// group and what the directory answers (FakeHost holds them as pam, nss and ldap):
//
//   testsupport::ScopedFakeHost fake;
//   fake.pam.accept("norvane-local", "alice", "pw");
//   fake.nss.addUser("alice", {"Administrators"});
//   fake.ldap.entries = {{{{"memberOf", true, {"CN=Administrators,DC=x"}}}}};
//
// A fresh fake: machine "fakehost.example.com", DNS domain "example.com", no account,
// no password accepted, and a directory whose every step succeeds with no entry.
#pragma once

#include "support/TestPrelude.h"

#include "platform/Accounts.h"
#include "platform/Directory.h"
#include "platform/Logon.h"
#include "support/CallScript.h"

namespace testsupport {

struct FakeLogon : platform::Logon {
  void accept(const std::string& service, const std::string& logonName, const std::string& password) {
    m_passwords[service + " " + logonName] = password;
  }
  // The password passes but the account step answers with this code and text.
  std::map<std::string, std::pair<int, std::string>> accountRefusals;  // by logon name
  int machineStatus = 0;  // nonzero: the machine's name cannot be read

  // A password that does not pass gives PAM's 7, "Authentication failure".
  int check(const std::string& service, const std::string& userName, const std::string& password,
            std::string& text) override {
    const auto known = m_passwords.find(service + " " + userName);
    const auto refusal = accountRefusals.find(userName);
    if (known == m_passwords.end() || known->second != password) return text = "Authentication failure", 7;
    return refusal == accountRefusals.end() ? 0 : (text = refusal->second.second, refusal->second.first);
  }
  int machineName(std::string& name) override {
    return machineStatus == 0 ? (name = "fakehost.example.com", 0) : machineStatus;
  }

 private:
  std::map<std::string, std::string> m_passwords;  // "service logonName" -> password
};

struct FakeAccounts : platform::Accounts {
  // A user object of the directory, in order, with its groups.
  void addUser(const std::string& name, std::vector<std::string> groups) {
    objects.push_back({name, true});
    groupsOf[name] = std::move(groups);
  }

  bool directoryOpens = true;
  std::vector<platform::DirectoryObject> objects;  // the walk of users stops at the first non-user
  std::map<std::string, std::vector<std::string>> groupsOf;  // users not listed cannot be read
  std::map<std::string, std::vector<std::string>> members;   // group -> member paths
  // The batches accountNames hands out, in order; none given: one batch with every
  // user object's name, status 0.
  std::vector<std::pair<long, std::vector<std::optional<std::string>>>> batches;
  long dnsStatus = 0;
  bool dnsPresent = true;
  std::string dns = "example.com";
  std::map<std::string, std::vector<platform::TokenGroup>> tokens;  // by logon name

  bool machineObjects(std::vector<platform::DirectoryObject>& found) override {
    return directoryOpens && (found = objects, true);
  }
  bool userGroups(const std::string& userName, std::vector<std::string>& groups) override {
    return lookUp(groupsOf, userName, groups);
  }
  long groupMemberPaths(const std::string&, const std::string& group, std::vector<std::string>& paths) override {
    return lookUp(members, group, paths) ? 0 : 1;
  }
  long accountNames(unsigned long& resume, std::vector<std::optional<std::string>>& names) override {
    for (const platform::DirectoryObject& object : objects)
      if (batches.empty() && object.isUser) names.emplace_back(object.name);
    if (resume >= batches.size()) return 0;
    names = batches[resume].second;
    return batches[resume++].first;
  }
  long dnsDomain(bool& present, std::string& name) override {
    return dnsStatus == 0 && (present = dnsPresent) ? (name = dns, 0) : dnsStatus;
  }
  bool tokenGroups(const std::string& logonName, const std::string&,
                   std::vector<platform::TokenGroup>& groups) override {
    return lookUp(tokens, logonName, groups);
  }

 private:
  template <typename Value>
  static bool lookUp(const std::map<std::string, Value>& table, const std::string& key, Value& value) {
    const auto known = table.find(key);
    return known != table.end() && (value = known->second, true);
  }
};

// Calls, in order: "open ldap://server:port", "version 3", "getTls", "setTls",
// "connect", "simpleBind <name> <password>", "digestBind <user> <realm> <password>",
// "search <base> <filter>", "unbind". The steps that can fail: "version", "getTls",
// "setTls", "connect", "simpleBind", "digestBind", "search".
struct FakeDirectory : platform::Directory, CallScript {
  bool opens = true;
  int tlsValue = 1;  // what getTls reports
  std::vector<platform::LdapEntry> entries;

  // "Success" for 0, "Invalid credentials" for 49, else "code <n>".
  std::string errorText(int code) override {
    return code == 0 ? "Success" : code == 49 ? "Invalid credentials" : "code " + std::to_string(code);
  }
  std::unique_ptr<platform::DirectorySession> open(const std::string& server, unsigned long port, bool tls) override;
};

}  // namespace testsupport
