// Encrypted resource files: "<checksum>_<resource>" under AES-256-CBC with the key
// and IV texts of the store files, no header, PKCS#7 padding.
#include <launcher/NorvaneCrypto.h>

#include <launcher/Preferences.h>
#include <openssl/evp.h>
#include <utils/FileHelper.h>
#include <utils/Log.h>
#include <utils/StringHelper.h>

#include <climits>
#include <cstdio>
#include <cstring>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace launcher {
namespace {

constexpr int kKeyBytes = 32;
constexpr int kIvBytes = 16;
// Room behind the plaintext for the padding block, with plenty to spare.
constexpr std::size_t kOutputSlack = 1024;

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

}  // namespace

void NorvaneCrypto::getchecksum(std::string resource, int& checksum) {
  utils::log_function_entry("launcher::NorvaneCrypto::getchecksum");
  checksum = utils::StringHelper::getStringArrayHashCode(resource);
}

int NorvaneCrypto::encrypt_str_to_file(std::string& resource, int& encryptedLength, std::string& filePath) {
  utils::log_function_entry(kEncryptName);
  try {
    utils::log_debug("NorvaneCrypto:encrypt - get checksum for the Res");
    int checksum = 0;
    getchecksum(resource, checksum);
    utils::log_debug("NorvaneCrypto:encrypt - Append checksum to the Res =>  V-Res");
    std::ostringstream verified;
    verified << checksum << "_" << resource;
    resource = verified.str();
    // The plaintext ends at the first zero byte, though the checksum covered it all.
    const int length = checkedLength(std::strlen(resource.c_str()));

    Preferences* preferences = Preferences::get_instance();
    utils::log_debug("NorvaneCrypto:encrypt - Derive key from KSF =>  Key = GenerateKey(GUID)");
    std::string key;
    generateKey256(preferences->get_key_store_loc(), key);
    utils::log_debug("NorvaneCrypto:encrypt - Derive IV from VSF =>  IV = GenerateIV(GUID)");
    std::string iv;
    generateIV256(preferences->get_value_store_loc(), iv);

    utils::log_debug("NorvaneCrypto:encrypt - Encrypt(V-Res, Key, IV)");
    std::vector<unsigned char> cipherText(static_cast<std::size_t>(length) + kOutputSlack);
    CipherContext context(EVP_CIPHER_CTX_new());
    int updated = 0, finished = 0;
    // Every cipher failure reports the same line, naming the context allocation.
    if (!context || !usableKeyMaterial(key, iv) ||
        EVP_EncryptInit_ex(context.get(), EVP_aes_256_cbc(), nullptr, bytes(key), bytes(iv)) != 1 ||
        EVP_EncryptUpdate(context.get(), cipherText.data(), &updated, bytes(resource), length) != 1 ||
        EVP_EncryptFinal_ex(context.get(), cipherText.data() + updated, &finished) != 1) {
      utils::log_critical("NorvaneCrypto:encrypt - Exception generated in %1% @EVP_CIPHER_CTX_new") % kEncryptName;
      return -1;
    }
    EVP_CIPHER_CTX_reset(context.get());
    encryptedLength = updated + finished;
    utils::log_debug("NorvaneCrypto:encrypt - Encryption success");
    utils::log_debug("Write encrypted data to a file in binary format");

    // "wb" empties an existing file at once: its old content is gone from here on.
    File file(std::fopen(filePath.c_str(), "wb"));
    if (!file) {
      utils::log_error("NorvaneCrypto:encrypt - File was not created : %1% in %2%") % filePath % kEncryptName;
      return -1;
    }
    // The rights are set while the file is still empty, before any secret is in it.
    utils::FileHelper::applyNorvaneFilePermission(filePath);
    (void)std::fwrite(cipherText.data(), 1, static_cast<std::size_t>(encryptedLength), file.get());
    file.reset();
    return encryptedLength;
  } catch (...) {
    utils::log_error("NorvaneCrypto:encrypt - Unknown exception during encryption process %1%") % kEncryptName;
    return -1;
  }
}

