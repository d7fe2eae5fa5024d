// An LDAP client (OpenLDAP's libldap on Linux). Sessions hand up result codes and
// entries; the login sequence and the reading of memberOf live in
// utils::WindowsSystem.
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace platform {

struct LdapAttribute {
  std::string name;
  bool valuesReturned = true;  // false: the client gave no value list at all
  std::vector<std::string> values;
};

struct LdapEntry {
  std::vector<LdapAttribute> attributes;  // in the order the server sent them
};

// One connection to a directory server. Every operation answers with the client's
// result code, 0 on success.
class DirectorySession {
 public:
  virtual ~DirectorySession() = default;
  virtual int setProtocolVersion(int version) = 0;
  // Whether the session runs over TLS (1) or not (0).
  virtual int getTls(int& on) = 0;
  // Demands TLS for the session.
  virtual int setTlsOn() = 0;
  virtual int connect() = 0;
  // Plain bind with a distinguished name and password.
  virtual int simpleBind(const std::string& name, const std::string& password) = 0;
  // DIGEST-MD5 bind: authentication id, realm and password.
  virtual int digestBind(const std::string& user, const std::string& realm, const std::string& password) = 0;
  // Search of the one entry named base (base scope), all attributes with values.
  virtual int searchBase(const std::string& base, const std::string& filter, std::vector<LdapEntry>& entries) = 0;
  // Ends the session. Calling it again does nothing.
  virtual void unbind() = 0;
};

class Directory {
 public:
  virtual ~Directory() = default;
  // A session to server:port, over TLS from the start when tls is set; null when
  // the client refuses the address.
  virtual std::unique_ptr<DirectorySession> open(const std::string& server, unsigned long port, bool tls) = 0;
  // The client's text for a result code.
  virtual std::string errorText(int code) = 0;
};

}  // namespace platform
