// The secret store: passwords of managed servers and of the mail server kept in
// files enciphered with AES-256-CBC under a key that no file holds.
//
// Key and IV are worked out afresh on every call from the two store files (key.store
// and value.store, one random UUID each) and the host's network adapter address, so
// store files copied to another host give another key. A resource file holds
// "<checksum>_<resource>" enciphered, nothing else.
//
//   std::string secret = "s3cret";            // replaced by "<checksum>_s3cret"
//   int length = 0;
//   std::string path = preferences.get_smtp_server_loc();
//   if (NorvaneCrypto::get_instance()->encrypt_str_to_file(secret, length, path) == -1) ...
//   std::string back;
//   if (NorvaneCrypto::get_instance()->decrypt_file_to_str(path, back) == -1) ...
//
// None of the key material is ever logged or printed.
#pragma once

#include <NorvaneExport.h>

#include <string>

namespace utils {
class SharedMutex;
}

namespace launcher {

class NORVANE_API NorvaneCrypto {
 public:
  // The one instance; never null.
  static NorvaneCrypto* get_instance();

  // Do nothing: the store holds no state.
  NorvaneCrypto& operator=(const NorvaneCrypto&) { return *this; }
  NorvaneCrypto& operator=(NorvaneCrypto&&) { return *this; }

  // ---- key material -------------------------------------------------------------
  // Every call below holds the store's cross-process lock for its whole run (shared
  // for reads, exclusive for writes) and first finishes or undoes a re-key that a
  // dead process left behind.
  //
  // Fills the key and value store files when they exist and are empty. A missing
  // store file stays missing: an installer creates both, empty, beforehand.
  void generateKeys();
  // Writes a new random UUID (36 characters, no line end) into path. Without force
  // only an existing empty file is written; with force any file, missing or not.
  void generateStoreFile(std::string path, bool force);
  // 64 lower-case hexadecimal characters derived from the first 8 bytes of the key
  // store file and the salt. On failure key stays as it was and the log says why.
  void generateKey256(std::string path, std::string& key);
  // 64 lower-case hexadecimal characters: SHA-256 of the whole value store file.
  void generateIV256(std::string path, std::string& iv);
  // SHA-256, in hexadecimal, of the lower-cased adapter address text.
  void generateSalt256(std::string& salt);
  // The lower-cased adapter address text ("0" when no adapter could be read).
  void getUID(std::string& uid);

  // ---- resource files ------------------------------------------------------------
  // Replaces resource by "<checksum>_<resource>" (also when the call fails), enciphers
  // it up to its first zero byte and replaces the file whole (owner-only), or leaves
  // the old one as it was.
  // Gives the number of bytes written (also set in encryptedLength) or -1.
  int encrypt_str_to_file(std::string& resource, int& encryptedLength, std::string& filePath);
  // Deciphers filePath into resource. Gives the length of the whole plaintext,
  // checksum and "_" included; 0 for an empty file (resource untouched); -1 on
  // failure. A failed integrity test only logs: resource then keeps the checksum.
  int decrypt_file_to_str(std::string& filePath, std::string& resource);
  // The 32-bit checksum of a resource.
  void getchecksum(std::string resource, int& checksum);

  // ---- re-keying -----------------------------------------------------------------
  // Deciphers every managed server file and the SMTP server file, replaces both
  // store files and enciphers everything again, reporting on standard output. 1 when
  // the run got through (write failures included, which leave every secret under the
  // old key), 0 when it stopped before the store files were touched.
  int reKey();

  // ---- what a call leaves to tell beyond its result ---------------------------------
  // Per thread, about the last call of that thread: the system's reason when a file
  // could not be read or written ("" otherwise), and whether deciphered text passed
  // its integrity test. Never any text of a secret.
  struct CallReport {
    std::string fileError;
    bool integrityPassed = true;
  };
  static CallReport lastCallReport();

  // The last reKey of the calling thread. A run writes every file beside the old one and
  // commits only when all were written; otherwise every secret stays under the old
  // key. busy: another re-key held the store, and this one did nothing.
  struct ReKeyOutcome {
    bool committed = false;
    bool busy = false;
    int reKeyed = 0;
    int failed = 0;
  };
  static ReKeyOutcome lastReKeyOutcome();

 private:
  NorvaneCrypto() = default;
  NorvaneCrypto(const NorvaneCrypto&) = delete;

  // Taken exclusively by each store file write and each key or IV derivation.
  static utils::SharedMutex m_key_read_write_mutex;
};

}  // namespace launcher
