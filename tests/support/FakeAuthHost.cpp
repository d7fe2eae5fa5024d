#include "support/FakeAuthHost.h"

namespace testsupport {

void FakeLogon::accept(const std::string& service, const std::string& logonName, const std::string& password) {
  m_passwords[service + " " + logonName] = password;
}

int FakeLogon::check(const std::string& service, const std::string& userName, const std::string& password,
                     std::string& text) {
  const std::string key = service + " " + userName;
  checks.push_back(key);
  const auto known = m_passwords.find(key);
  if (known == m_passwords.end() || known->second != password) {
    text = "Authentication failure";
    return kAuthError;
  }
  const auto refusal = accountRefusals.find(userName);
  if (refusal != accountRefusals.end()) {
    text = refusal->second.second;
    return refusal->second.first;
  }
  return 0;
}

int FakeLogon::machineName(std::string& name) {
  if (machineStatus == 0) name = machine;
  return machineStatus;
}

void FakeAccounts::addUser(const std::string& name, std::vector<std::string> groups) {
  objects.push_back({name, true});
  groupsOf[name] = std::move(groups);
}

bool FakeAccounts::machineObjects(std::vector<platform::DirectoryObject>& found) {
  if (!directoryOpens) return false;
  found = objects;
  return true;
}

bool FakeAccounts::userGroups(const std::string& userName, std::vector<std::string>& groups) {
  const auto known = groupsOf.find(userName);
  if (known == groupsOf.end()) return false;
  groups = known->second;
  return true;
}

long FakeAccounts::groupMemberPaths(const std::string&, const std::string& group, std::vector<std::string>& paths) {
  const auto known = members.find(group);
  if (known == members.end()) return 1;
  paths = known->second;
  return 0;
}

long FakeAccounts::accountNames(unsigned long& resume, std::vector<std::optional<std::string>>& names) {
  if (batches.empty()) {
    for (const platform::DirectoryObject& object : objects) {
      if (object.isUser) names.emplace_back(object.name);
    }
    return 0;
  }
  if (resume >= batches.size()) return 0;
  names = batches[resume].second;
  return batches[resume++].first;
}

long FakeAccounts::dnsDomain(bool& present, std::string& name) {
  if (dnsStatus != 0) return dnsStatus;
  present = dnsPresent;
  if (dnsPresent) name = dns;
  return 0;
}

bool FakeAccounts::tokenGroups(const std::string& logonName, const std::string&,
                               std::vector<platform::TokenGroup>& groups) {
  const auto known = tokens.find(logonName);
  if (known == tokens.end()) return false;
  groups = known->second;
  return true;
}

namespace {

class FakeSession : public platform::DirectorySession {
 public:
  explicit FakeSession(FakeDirectory& directory) : m_directory(directory) {}

  int setProtocolVersion(int version) override { return call("version", "version " + std::to_string(version)); }
  int getTls(int& on) override {
    on = m_directory.tlsValue;
    return call("getTls", "getTls");
  }
  int setTlsOn() override { return call("setTls", "setTls"); }
  int connect() override { return call("connect", "connect"); }
  int simpleBind(const std::string& name, const std::string& password) override {
    return call("simpleBind", "simpleBind " + name + " " + password);
  }
  int digestBind(const std::string& user, const std::string& realm, const std::string& password) override {
    return call("digestBind", "digestBind " + user + " " + realm + " " + password);
  }
  int searchBase(const std::string& base, const std::string& filter,
                 std::vector<platform::LdapEntry>& entries) override {
    const int status = call("search", "search " + base + " " + filter);
    if (status == 0) entries = m_directory.entries;
    return status;
  }
  void unbind() override { m_directory.calls.push_back("unbind"); }

 private:
  int call(const std::string& step, const std::string& record) {
    m_directory.calls.push_back(record);
    const auto failure = m_directory.failures.find(step);
    return failure == m_directory.failures.end() ? 0 : failure->second;
  }
  FakeDirectory& m_directory;
};

}  // namespace

std::string FakeDirectory::errorText(int code) {
  if (code == 0) return "Success";
  if (code == 49) return "Invalid credentials";
  return "code " + std::to_string(code);
}

std::unique_ptr<platform::DirectorySession> FakeDirectory::open(const std::string& server, unsigned long port,
                                                                bool tls) {
  calls.push_back(std::string("open ") + (tls ? "ldaps://" : "ldap://") + server + ":" + std::to_string(port));
  if (!opens) return nullptr;
  return std::make_unique<FakeSession>(*this);
}

}  // namespace testsupport
