#include <utils/LDAPServer.h>
#include <utils/Log.h>
#include <utils/StringHelper.h>

#include "settings/Settings.h"

#include <vector>

namespace utils {

Server* Server::get_instance() { return LDAPServer::get_instance(); }

LDAPServer* LDAPServer::get_instance() {
  static LDAPServer instance;
  return &instance;
}

std::string LDAPServer::getServerDetials() const {
  log_function_entry("utils::LDAPServer::getServerDetials");
  std::string details;
  try {
    details = settings::current().ldapDnDetails();
    log_debug("strLDAPDNDetails:%1%") % details;
  } catch (...) {
    log_error("Exception generated during the LDAPServer::getServerDetials()");
  }
  return details;
}

bool LDAPServer::isServerDetailsValid() const {
  log_function_entry("utils::LDAPServer::isServerDetailsValid");
  try {
    const settings::Settings& configured = settings::current();
    const bool enabled = configured.ldapMode();
    log_debug("isLDAPEnabled:%1%") % enabled;
    if (!enabled) return false;
    const std::string servers = configured.ldapServer();
    log_debug("strLDAPServer:%1%") % servers;
    if (servers.empty()) return false;
    // A list of servers is no valid configuration; a trailing comma makes a list.
    std::vector<std::string> parts;
    StringHelper::split(parts, servers, ",");
    log_debug("LDAP Server strings.size():%1%") % parts.size();
    if (parts.size() != 1) return false;
    const Server& self = *this;
    return !self.getServerDetials().empty();
  } catch (...) {
    return false;
  }
}

}  // namespace utils
