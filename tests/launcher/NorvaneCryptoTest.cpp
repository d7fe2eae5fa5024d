// The secret store's key material and resource files, checked against Python's
// hashlib and the openssl command rather than against our own code.
#include "support/TestPrelude.h"

#include "launcher/CryptoTestSupport.h"

using namespace cryptotest;

namespace {

// "<checksum>_<text>", as the store files it.
std::string verified(const std::string& text) {
  int checksum = 12345;
  crypto().getchecksum(text, checksum);
  return std::to_string(checksum) + "_" + text;
}

}  // namespace

// The key depends on the first eight bytes of its store file only, the IV on the
// whole of its own; the derivation is taken from the lower-cased adapter address.
TEST_F(CryptoTest, DerivedTextsEqualTheIndependentComputation) {
  const struct { std::string mac, keyStoreContent, valueStoreContent; int cut; } rows[] = {
      {kMac, kKeyStoreText, kValueStoreText, 83},  // the block holds a zero byte at 83
      {kMac, "1", "x", 128},                       // no zero byte: all 128 bytes count
      {kMac, "abc", kValueStoreText, 57},          // shorter than 8: zero bytes follow
      {"0", kKeyStoreText, "not a uuid at all", 14},  // no adapter readable
      {kMac, kKeyStoreText.substr(0, 8) + "-ffff", kValueStoreText.substr(0, 35) + "7", 83},
      {kMac, "4" + kKeyStoreText.substr(1), kValueStoreText, 128},  // a new key at once, and for a new
      {"00:1A:2B:3C:4D:5F", "4" + kKeyStoreText.substr(1), kValueStoreText, 30},  // adapter, though one is kept
  };
  std::string uid, salt;
  crypto().getUID(uid);
  EXPECT_EQ("00:1a:2b:3c:4d:5e", uid);
  for (const auto& row : rows) {
    row.mac == "0" ? fake.net.adapters.clear() : fake.net.useMACAddress(row.mac);
    writeFile(keyStore(), row.keyStoreContent);
    writeFile(valueStore(), row.valueStoreContent);
    crypto().generateSalt256(salt);
    EXPECT_EQ(pythonDerivation(row.mac, row.keyStoreContent, row.valueStoreContent),
              salt + " " + key() + " " + iv() + " " + std::to_string(row.cut))
        << row.mac << " " << row.keyStoreContent;
  }
}

// Without force only an existing, empty store file is filled: with a version 4 UUID
// of 36 bytes and no line end.
TEST_F(CryptoTest, StoreFilesWithoutForceFillOnlyExistingEmptyFiles) {
  const std::string uuid = "[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}";
  crypto().generateStoreFile(keyStore(), false);
  EXPECT_EQ(kKeyStoreText, readFile(keyStore()));
  crypto().generateStoreFile(bin() + "/forced.store", true);  // force creates a missing file
  crypto().generateStoreFile(keyStore(), true);  // and replaces a filled one
  writeFile(valueStore(), "");
  crypto().generateKeys();
  const std::string keyText = readFile(keyStore()), valueText = readFile(valueStore());
  EXPECT_TRUE(std::regex_match(keyText + valueText + readFile(bin() + "/forced.store"), std::regex(uuid + uuid + uuid)))
      << keyText << valueText;
  EXPECT_TRUE(keyText != valueText && keyText != kKeyStoreText);
  crypto().generateKeys();  // filled now: left alone
  EXPECT_EQ(keyText + valueText, readFile(keyStore()) + readFile(valueStore()));
  std::filesystem::remove(keyStore());
  crypto().generateKeys();  // a missing store file stays missing
  EXPECT_FALSE(std::filesystem::exists(keyStore()));
}

