#include "tools/ConsoleTestSupport.h"

#include <launcher/NorvaneCrypto.h>
#include <launcher/Preferences.h>
#include <utils/MachineStore.h>

#include <iostream>

#include "support/ChildProcess.h"

NORVANE_CHILD(decipher_smtp_file) {
  utils::MachineStore::setRoot(args.at(0));
  std::string path = launcher::Preferences::get_instance()->get_smtp_server_loc();
  std::string resource;
  const int result = launcher::NorvaneCrypto::get_instance()->decrypt_file_to_str(path, resource);
  std::cout << result << "|" << resource << std::flush;
  return 0;
}

namespace consoletest {

std::string ConsoleHome::smtpServers() const {
  return testsupport::runChild("decipher_smtp_file", {storeRoot()}).output;
}

}  // namespace consoletest
