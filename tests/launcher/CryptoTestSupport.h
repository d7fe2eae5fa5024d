// Shared by the secret store tests: the process-wide installation of the System tests
// (everything logged, unbuffered), a fake adapter address so the derivation is fixed,
// store files of known content, and independent tools to check against: Python's
// hashlib for the derivation, the openssl command for the file format.
#pragma once

#include "support/TestPrelude.h"
#include <launcher/NorvaneCrypto.h>

#include "support/FakeHost.h"
#include "support/TempInstallation.h"
#include "support/ToolRun.h"
#include "utils/SystemTestSupport.h"

namespace cryptotest {

using testsupport::commandOutput;
using testsupport::readFile;
using testsupport::writeFile;

inline const std::string kMac = "00:1A:2B:3C:4D:5E";
inline const std::string kKeyStoreText = "3f2a9c1e-7b4d-4e8a-9c2f-1a2b3c4d5e6f";
inline const std::string kValueStoreText = "0d9e8f7a-1111-4222-8333-944455556666";

inline launcher::NorvaneCrypto& crypto() { return *launcher::NorvaneCrypto::get_instance(); }

inline std::string bin() {
  const std::string& log = systemtest::InstallationEnvironment::s_logPath;
  return log.substr(0, log.size() - std::string("/logs/norvane.txt").size()) + "/bin";
}
inline std::string keyStore() { return bin() + "/key.store"; }
inline std::string valueStore() { return bin() + "/value.store"; }
inline std::string managedServers() { return bin() + "/managedservers/"; }
inline std::string smtpFile() { return bin() + "/smtpServer"; }

inline std::string hex(const std::string& bytes) {
  static const char digits[] = "0123456789abcdef";
  std::string text;
  for (unsigned char c : bytes) text += {digits[c >> 4], digits[c & 15]};
  return text;
}

// The salt, key and IV texts as Python computes them: "<salt> <key> <iv> <cut>",
// <cut> the length of the derived block up to its first zero byte.
inline std::string pythonDerivation(const std::string& mac, const std::string& keyStoreContent,
                                    const std::string& valueStoreContent) {
  const char* script =
      "import hashlib,sys\n"
      "mac,ksf,vsf=[bytes.fromhex(a) for a in sys.argv[1:4]]\n"
      "salt=hashlib.sha256(mac.lower()).hexdigest()\n"
      "block=hashlib.pbkdf2_hmac('md5',(ksf+bytes(8))[:8],salt[:8].encode(),10000,128)\n"
      "cut=block.split(bytes(1))[0]\n"
      "print(salt,hashlib.sha256(cut).hexdigest(),hashlib.sha256(vsf).hexdigest(),len(cut),end='')\n";
  // Debian's interpreter when there is one: a version manager's shim costs a second a call.
  const std::string python = access("/usr/bin/python3", X_OK) == 0 ? "/usr/bin/python3" : "python3";
  return commandOutput(python + " -c \"" + std::string(script) + "\" '" + hex(mac) + "' '" + hex(keyStoreContent) +
                       "' '" + hex(valueStoreContent) + "' 2>&1");
}

// openssl enc with the key and IV texts used as characters, as the store uses them.
inline std::string opensslArgs(const std::string& key, const std::string& iv) {
  return "openssl enc -aes-256-cbc -K " + hex(key.substr(0, 32)) + " -iv " + hex(iv.substr(0, 16));
}

// The warning, error and critical lines logged since the mark, each ended by "\n".
inline std::string problems(const systemtest::LogMark& mark) {
  std::string text;
  for (const std::string& line : mark.entries())
    for (const char* level : {"Warning: ", "Error: ", "Critical: "}) text += line.rfind(level, 0) == 0 ? line + "\n" : "";
  return text;
}

// A fake adapter and a fresh <home>/bin with both store files.
class CryptoTest : public testing::Test {
 protected:
  void SetUp() override {
    fake.net.useMACAddress(kMac);
    std::filesystem::remove_all(bin());
    std::filesystem::create_directories(managedServers());
    writeFile(keyStore(), kKeyStoreText);
    writeFile(valueStore(), kValueStoreText);
  }
  void TearDown() override { std::filesystem::remove_all(bin()); }

  std::string key() { return derived(keyStore(), true); }
  std::string iv() { return derived(valueStore(), false); }
  static std::string derived(const std::string& store, bool key) {
    std::string text;
    key ? crypto().generateKey256(store, text) : crypto().generateIV256(store, text);
    return text;
  }

  testsupport::ScopedFakeHost fake;
};

}  // namespace cryptotest