int NorvaneCrypto::decrypt_file_to_str(std::string& filePath, std::string& resource) {
  utils::log_function_entry(kDecryptName);
  try {
    Preferences* preferences = Preferences::get_instance();
    utils::log_debug("NorvaneCrypto:decrypt - Derive key from KSF => Key = GenerateKey(GUID)");
    std::string key;
    generateKey256(preferences->get_key_store_loc(), key);
    utils::log_debug("NorvaneCrypto:decrypt - Derive IV from VSF =>  IV = GenerateIV(GUID)");
    std::string iv;
    generateIV256(preferences->get_value_store_loc(), iv);

    utils::log_debug("NorvaneCrypto:decrypt - Read encrypted resource from file");
    File file(std::fopen(filePath.c_str(), "rb"));
    if (!file) {
      utils::log_error("NorvaneCrypto:decrypt - Reading of file %1% failed during decryption:%2%") % filePath %
          kDecryptName;
      return -1;
    }
    std::fseek(file.get(), 0, SEEK_END);
    const long size = std::ftell(file.get());
    if (size == 0) {
      // The format names only the second argument; the path is fed and not shown.
      utils::log_error("NorvaneCrypto:decrypt - File having empty content during decryption:%2%") % filePath %
          kDecryptName;
      return 0;
    }
    if (size < 0) throw std::runtime_error("file cannot be measured");
    const int cipherLength = checkedLength(static_cast<std::size_t>(size));
    std::fseek(file.get(), 0, SEEK_SET);
    std::vector<unsigned char> encMsg(static_cast<std::size_t>(cipherLength));
    (void)std::fread(encMsg.data(), 1, encMsg.size(), file.get());
    file.reset();

    utils::log_debug("NorvaneCrypto:decrypt - Decrypt(EncRes, Key, IV) ==>  V-Res");
    // One byte more than the ciphertext for the zero that ends the plaintext.
    std::vector<unsigned char> decMsg(static_cast<std::size_t>(cipherLength) + 1);
    CipherContext context(EVP_CIPHER_CTX_new());
    if (!context) {
      utils::log_critical("NorvaneCrypto:decrypt - Exception generated in %1% @EVP_CIPHER_CTX_new") % kDecryptName;
      return -1;
    }
    if (!usableKeyMaterial(key, iv) ||
        EVP_DecryptInit_ex(context.get(), EVP_aes_256_cbc(), nullptr, bytes(key), bytes(iv)) != 1) {
      utils::log_critical("NorvaneCrypto:decrypt - Exception generated in %1% @EVP_DecryptInit_ex") % kDecryptName;
      return -1;
    }
    int updated = 0, finished = 0;
    if (EVP_DecryptUpdate(context.get(), decMsg.data(), &updated, encMsg.data(), cipherLength) != 1) {
      utils::log_critical("NorvaneCrypto:decrypt - Exception generated in %1% @EVP_DecryptUpdate") % kDecryptName;
      return -1;
    }
    if (EVP_DecryptFinal_ex(context.get(), decMsg.data() + updated, &finished) != 1) {
      utils::log_critical("NorvaneCrypto:decrypt - Exception generated in %1% @EVP_DecryptFinal_ex") % kDecryptName;
      return -1;
    }
    EVP_CIPHER_CTX_reset(context.get());
    const int total = updated + finished;
    decMsg[static_cast<std::size_t>(total)] = 0;
    const std::string verified(reinterpret_cast<const char*>(decMsg.data()));
    resource = verified;

    utils::log_debug("NorvaneCrypto:decrypt - Decryption Success!");
    utils::log_debug("NorvaneCrypto:decrypt - Split checksum and Res");
    std::vector<std::string> parts;
    utils::StringHelper::split_first_occurance(parts, verified, "_");
    if (parts.size() != 2) {
      utils::log_error("NorvaneCrypto:decrypt - Checksum not found with the V-Res %1%") % kDecryptName;
      return -1;
    }
    const int stored = utils::StringHelper::to_int(parts[0]);
    utils::log_debug("NorvaneCrypto:decrypt - Get checksum for Res");
    int checksum = 0;
    getchecksum(parts[1], checksum);
    utils::log_debug("NorvaneCrypto:decrypt - Perform data integrity test");
    if (stored == checksum) {
      resource = parts[1];
      utils::log_debug("NorvaneCrypto:decrypt - Data integrity test pass");
    } else {
      // Reported through the log only: the caller keeps the text with its checksum.
      utils::log_error("NorvaneCrypto:decrypt - Data Integrity test failed during decryption process %1%") %
          kDecryptName;
    }
    utils::log_debug("NorvaneCrypto:decrypt - Return the Res to the caller");
    return total;
  } catch (...) {
    utils::log_error("NorvaneCrypto:decrypt - Unknown exception during decryption process %1%") % kDecryptName;
    return -1;
  }
}

}  // namespace launcher
