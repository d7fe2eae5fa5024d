// Key material of the secret store: the two store files and the derivation of the
// key text, the IV text and the salt from them and from the adapter address.
#include <launcher/NorvaneCrypto.h>

#include <launcher/Preferences.h>
#include <openssl/evp.h>
#include <openssl/sha.h>
#include <utils/FileHelper.h>
#include <utils/Log.h>
#include <utils/RandomGenerator.h>
#include <utils/SharedMutex.h>
#include <utils/StringHelper.h>
#include <utils/System.h>
#include <utils/UniqueLock_SMutex.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "launcher/ResourceFiles.h"
#include "launcher/SecretStoreGuard.h"
#include "platform/Host.h"

namespace launcher {

utils::SharedMutex NorvaneCrypto::m_key_read_write_mutex;

namespace {

constexpr int kPasswordLength = 8;
constexpr int kSaltLength = 8;
constexpr int kIterations = 10000;
constexpr int kBlockLength = 128;
constexpr unsigned kStoreFileMode = 0600;

// The last PBKDF2 run, keyed by exactly what went into it. PBKDF2 is a pure function
// of its arguments, so a hit gives the same block a new run would; it only spares the
// 80,000 HMAC rounds on the repeated calls of one installation. Guarded by
// m_key_read_write_mutex, which every derivation holds.
struct Pbkdf2Memo {
  bool filled = false;
  unsigned char password[kPasswordLength];
  char salt[kSaltLength];
  unsigned char block[kBlockLength];
};
Pbkdf2Memo g_memo;

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

// The whole content of a store file, read as the derivations define it: opened in
// text mode, measured by seeking to its end. False with the CRITICAL line of the
// caller's tag ("key256" or "IV256") when it cannot be opened or holds nothing.
bool readStoreFile(const std::string& path, const char* openFailed, const char* invalid,
                   std::vector<char>& content) {
  // A FIFO or device would block the reader or feed it without end: refused as unreadable.
  File file(platform::host().fileSystem().isSpecialFile(path) ? nullptr : std::fopen(path.c_str(), "r"));
  if (!file) {
    utils::log_critical(openFailed) % path;
    return false;
  }
  std::fseek(file.get(), 0, SEEK_END);
  const long size = std::ftell(file.get());
  if (size <= 0) {
    utils::log_critical(invalid) % path;
    return false;
  }
  std::fseek(file.get(), 0, SEEK_SET);
  content.assign(static_cast<std::size_t>(size), '\0');
  // A short read leaves zero bytes behind what was read, as a fresh buffer would.
  (void)std::fread(content.data(), 1, content.size(), file.get());
  return true;
}

// SHA-256 of the bytes, each digest byte printed as "%02x".
std::string sha256Hex(const void* data, std::size_t length) {
  unsigned char digest[SHA256_DIGEST_LENGTH];
  SHA256(static_cast<const unsigned char*>(data), length, digest);
  static const char kDigits[] = "0123456789abcdef";
  std::string text(2 * SHA256_DIGEST_LENGTH, '0');
  for (int i = 0; i < SHA256_DIGEST_LENGTH; ++i) {
    text[2 * i] = kDigits[digest[i] >> 4];
    text[2 * i + 1] = kDigits[digest[i] & 0x0f];
  }
  return text;
}

}  // namespace

NorvaneCrypto* NorvaneCrypto::get_instance() {
  static NorvaneCrypto instance;
  return &instance;
}

void NorvaneCrypto::generateKeys() {
  utils::log_function_entry("launcher::NorvaneCrypto::generateKeys");
  Preferences* preferences = Preferences::get_instance();
  generateStoreFile(preferences->get_key_store_loc(), false);
  generateStoreFile(preferences->get_value_store_loc(), false);
}

void NorvaneCrypto::generateStoreFile(std::string path, bool force) {
  utils::log_function_entry("launcher::NorvaneCrypto::generateStoreFile");
  SecretStoreGuard store(SecretStoreGuard::kWrite);
  utils::UniqueLock_SMutex hold(&m_key_read_write_mutex, false);
  // Without force only an existing, empty file is filled; a missing one stays missing.
  if (!force && utils::FileHelper::getFileSize(path) != 0) return;
  const std::string uuid = utils::RandomGenerator::generate();
  // Whole or not at all, and the owner's alone: a half-written store file would make
  // every secret unreadable. A failure stays silent, as the stream's did.
  std::string reason;
  if (!platform::host().fileSystem().writeWholeFile(path, uuid, kStoreFileMode, reason)) {
    callReport().fileError = reason;
  }
}

void NorvaneCrypto::generateSalt256(std::string& salt) {
  // No lock here: generateKey256 calls this while it holds the (not re-entrant) mutex.
  utils::log_function_entry("launcher::NorvaneCrypto::generateSalt256");
  std::string address = utils::System::get_instance()->getMACAddress();
  utils::StringHelper::to_lower(address);
  salt = sha256Hex(address.data(), address.size());
}

void NorvaneCrypto::getUID(std::string& uid) {
  utils::log_function_entry("launcher::NorvaneCrypto::getUID");
  std::string address = utils::System::get_instance()->getMACAddress();
  utils::StringHelper::to_lower(address);
  uid = address;
}

void NorvaneCrypto::generateKey256(std::string path, std::string& key) {
  utils::log_function_entry("launcher::NorvaneCrypto::generateKey256");
  SecretStoreGuard store(SecretStoreGuard::kRead);
  utils::UniqueLock_SMutex hold(&m_key_read_write_mutex, false);
  utils::log_debug("NorvaneCrypto:key256 - Read GUID from KSF");
  std::vector<char> content;
  if (!readStoreFile(path, "NorvaneCrypto:key256 - Reading of %1% file failed",
                     "NorvaneCrypto:key256 - Invalid file content - %1% ", content)) {
    return;
  }
  utils::log_debug("NorvaneCrypto:key256 - Salt Generation:");
  std::string salt;
  generateSalt256(salt);

  utils::log_debug("NorvaneCrypto:key256 - Encrypt GUID with SALT");
  // The password is always 8 bytes long; a shorter store file is followed by zero
  // bytes up to 8 rather than by whatever lies behind it in memory.
  unsigned char password[kPasswordLength] = {};
  std::memcpy(password, content.data(), std::min<std::size_t>(content.size(), kPasswordLength));
  // The salt is the first 8 characters of the salt text, not digest bytes.
  char saltBytes[kSaltLength] = {};
  std::memcpy(saltBytes, salt.data(), std::min<std::size_t>(salt.size(), kSaltLength));
  if (!g_memo.filled || std::memcmp(g_memo.password, password, kPasswordLength) != 0 ||
      std::memcmp(g_memo.salt, saltBytes, kSaltLength) != 0) {
    g_memo.filled = false;
    (void)PKCS5_PBKDF2_HMAC(reinterpret_cast<const char*>(password), kPasswordLength,
                            reinterpret_cast<const unsigned char*>(saltBytes), kSaltLength, kIterations,
                            EVP_md5(), kBlockLength, g_memo.block);
    std::memcpy(g_memo.password, password, kPasswordLength);
    std::memcpy(g_memo.salt, saltBytes, kSaltLength);
    g_memo.filled = true;
  }
  // The block counts as text: it ends at its first zero byte, or after all 128.
  const void* zero = std::memchr(g_memo.block, 0, kBlockLength);
  const std::size_t blockText =
      zero != nullptr ? static_cast<std::size_t>(static_cast<const unsigned char*>(zero) - g_memo.block)
                      : kBlockLength;

  utils::log_debug("NorvaneCrypto:key256 - Make key128 to key256");
  key = sha256Hex(g_memo.block, blockText);
}

void NorvaneCrypto::generateIV256(std::string path, std::string& iv) {
  utils::log_function_entry("launcher::NorvaneCrypto::generateIV256");
  SecretStoreGuard store(SecretStoreGuard::kRead);
  utils::UniqueLock_SMutex hold(&m_key_read_write_mutex, false);
  utils::log_debug("NorvaneCrypto:IV256 - Read GUID from VSF");
  std::vector<char> content;
  if (!readStoreFile(path, "NorvaneCrypto:IV256 - Reading of %1% file failed",
                     "NorvaneCrypto:IV256 - Invalid file content - %1% ", content)) {
    return;
  }
  utils::log_debug("NorvaneCrypto:IV256 - Make IV 256");
  iv = sha256Hex(content.data(), content.size());
}

}  // namespace launcher
