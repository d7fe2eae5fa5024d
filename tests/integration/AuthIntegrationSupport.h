// Scenery of the login integration tests: a throw-away slapd on loopback.
#pragma once

#include <string>

#include "support/TempInstallation.h"

namespace authit {

// slapd with a configuration and database of its own in a temporary directory,
// listening on ldap://127.0.0.1:port and ldaps://127.0.0.1:tlsPort with a
// self-signed certificate for 127.0.0.1. Suffix dc=example,dc=com; the users'
// passwords are stored in clear text (DIGEST-MD5 needs them), and a SASL name
// maps to cn=<name>,dc=example,dc=com.
class Slapd {
 public:
  explicit Slapd(const std::string& ldif);  // entries below the suffix
  ~Slapd();                                 // stops the server; the directory goes
  Slapd(const Slapd&) = delete;
  Slapd& operator=(const Slapd&) = delete;

  bool running() const { return m_pid > 0; }
  const std::string& failure() const { return m_failure; }  // why it is not running
  int port() const { return m_port; }
  int tlsPort() const { return m_tlsPort; }
  std::string certificate() const { return m_directory + "/cert.pem"; }

 private:
  testsupport::TempInstallation m_scratch;  // removed after the server has stopped
  std::string m_directory = m_scratch.root();
  std::string m_failure;
  int m_pid = -1;
  int m_port = 0;
  int m_tlsPort = 0;
};

}  // namespace authit
