// LDAP login settings: whether LDAP login is configured with exactly one server,
// and its base DN ("dn_details").
#pragma once

#include <NorvaneExport.h>
#include <utils/Server.h>

#include <string>

namespace utils {

class NORVANE_API LDAPServer : public Server {
 public:
  static LDAPServer* get_instance();

  // True when ldap_mode is on, ldap_server names exactly one server and
  // getServerDetials() is not empty; false on any exception.
  bool isServerDetailsValid() const override;
  // The dn_details setting; "" after an exception.
  std::string getServerDetials() const override;

 protected:
  ~LDAPServer() = default;
};

}  // namespace utils
