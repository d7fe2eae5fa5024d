// A directory server a login can be checked against. The one kind there is, LDAP,
// is reached through get_instance().
#pragma once

#include <NorvaneExport.h>

#include <string>

namespace utils {

class NORVANE_API Server {
 public:
  // The LDAPServer singleton.
  static Server* get_instance();

  // Whether the settings describe one usable server.
  virtual bool isServerDetailsValid() const = 0;
  // The server's details from the settings (the LDAP base DN).
  virtual std::string getServerDetials() const = 0;

  Server() = default;
  Server(const Server&) = default;
  Server& operator=(const Server&) = default;

 protected:
  ~Server() = default;  // never deleted through this class: the singleton lives for ever
};

}  // namespace utils
