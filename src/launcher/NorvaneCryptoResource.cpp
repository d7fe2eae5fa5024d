// Encrypted resource files: "<checksum>_<resource>" under AES-256-CBC with the key
// and IV texts of the store files, no header, PKCS#7 padding.
#include <launcher/NorvaneCrypto.h>

#include <json/Reader.h>
#include <launcher/Preferences.h>
#include <openssl/evp.h>
#include <utils/Log.h>
#include <utils/StringHelper.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "launcher/ResourceFiles.h"
#include "launcher/SecretStoreGuard.h"
#include "platform/Host.h"

namespace launcher {
namespace {

constexpr int kKeyBytes = 32;
constexpr int kIvBytes = 16;
// Room behind the plaintext for the padding block, with plenty to spare.
constexpr std::size_t kOutputSlack = 1024;
// Secret files are the owner's alone, whatever the umask.
constexpr unsigned kSecretFileMode = 0600;

struct ContextFree {
  void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};
using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, ContextFree>;

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

// The key and IV texts go to the cipher as characters: 32 hexadecimal digits as key
// bytes, 16 as IV bytes. After a failed derivation they are empty, and the cipher run
// is refused rather than handed bytes that do not exist.
bool usableKeyMaterial(const std::string& key, const std::string& iv) {
  return key.size() >= kKeyBytes && iv.size() >= kIvBytes;
}

const unsigned char* bytes(const std::string& text) { return reinterpret_cast<const unsigned char*>(text.data()); }

int checkedLength(std::size_t length) {
  if (length > static_cast<std::size_t>(INT_MAX) - kOutputSlack) throw std::length_error("resource too long");
  return static_cast<int>(length);
}

const char kEncryptName[] = "launcher::NorvaneCrypto::encrypt_str_to_file";
const char kDecryptName[] = "launcher::NorvaneCrypto::decrypt_file_to_str";

void deriveForEncryption(NorvaneCrypto& crypto, const StoreFiles& stores, std::string& key, std::string& iv) {
  utils::log_debug("NorvaneCrypto:encrypt - Derive key from KSF =>  Key = GenerateKey(GUID)");
  crypto.generateKey256(stores.keyStore, key);
  utils::log_debug("NorvaneCrypto:encrypt - Derive IV from VSF =>  IV = GenerateIV(GUID)");
  crypto.generateIV256(stores.valueStore, iv);
}

// The ciphertext of the first `length` bytes of text; false when any cipher call fails.
bool encipher(const std::string& text, int length, const std::string& key, const std::string& iv,
              std::vector<unsigned char>& cipherText) {
  cipherText.assign(static_cast<std::size_t>(length) + kOutputSlack, 0);
  CipherContext context(EVP_CIPHER_CTX_new());
  int updated = 0, finished = 0;
  if (!context || !usableKeyMaterial(key, iv) ||
      EVP_EncryptInit_ex(context.get(), EVP_aes_256_cbc(), nullptr, bytes(key), bytes(iv)) != 1 ||
      EVP_EncryptUpdate(context.get(), cipherText.data(), &updated, bytes(text), length) != 1 ||
      EVP_EncryptFinal_ex(context.get(), cipherText.data() + updated, &finished) != 1) {
    return false;
  }
  EVP_CIPHER_CTX_reset(context.get());
  cipherText.resize(static_cast<std::size_t>(updated + finished));
  return true;
}

// The whole file into cipherText. -1 when it cannot be read: a file that is not a
// regular one is refused before it is opened, as a FIFO would block the reader.
int readCipherText(const std::string& path, std::vector<unsigned char>& cipherText) {
  platform::FileSystem& files = platform::host().fileSystem();
  if (files.isSpecialFile(path)) {
    callReport().fileError = "not a regular file";
    return -1;
  }
  File file(std::fopen(path.c_str(), "rb"));
  if (!file) {
    callReport().fileError = std::strerror(errno);
    return -1;
  }
  std::fseek(file.get(), 0, SEEK_END);
  // A size that cannot be measured (-1) reads as far too long and is refused as such.
  const int cipherLength = checkedLength(static_cast<std::size_t>(std::ftell(file.get())));
  std::fseek(file.get(), 0, SEEK_SET);
  cipherText.assign(static_cast<std::size_t>(cipherLength), 0);
  (void)std::fread(cipherText.data(), 1, cipherText.size(), file.get());
  return cipherLength;
}

// Deciphers into plainText (one byte more for the terminating zero); -1 after the
// CRITICAL line of the call that failed.
int decipher(const std::vector<unsigned char>& cipherText, const std::string& key, const std::string& iv,
             std::vector<unsigned char>& plainText) {
  plainText.assign(cipherText.size() + 1, 0);
  CipherContext context(EVP_CIPHER_CTX_new());
  const char* failed = nullptr;
  int updated = 0, finished = 0;
  if (!context) {
    failed = "NorvaneCrypto:decrypt - Exception generated in %1% @EVP_CIPHER_CTX_new";
  } else if (!usableKeyMaterial(key, iv) ||
             EVP_DecryptInit_ex(context.get(), EVP_aes_256_cbc(), nullptr, bytes(key), bytes(iv)) != 1) {
    failed = "NorvaneCrypto:decrypt - Exception generated in %1% @EVP_DecryptInit_ex";
  } else if (EVP_DecryptUpdate(context.get(), plainText.data(), &updated, cipherText.data(),
                               static_cast<int>(cipherText.size())) != 1) {
    failed = "NorvaneCrypto:decrypt - Exception generated in %1% @EVP_DecryptUpdate";
  } else if (EVP_DecryptFinal_ex(context.get(), plainText.data() + updated, &finished) != 1) {
    failed = "NorvaneCrypto:decrypt - Exception generated in %1% @EVP_DecryptFinal_ex";
  }
  if (failed != nullptr) {
    utils::log_critical(failed) % kDecryptName;
    return -1;
  }
  EVP_CIPHER_CTX_reset(context.get());
  const int total = updated + finished;
  plainText[static_cast<std::size_t>(total)] = 0;
  return total;
}

// Splits "<checksum>_<resource>" and tests the checksum. -1 when there is no "_";
// a failed test only logs, and leaves the checksum in front.
int verify(NorvaneCrypto& crypto, const std::string& verified, std::string& resource) {
  utils::log_debug("NorvaneCrypto:decrypt - Decryption Success!");
  utils::log_debug("NorvaneCrypto:decrypt - Split checksum and Res");
  std::vector<std::string> parts;
  utils::StringHelper::split_first_occurance(parts, verified, "_");
  if (parts.size() != 2) {
    utils::log_error("NorvaneCrypto:decrypt - Checksum not found with the V-Res %1%") % kDecryptName;
    callReport().integrityPassed = false;
    return -1;
  }
  const int stored = utils::StringHelper::to_int(parts[0]);
  utils::log_debug("NorvaneCrypto:decrypt - Get checksum for Res");
  int checksum = 0;
  crypto.getchecksum(parts[1], checksum);
  utils::log_debug("NorvaneCrypto:decrypt - Perform data integrity test");
  if (stored == checksum) {
    resource = parts[1];
    utils::log_debug("NorvaneCrypto:decrypt - Data integrity test pass");
  } else {
    // Reported through the log only: the caller keeps the text with its checksum.
    utils::log_error("NorvaneCrypto:decrypt - Data Integrity test failed during decryption process %1%") %
        kDecryptName;
    callReport().integrityPassed = false;
  }
  return 0;
}

// "<what> at line L, column C": lines and columns from one, as editors count them.
std::string placeOf(const char* what, const json::Reader::Location& where) {
  return std::string(what) + " at line " + std::to_string(where.m_nLine + 1) + ", column " +
         std::to_string(where.m_nLineOffset + 1);
}

}  // namespace

json::Object parseDeciphered(const std::string& text) {
  json::Object object;
  std::istringstream in(text);
  try {
    json::Reader::Read(object, in);
  } catch (const json::Reader::ParseException& error) {
    throw json::Reader::ParseException(placeOf("the deciphered document does not parse", error.m_locTokenBegin),
                                       error.m_locTokenBegin, error.m_locTokenEnd);
  } catch (const json::Reader::ScanException& error) {
    throw json::Reader::ScanException(placeOf("the deciphered document does not scan", error.m_locError),
                                      error.m_locError);
  }
  return object;
}

NorvaneCrypto::CallReport& callReport() {
  thread_local NorvaneCrypto::CallReport report;
  return report;
}

NorvaneCrypto::CallReport NorvaneCrypto::lastCallReport() { return callReport(); }

void NorvaneCrypto::getchecksum(std::string resource, int& checksum) {
  utils::log_function_entry("launcher::NorvaneCrypto::getchecksum");
  checksum = utils::StringHelper::getStringArrayHashCode(resource);
}

int encipherToFile(NorvaneCrypto& crypto, std::string& resource, int& encryptedLength, const std::string& namedPath,
                   const StoreFiles& stores, const std::string& writtenPath) {
  utils::log_debug("NorvaneCrypto:encrypt - get checksum for the Res");
  int checksum = 0;
  crypto.getchecksum(resource, checksum);
  utils::log_debug("NorvaneCrypto:encrypt - Append checksum to the Res =>  V-Res");
  std::ostringstream verified;
  verified << checksum << "_" << resource;
  resource = verified.str();
  // The plaintext ends at the first zero byte, though the checksum covered it all.
  const int length = checkedLength(std::strlen(resource.c_str()));
  std::string key, iv;
  deriveForEncryption(crypto, stores, key, iv);

  utils::log_debug("NorvaneCrypto:encrypt - Encrypt(V-Res, Key, IV)");
  std::vector<unsigned char> cipherText;
  if (!encipher(resource, length, key, iv, cipherText)) {
    // Every cipher failure reports the same line, naming the context allocation.
    utils::log_critical("NorvaneCrypto:encrypt - Exception generated in %1% @EVP_CIPHER_CTX_new") % kEncryptName;
    return -1;
  }
  encryptedLength = static_cast<int>(cipherText.size());
  utils::log_debug("NorvaneCrypto:encrypt - Encryption success");
  utils::log_debug("Write encrypted data to a file in binary format");
  // The file is replaced whole or not at all: a failed write leaves the old secret.
  std::string reason;
  if (!platform::host().fileSystem().writeWholeFile(
          writtenPath, std::string(cipherText.begin(), cipherText.end()), kSecretFileMode, reason)) {
    callReport().fileError = reason;
    utils::log_error("NorvaneCrypto:encrypt - File was not created : %1% in %2%") % namedPath % kEncryptName;
    return -1;
  }
  return encryptedLength;
}

int NorvaneCrypto::encrypt_str_to_file(std::string& resource, int& encryptedLength, std::string& filePath) {
  utils::log_function_entry(kEncryptName);
  callReport() = CallReport();
  try {
    SecretStoreGuard hold(SecretStoreGuard::kWrite);
    Preferences* preferences = Preferences::get_instance();
    const StoreFiles stores{preferences->get_key_store_loc(), preferences->get_value_store_loc()};
    return encipherToFile(*this, resource, encryptedLength, filePath, stores, filePath);
  } catch (...) {
    utils::log_error("NorvaneCrypto:encrypt - Unknown exception during encryption process %1%") % kEncryptName;
    return -1;
  }
}

int NorvaneCrypto::decrypt_file_to_str(std::string& filePath, std::string& resource) {
  utils::log_function_entry(kDecryptName);
  callReport() = CallReport();
  try {
    SecretStoreGuard hold(SecretStoreGuard::kRead);
    Preferences* preferences = Preferences::get_instance();
    utils::log_debug("NorvaneCrypto:decrypt - Derive key from KSF => Key = GenerateKey(GUID)");
    std::string key;
    generateKey256(preferences->get_key_store_loc(), key);
    utils::log_debug("NorvaneCrypto:decrypt - Derive IV from VSF =>  IV = GenerateIV(GUID)");
    std::string iv;
    generateIV256(preferences->get_value_store_loc(), iv);

    utils::log_debug("NorvaneCrypto:decrypt - Read encrypted resource from file");
    std::vector<unsigned char> encMsg;
    const int cipherLength = readCipherText(filePath, encMsg);
    if (cipherLength < 0) {
      utils::log_error("NorvaneCrypto:decrypt - Reading of file %1% failed during decryption:%2%") % filePath %
          kDecryptName;
      return -1;
    }
    if (cipherLength == 0) {
      // The format names only the second argument; the path is fed and not shown.
      utils::log_error("NorvaneCrypto:decrypt - File having empty content during decryption:%2%") % filePath %
          kDecryptName;
      return 0;
    }
    utils::log_debug("NorvaneCrypto:decrypt - Decrypt(EncRes, Key, IV) ==>  V-Res");
    std::vector<unsigned char> decMsg;
    const int total = decipher(encMsg, key, iv, decMsg);
    if (total < 0) return -1;
    const std::string verified(reinterpret_cast<const char*>(decMsg.data()));
    resource = verified;
    if (verify(*this, verified, resource) < 0) return -1;
    utils::log_debug("NorvaneCrypto:decrypt - Return the Res to the caller");
    return total;
  } catch (...) {
    utils::log_error("NorvaneCrypto:decrypt - Unknown exception during decryption process %1%") % kDecryptName;
    return -1;
  }
}

}  // namespace launcher
