#include "support/FakeLogins.h"

namespace testsupport {
namespace {

class FakeSession : public platform::DirectorySession {
 public:
  explicit FakeSession(FakeDirectory& directory) : m_directory(directory) {}

  int setProtocolVersion(int version) override { return call("version", "version " + std::to_string(version)); }
  int getTls(int& on) override { return on = m_directory.tlsValue, call("getTls", "getTls"); }
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
    return static_cast<int>(m_directory.call(step, record));
  }
  FakeDirectory& m_directory;
};

}  // namespace

std::unique_ptr<platform::DirectorySession> FakeDirectory::open(const std::string& server, unsigned long port,
                                                                bool tls) {
  calls.push_back(std::string("open ") + (tls ? "ldaps://" : "ldap://") + server + ":" + std::to_string(port));
  return opens ? std::make_unique<FakeSession>(*this) : nullptr;
}

}  // namespace testsupport