// A resource is filed as "<checksum>_<resource>", which openssl deciphers, and reads
// back with the length of that text. A zero byte ends the plaintext, though the
// checksum covered the whole string: read back, it fails the integrity test.
TEST_F(CryptoTest, EncryptWritesWhatOpensslDeciphersOwnerOnlyAndDecryptReadsItBack) {
  std::string path = bin() + "/resource";
  const std::string openssl = opensslArgs(key(), iv()) + " -d -in " + path;
  const struct { std::string resource, verified; } rows[] = {
      {"", "0_"}, {"a", "1424956863_a"}, {"\xE9", "-1821245256_\xE9"}, {"abc", "367282811_abc"},
      {"user_name_with_underscores", verified("user_name_with_underscores")},  // only the first "_" splits
      {std::string(100, 'p'), verified(std::string(100, 'p'))},
      {std::string("ab\0cd", 5), verified(std::string("ab\0cd", 5)).c_str()},
  };
  for (const auto& row : rows) {
    std::string resource = row.resource, back;
    int length = -7;
    const std::string size = std::to_string(16 * (row.verified.size() / 16 + 1));  // the result, length and file's
    const int result = crypto().encrypt_str_to_file(resource, length, path);
    EXPECT_EQ(size + " " + size + " " + size + " " + row.verified + "|" + row.verified,
              std::to_string(result) + " " + std::to_string(length) + " " + std::to_string(readFile(path).size()) +
                  " " + resource.c_str() + "|" + commandOutput(openssl));
    const int read = crypto().decrypt_file_to_str(path, back);
    EXPECT_EQ(std::to_string(row.verified.size()) + (row.resource.find('\0') == std::string::npos ? row.resource : row.verified),
              std::to_string(read) + back);
  }
  EXPECT_EQ(std::filesystem::perms(0600), std::filesystem::status(path).permissions());
}

// Each row: the plaintext openssl enciphers with our key (with another one for
// "<foreign>") into the file, or "<missing>", "<empty>", "<odd size>", "<fifo>" for
// such a file; then the result, the resource, the problems logged and the call's
// report (its file error, or "integrity" for a failed integrity test).
TEST_F(CryptoTest, DecryptGivesThePlaintextLengthOrTheFailureLine) {
  std::string path = bin() + "/resource", plain = bin() + "/plain";
  const auto line = [](const std::string& level, const std::string& text) {
    return level + ": NorvaneCrypto:decrypt - " + text + "launcher::NorvaneCrypto::decrypt_file_to_str\n";
  };
  const std::string integrityFailed = line("Error", "Data Integrity test failed during decryption process ");
  const std::string thrown = "Critical: NorvaneCrypto:decrypt - Exception generated in "
                             "launcher::NorvaneCrypto::decrypt_file_to_str @EVP_DecryptFinal_ex\n";
  const std::string unreadable = line("Error", "Reading of file " + path + " failed during decryption:");
  const struct { std::string plaintext; int result; std::string resource, log, report = ""; } rows[] = {
      {"123_abc", 7, "123_abc", integrityFailed, "integrity"},
      {"x_" + std::string(40, 'y'), 42, "x_" + std::string(40, 'y'), integrityFailed, "integrity"},  // "x" reads as 0
      {std::string("0_\0tail", 7), 7, "", ""},  // the text ends at its first zero byte
      {"<missing>", -1, "before", unreadable, "No such file or directory"},
      {"<fifo>", -1, "before", unreadable, "not a regular file"},
      {"<empty>", 0, "before", line("Error", "File having empty content during decryption:")},
      {"<odd size>", -1, "before", thrown},
      {"<foreign>", -1, "before", thrown},
      {"12345", -1, "12345", line("Error", "Checksum not found with the V-Res "), "integrity"},
  };
  for (const auto& row : rows) {
    std::filesystem::remove(path);
    const bool foreign = row.plaintext == "<foreign>";
    writeFile(plain, foreign ? "0_secret" : row.plaintext);
    const std::string cipher = foreign ? opensslArgs(std::string(32, 'f'), std::string(16, '0')) : opensslArgs(key(), iv());
    ASSERT_EQ("", row.plaintext[0] == '<' && !foreign ? "" : commandOutput(cipher + " -in " + plain + " -out " + path));
    if (row.plaintext == "<empty>" || row.plaintext == "<odd size>")
      writeFile(path, std::string(row.plaintext == "<empty>" ? 0 : 33, '\0'));
    ASSERT_TRUE(row.plaintext != "<fifo>" || mkfifo(path.c_str(), 0600) == 0);
    std::string resource = "before";
    systemtest::LogMark mark;
    const int result = crypto().decrypt_file_to_str(path, resource);
    const launcher::NorvaneCrypto::CallReport report = launcher::NorvaneCrypto::lastCallReport();
    EXPECT_EQ(std::to_string(row.result) + " " + row.resource + "|" + row.log + "|" + row.report,
              std::to_string(result) + " " + resource + "|" + problems(mark) + "|" + report.fileError +
                  (report.integrityPassed ? "" : "integrity"));
  }
}

