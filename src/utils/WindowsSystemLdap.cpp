// LDAP logins: bind as the user (plainly, or over TLS with DIGEST-MD5), search the
// user's own entry, and read the access level from its memberOf attribute.
#include <utils/Log.h>
#include <utils/StringHelper.h>
#include <utils/WindowsSystem.h>

#include <iostream>

#include "platform/Host.h"

namespace utils {
namespace {

using platform::LdapEntry;
using platform::DirectorySession;

// The steps of one login after the session opened. Each failing step sets the
// caller's error code and text, logs its own line and ends the session.
class LdapLogin {
 public:
  LdapLogin(DirectorySession& session, const std::string& server, int& errorCode, std::string& errorMessage)
      : m_session(session), m_server(server), m_errorCode(errorCode), m_errorMessage(errorMessage) {}

  // True when the step succeeded; otherwise the failure is recorded.
  bool step(int code, const char* failureText) { return code == 0 || fail(code, failureText); }

  // Records a failure with this code; always false.
  bool fail(int code, const char* failureText) {
    m_errorCode = code;
    m_errorMessage = platform::host().directory().errorText(code);
    log_always(failureText) % m_server % code;
    m_session.unbind();
    return false;
  }

 private:
  DirectorySession& m_session;
  const std::string& m_server;
  int& m_errorCode;
  std::string& m_errorMessage;
};

// The open step fails before there is a session: the error code is not written,
// and the log line shows the one the caller had.
bool initFailed(const std::string& server, int& errorCode, std::string& errorMessage) {
  errorMessage = "LDAP init failed";
  log_always("LDAP Init for the LDAP Server:%1% failed with error code:%2%") % server % errorCode;
  return false;
}

}  // namespace

// Search and read, the same for both sequences. True when the entry was found.
static bool searchAndRead(const WindowsSystem& system, DirectorySession& session, LdapLogin& login,
                          const std::string& userName, const std::string& distinguishedName,
                          bool (WindowsSystem::*read)(WindowsSystem::AccessLevel_&, void*, unsigned long, void*) const,
                          WindowsSystem::AccessLevel_& level) {
  // No character of the user name is escaped.
  const std::string filter = "(&(objectCategory=person)(objectClass=user)(cn=" + userName + "))";
  log_info("strSearch:%1%") % filter;
  std::vector<LdapEntry> entries;
  const int status = session.searchBase(distinguishedName, filter, entries);
  if (!login.step(status, "LDAP Search for the LDAP Server:%1% failed with error code:%2%")) return false;
  if (entries.empty()) {
    // The code shown is the search's, which succeeded: 0 and the client's text for it.
    return login.fail(status, "LDAP Count entries for the LDAP Server:%1% failed with error code:%2%");
  }
  (system.*read)(level, &session, static_cast<unsigned long>(entries.size()), &entries);
  session.unbind();
  return true;
}

bool WindowsSystem::basicLDAPAuthentication(const std::string& userName, const std::string& password,
                                            const std::string& ldapServer, const std::string& baseDN,
                                            const unsigned long& port, const unsigned int& protocolVersion,
                                            const int&, std::string&, AccessLevel_& level, int& errorCode,
                                            std::string& errorMessage) const {
  log_function_entry("utils::WindowsSystem::basicLDAPAuthentication");
  const int version = static_cast<int>(protocolVersion);
  std::unique_ptr<DirectorySession> session = platform::host().directory().open(ldapServer, port, false);
  if (!session) return initFailed(ldapServer, errorCode, errorMessage);
  LdapLogin login(*session, ldapServer, errorCode, errorMessage);
  try {
    if (!login.step(session->setProtocolVersion(version),
                    "LDAP Set for the LDAP Server:%1% failed with error code:%2%")) {
      return false;
    }
    if (!login.step(session->connect(), "LDAP Connect for the LDAP Server:%1% failed with error code:%2%")) {
      return false;
    }
    log_info("Final strDNName:%1%") % baseDN;
    if (!login.step(session->simpleBind(baseDN, password),
                    "LDAP Simple Bind for the LDAP Server:%1% failed with error code:%2%")) {
      return false;
    }
    return searchAndRead(*this, *session, login, userName, baseDN, &WindowsSystem::lookForAttributes, level);
  } catch (...) {
    session->unbind();
    return false;
  }
}

bool WindowsSystem::secureLDAPAuthentication(const std::string& userName, const std::string& password,
                                             const std::string& ldapServer, const std::string& baseDN,
                                             const unsigned long& port, const unsigned int& protocolVersion,
                                             const int&, std::string&, AccessLevel_& level, int& errorCode,
                                             std::string& errorMessage) const {
  log_function_entry("utils::WindowsSystem::secureLDAPAuthentication");
  const int version = static_cast<int>(protocolVersion);
  std::unique_ptr<DirectorySession> session = platform::host().directory().open(ldapServer, port, true);
  if (!session) return initFailed(ldapServer, errorCode, errorMessage);
  LdapLogin login(*session, ldapServer, errorCode, errorMessage);
  try {
    if (!login.step(session->setProtocolVersion(version),
                    "LDAP Set1 for the LDAP Server:%1% failed with error code:%2%")) {
      return false;
    }
    int tls = 0;
    if (!login.step(session->getTls(tls), "LDAP Get for the LDAP Server:%1% failed with error code:%2%")) {
      return false;
    }
    if (tls != 1 &&
        !login.step(session->setTlsOn(), "LDAP Set2 for the LDAP Server:%1% failed with error code:%2%")) {
      return false;
    }
    if (!login.step(session->connect(), "LDAP Connect for the LDAP Server:%1% failed with error code:%2%")) {
      return false;
    }
    // The digest identity's realm is the server text, not a domain.
    if (!login.step(session->digestBind(userName, ldapServer, password),
                    "LDAP Bind for the LDAP Server:%1% failed with error code:%2%")) {
      return false;
    }
    return searchAndRead(*this, *session, login, userName, baseDN, &WindowsSystem::lookForAttributes, level);
  } catch (...) {
    session->unbind();
    return false;
  }
}

bool WindowsSystem::lookForAttributes(AccessLevel_& level, void* session, unsigned long entryCount,
                                      void* result) const {
  log_function_entry("utils::WindowsSystem::lookForAttributes");
  auto& directory = *static_cast<DirectorySession*>(session);
  const auto& entries = *static_cast<const std::vector<LdapEntry>*>(result);
  try {
    for (unsigned long index = 0; index < entryCount; ++index) {
      if (index >= entries.size()) {
        directory.unbind();
        return false;
      }
      for (const platform::LdapAttribute& attribute : entries[index].attributes) {
        if (!attribute.valuesReturned) {
          log_info("NO ATTRIBUTE VALUE RETURNED");
        } else if (attribute.values.empty()) {
          log_info("BAD VALUE LIST");
        } else {
          log_info("Attribute Name: %1%") % attribute.name;
          if (attribute.name == "memberOf") {
            log_info("got the memberOf details so trying to retreive the attribute values");
            // Only the first value counts, and only an exact "CN=Administrators" part.
            std::vector<std::string> parts;
            StringHelper::split(parts, attribute.values[0], ",");
            for (const std::string& part : parts) {
              log_info("strAttributeValue: %1%") % part;
              if (part == "CN=Administrators") {
                log_info("LDAP user has Admin access");
                level = FULL_ACCESS;
                directory.unbind();
                return true;
              }
              level = READ_ONLY_ACCESS;
            }
          } else {
            level = READ_ONLY_ACCESS;
          }
          for (std::size_t i = 1; i < attribute.values.size(); ++i) {
            log_info("Attribute array values: %1%") % attribute.values[i];
          }
        }
        std::cout << '\n';
      }
    }
  } catch (...) {
    level = READ_ONLY_ACCESS;
  }
  return false;
}

}  // namespace utils
