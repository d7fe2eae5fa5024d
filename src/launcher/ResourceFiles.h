// Internal pieces of the encrypted resource files that the re-key shares.
#pragma once

#include <json/Object.h>
#include <launcher/NorvaneCrypto.h>

#include <string>

namespace launcher {

struct StoreFiles {
  std::string keyStore;
  std::string valueStore;
};

// encrypt_str_to_file under the given store files, writing `writtenPath` while the
// log names `namedPath`: the re-key writes beside the file it replaces.
int encipherToFile(NorvaneCrypto& crypto, std::string& resource, int& encryptedLength, const std::string& namedPath,
                   const StoreFiles& stores, const std::string& writtenPath);

// Parses deciphered text as a JSON object. The reader's exceptions quote the text,
// which is a secret here: they are thrown again saying only where it fails.
json::Object parseDeciphered(const std::string& text);

// The per-thread report of the last call (see NorvaneCrypto::lastCallReport).
NorvaneCrypto::CallReport& callReport();

}  // namespace launcher