// A missing or empty store file: the derivation logs why and leaves its output alone,
// and no cipher runs, so the old file is kept; the resource is replaced before the
// derivation. Into a missing directory the length is set all the same.
TEST_F(CryptoTest, FailedDerivationsAndWritesLogWhyAndKeepTheOldFile) {
  std::string path = bin() + "/resource", nowhere = bin() + "/nowhere/resource", resource = "secret", again = resource;
  int length = -7;
  systemtest::LogMark mark;
  const int refused = crypto().encrypt_str_to_file(resource, length, nowhere);
  EXPECT_EQ("-1 32 Error: NorvaneCrypto:encrypt - File was not created : " + nowhere +
                " in launcher::NorvaneCrypto::encrypt_str_to_file\n",
            std::to_string(refused) + " " + std::to_string(length) + " " + problems(mark));
  ASSERT_EQ(32, crypto().encrypt_str_to_file(again, length, path));
  const std::string old = readFile(path);
  const std::string encryptFailed = "Critical: NorvaneCrypto:encrypt - Exception generated in "
                                    "launcher::NorvaneCrypto::encrypt_str_to_file @EVP_CIPHER_CTX_new\n";
  const std::string decryptFailed = "Critical: NorvaneCrypto:decrypt - Exception generated in "
                                    "launcher::NorvaneCrypto::decrypt_file_to_str @EVP_DecryptInit_ex\n";
  const struct { const char *keyText, *valueText; std::string log; } rows[] = {
      {nullptr, kValueStoreText.c_str(), "Critical: NorvaneCrypto:key256 - Reading of " + keyStore() + " file failed\n"},
      {"", kValueStoreText.c_str(), "Critical: NorvaneCrypto:key256 - Invalid file content - " + keyStore() + " \n"},
      {kKeyStoreText.c_str(), nullptr, "Critical: NorvaneCrypto:IV256 - Reading of " + valueStore() + " file failed\n"},
      {kKeyStoreText.c_str(), "", "Critical: NorvaneCrypto:IV256 - Invalid file content - " + valueStore() + " \n"},
  };
  for (const auto& row : rows) {
    for (const std::string& store : {keyStore(), valueStore()}) std::filesystem::remove(store);
    if (row.keyText != nullptr) writeFile(keyStore(), row.keyText);
    if (row.valueText != nullptr) writeFile(valueStore(), row.valueText);
    std::string keyText = "old", ivText = "old", back = "before", resource = "secret";
    int length = -7;
    systemtest::LogMark failures;
    crypto().generateKey256(keyStore(), keyText);
    crypto().generateIV256(valueStore(), ivText);
    const int encrypted = crypto().encrypt_str_to_file(resource, length, path),
              decrypted = crypto().decrypt_file_to_str(path, back);
    EXPECT_EQ("-1 -1 old -7 before " + verified("secret") + "|" + old + row.log + row.log + encryptFailed + row.log +
                  decryptFailed,
              std::to_string(encrypted) + " " + std::to_string(decrypted) + " " +
                  (row.log.find("key256") != std::string::npos ? keyText : ivText) + " " + std::to_string(length) +
                  " " + back + " " + resource + "|" + readFile(path) + problems(failures));
  }
}
