#include "support/FakeLogins.h"

namespace testsupport {
namespace {

struct FakeSession : platform::DirectorySession {
  explicit FakeSession(FakeDirectory& directory) : directory(directory) {}
  int call(const char* step, const std::string& record) { return static_cast<int>(directory.call(step, record)); }

  int setProtocolVersion(int version) override { return call("version", "version " + std::to_string(version)); }
  int getTls(int& on) override { return on = directory.tlsValue, call("getTls", "getTls"); }
  int setTlsOn() override { return call("setTls", "setTls"); }
  int connect() override { return call("connect", "connect"); }
  int simpleBind(const std::string& name, const std::string& password) override {
    return call("simpleBind", "simpleBind " + name + " " + password);
  }
  int digestBind(const std::string& user, const std::string& realm, const std::string& password) override {
    return call("digestBind", "digestBind " + user + " " + realm + " " + password);
  }
  int searchBase(const std::string& base, const std::string& filter, std::vector<platform::LdapEntry>& entries) override {
    const int status = call("search", "search " + base + " " + filter);
    return status == 0 ? (entries = directory.entries, 0) : status;
  }
  void unbind() override { directory.calls.push_back("unbind"); }

  FakeDirectory& directory;
};

}  // namespace

std::unique_ptr<platform::DirectorySession> FakeDirectory::open(const std::string& server, unsigned long port, bool tls) {
  calls.push_back(std::string("open ") + (tls ? "ldaps://" : "ldap://") + server + ":" + std::to_string(port));
  return opens ? std::make_unique<FakeSession>(*this) : nullptr;
}

}  // namespace testsupport
