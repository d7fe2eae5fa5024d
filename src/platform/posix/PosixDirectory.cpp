// The LDAP client: OpenLDAP's libldap, with DIGEST-MD5 through Cyrus SASL.
#include <ldap.h>
#include <sasl/sasl.h>

#include <cstring>

#include "platform/posix/PosixFacilities.h"

namespace platform::posix {
namespace {

struct DigestIdentity {
  const std::string* user;
  const std::string* realm;
  const std::string* password;
};

// Fills the SASL prompts from the identity: authentication id, realm and
// password; the authorisation id stays empty (the authenticated user itself).
int interact(LDAP*, unsigned, void* defaults, void* prompts) {
  const auto* identity = static_cast<const DigestIdentity*>(defaults);
  for (auto* prompt = static_cast<sasl_interact_t*>(prompts); prompt->id != SASL_CB_LIST_END; ++prompt) {
    const std::string* answer = nullptr;
    switch (prompt->id) {
      case SASL_CB_AUTHNAME: answer = identity->user; break;
      case SASL_CB_GETREALM: answer = identity->realm; break;
      case SASL_CB_PASS: answer = identity->password; break;
      default: break;
    }
    prompt->result = answer != nullptr ? answer->c_str() : "";
    prompt->len = static_cast<unsigned>(answer != nullptr ? answer->size() : 0);
  }
  return LDAP_SUCCESS;
}

class OpenLdapSession final : public DirectorySession {
 public:
  OpenLdapSession(LDAP* session, bool tls) : m_session(session), m_tls(tls) {}
  ~OpenLdapSession() override { unbind(); }

  int setProtocolVersion(int version) override {
    return ldap_set_option(m_session, LDAP_OPT_PROTOCOL_VERSION, &version);
  }
  // An ldaps:// session speaks TLS from its first byte.
  int getTls(int& on) override {
    on = m_tls ? 1 : 0;
    return LDAP_SUCCESS;
  }
  int setTlsOn() override {
    int hard = LDAP_OPT_X_TLS_HARD;
    return ldap_set_option(m_session, LDAP_OPT_X_TLS, &hard);
  }
  int connect() override { return ldap_connect(m_session); }

  int simpleBind(const std::string& name, const std::string& password) override {
    berval credentials{password.size(), const_cast<char*>(password.data())};
    return ldap_sasl_bind_s(m_session, name.c_str(), LDAP_SASL_SIMPLE, &credentials, nullptr, nullptr, nullptr);
  }

  int digestBind(const std::string& user, const std::string& realm, const std::string& password) override {
    DigestIdentity identity{&user, &realm, &password};
    return ldap_sasl_interactive_bind_s(m_session, nullptr, "DIGEST-MD5", nullptr, nullptr, LDAP_SASL_QUIET,
                                        interact, &identity);
  }

  int searchBase(const std::string& base, const std::string& filter, std::vector<LdapEntry>& entries) override {
    LDAPMessage* result = nullptr;
    const int status = ldap_search_ext_s(m_session, base.c_str(), LDAP_SCOPE_BASE, filter.c_str(), nullptr, 0,
                                         nullptr, nullptr, nullptr, 0, &result);
    if (status == LDAP_SUCCESS) {
      for (LDAPMessage* entry = ldap_first_entry(m_session, result); entry != nullptr;
           entry = ldap_next_entry(m_session, entry)) {
        entries.push_back(readEntry(entry));
      }
    }
    if (result != nullptr) ldap_msgfree(result);
    return status;
  }

  void unbind() override {
    if (m_session == nullptr) return;
    ldap_unbind_ext_s(m_session, nullptr, nullptr);
    m_session = nullptr;
  }

 private:
  LdapEntry readEntry(LDAPMessage* message) {
    LdapEntry entry;
    BerElement* position = nullptr;
    for (char* name = ldap_first_attribute(m_session, message, &position); name != nullptr;
         name = ldap_next_attribute(m_session, message, position)) {
      LdapAttribute attribute;
      attribute.name = name;
      berval** values = ldap_get_values_len(m_session, message, name);
      attribute.valuesReturned = values != nullptr;
      if (values != nullptr) {
        for (int i = 0, count = ldap_count_values_len(values); i < count; ++i) {
          attribute.values.emplace_back(values[i]->bv_val, values[i]->bv_len);
        }
        ldap_value_free_len(values);
      }
      ldap_memfree(name);
      entry.attributes.push_back(std::move(attribute));
    }
    if (position != nullptr) ber_free(position, 0);
    return entry;
  }

  LDAP* m_session;
  bool m_tls;
};

class OpenLdapDirectory final : public Directory {
 public:
  std::unique_ptr<DirectorySession> open(const std::string& server, unsigned long port, bool tls) override {
    const std::string uri = std::string(tls ? "ldaps://" : "ldap://") + server + ":" + std::to_string(port);
    LDAP* session = nullptr;
    if (ldap_initialize(&session, uri.c_str()) != LDAP_SUCCESS || session == nullptr) return nullptr;
    return std::make_unique<OpenLdapSession>(session, tls);
  }
  std::string errorText(int code) override { return ldap_err2string(code); }
};

}  // namespace

std::unique_ptr<Directory> makeDirectory() { return std::make_unique<OpenLdapDirectory>(); }

}  // namespace platform::posix
