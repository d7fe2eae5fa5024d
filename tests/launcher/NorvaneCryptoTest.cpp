// The secret store's key material and resource files, checked against Python's
// hashlib and the openssl command rather than against our own code.
#include <sys/stat.h>

#include <regex>

#include "launcher/CryptoTestSupport.h"

using namespace cryptotest;
using testsupport::readFile;
using testsupport::writeFile;

namespace {

const char kEncryptName[] = "launcher::NorvaneCrypto::encrypt_str_to_file";
const char kDecryptName[] = "launcher::NorvaneCrypto::decrypt_file_to_str";

int checksumOf(const std::string& text) {
  int checksum = 12345;
  crypto().getchecksum(text, checksum);
  return checksum;
}

// "<checksum>_<text>", as the store files it.
std::string verified(const std::string& text) { return std::to_string(checksumOf(text)) + "_" + text; }

// "<salt> <key> <iv>" as the store derives them from the current files and adapter.
std::string derived() {
  std::string salt, key, iv;
  crypto().generateSalt256(salt);
  crypto().generateKey256(keyStore(), key);
  crypto().generateIV256(valueStore(), iv);
  return salt + " " + key + " " + iv;
}

}  // namespace

TEST_F(CryptoTest, DerivedTextsEqualTheIndependentComputation) {
  const struct { std::string mac, keyStoreContent, valueStoreContent; int cut; } rows[] = {
      {kMac, kKeyStoreText, kValueStoreText, 83},  // the block holds a zero byte at 83
      {kMac, "1", "x", 128},                       // no zero byte: all 128 bytes count
      {kMac, "abc", kValueStoreText, 57},          // shorter than 8: zero bytes follow
      {"0", kKeyStoreText, "not a uuid at all", 14},  // no adapter readable
      {"02:00:00:00:00:01", "2", kValueStoreText, 15},
  };
  for (const auto& row : rows) {
    if (row.mac == "0") {
      fake.net.adapters.clear();
    } else {
      fake.net.useMACAddress(row.mac);
    }
    writeFile(keyStore(), row.keyStoreContent);
    writeFile(valueStore(), row.valueStoreContent);
    std::string uid;
    crypto().getUID(uid);
    std::string lowered = row.mac;
    for (char& c : lowered) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    EXPECT_EQ(lowered, uid);
    // The derivation is taken from the lower-cased text, though the adapter prints capitals.
    EXPECT_EQ(pythonDerivation(lowered, row.keyStoreContent, row.valueStoreContent),
              derived() + " " + std::to_string(row.cut))
        << row.mac << " " << row.keyStoreContent;
  }
}

TEST_F(CryptoTest, KeyDependsOnTheFirstEightBytesOnlyAndIVOnTheWholeFile) {
  const std::string key1 = key(), iv1 = iv();
  writeFile(keyStore(), kKeyStoreText.substr(0, 8) + "-ffff-ffff-ffff-ffffffffffff");
  writeFile(valueStore(), kValueStoreText.substr(0, 35) + "7");
  EXPECT_EQ(key1, key());
  EXPECT_NE(iv1, iv());
  // A change of the first bytes or of the adapter gives the new key at once,
  // though the last derivation is remembered.
  writeFile(keyStore(), "4" + kKeyStoreText.substr(1));
  const std::string key2 = key();
  EXPECT_NE(key1, key2);
  EXPECT_EQ(pythonDerivation(kMac, "4" + kKeyStoreText.substr(1), "").substr(65, 64), key2);
  fake.net.useMACAddress("00:1A:2B:3C:4D:5F");
  EXPECT_EQ(pythonDerivation("00:1a:2b:3c:4d:5f", "4" + kKeyStoreText.substr(1), "").substr(65, 64), key());
}

TEST_F(CryptoTest, StoreFilesWithoutForceFillOnlyExistingEmptyFiles) {
  const std::regex uuid("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}");  // 36 bytes, no line end
  const std::string filled = bin() + "/filled.store", forced = bin() + "/forced.store";
  writeFile(filled, "keep me");
  crypto().generateStoreFile(filled, false);
  EXPECT_EQ("keep me", readFile(filled));
  crypto().generateStoreFile(forced, true);  // force creates a missing file and replaces a filled one
  const std::string first = readFile(forced);
  crypto().generateStoreFile(forced, true);
  EXPECT_TRUE(std::regex_match(first, uuid)) << first;
  EXPECT_TRUE(std::regex_match(readFile(forced), uuid));
  EXPECT_NE(first, readFile(forced));

  writeFile(keyStore(), "");
  writeFile(valueStore(), "");
  crypto().generateKeys();
  const std::string keyText = readFile(keyStore()), valueText = readFile(valueStore());
  EXPECT_TRUE(std::regex_match(keyText, uuid)) << keyText;
  EXPECT_TRUE(std::regex_match(valueText, uuid)) << valueText;
  EXPECT_NE(keyText, valueText);
  crypto().generateKeys();  // filled now: left alone
  EXPECT_EQ(keyText + valueText, readFile(keyStore()) + readFile(valueStore()));

  // Missing store files stay missing.
  std::filesystem::remove(keyStore());
  std::filesystem::remove(valueStore());
  crypto().generateKeys();
  EXPECT_FALSE(std::filesystem::exists(keyStore()) || std::filesystem::exists(valueStore()));
}

TEST_F(CryptoTest, FailedDerivationsLogAndLeaveTheOutputAlone) {
  const struct { bool exists; std::string keyLine, ivLine; } rows[] = {
      {false, "Critical: NorvaneCrypto:key256 - Reading of " + keyStore() + " file failed",
       "Critical: NorvaneCrypto:IV256 - Reading of " + valueStore() + " file failed"},
      {true, "Critical: NorvaneCrypto:key256 - Invalid file content - " + keyStore() + " ",
       "Critical: NorvaneCrypto:IV256 - Invalid file content - " + valueStore() + " "},
  };
  for (const auto& row : rows) {
    std::filesystem::remove(keyStore());
    std::filesystem::remove(valueStore());
    if (row.exists) {
      writeFile(keyStore(), "");
      writeFile(valueStore(), "");
    }
    std::string keyText = "old", ivText = "old";
    systemtest::LogMark mark;
    crypto().generateKey256(keyStore(), keyText);
    crypto().generateIV256(valueStore(), ivText);
    EXPECT_EQ("old old", keyText + " " + ivText);
    std::string log;
    for (const std::string& line : entries(mark)) log += line + "\n";
    EXPECT_NE(std::string::npos, log.find(row.keyLine + "\n" + "Fn Entry")) << log;
    EXPECT_EQ(row.ivLine + "\n", log.substr(log.size() - row.ivLine.size() - 1)) << log;
  }
}

TEST_F(CryptoTest, EncryptWritesWhatOpensslDeciphersOwnerOnly) {
  std::string path = bin() + "/resource";
  const std::string openssl = opensslArgs(key(), iv()) + " -d -in " + path;
  const struct { std::string resource; std::string verified; } rows[] = {
      {"", "0_"},
      {"a", "1424956863_a"},
      {"\xE9", "-1821245256_\xE9"},
      {"user_name_with_underscores", verified("user_name_with_underscores")},
      {std::string(100, 'p'), verified(std::string(100, 'p'))},
      // A zero byte ends the plaintext; the checksum covered the whole string.
      {std::string("ab\0cd", 5), verified(std::string("ab\0cd", 5)).c_str()},
  };
  for (const auto& row : rows) {
    std::string resource = row.resource;
    int length = -7;
    const int result = crypto().encrypt_str_to_file(resource, length, path);
    const std::size_t plain = row.verified.size();
    EXPECT_EQ(static_cast<int>(16 * (plain / 16 + 1)), result) << row.verified;
    EXPECT_EQ(result, length);
    EXPECT_EQ(static_cast<std::size_t>(result), readFile(path).size());
    EXPECT_EQ(row.verified, resource.substr(0, strlen(resource.c_str())));
    EXPECT_EQ(row.verified, commandOutput(openssl));
  }
  struct stat info {};
  ASSERT_EQ(0, stat(path.c_str(), &info));
  EXPECT_EQ(0600u, info.st_mode & 07777);
}

// Each row: the plaintext openssl enciphers with our key (or with another one when
// `foreign`) into the file, or "<missing>", "<empty>", "<odd size>" for such a file;
// then the result, the resource and the last log lines.
TEST_F(CryptoTest, DecryptReadsOpensslFilesAndGivesThePlaintextLengthOrTheFailureLine) {
  std::string path = bin() + "/resource", plain = bin() + "/plain";
  const auto line = [](const std::string& level, const std::string& text) {
    return level + ": NorvaneCrypto:decrypt - " + text + kDecryptName;
  };
  const std::string pass = "Debug: NorvaneCrypto:decrypt - Data integrity test pass";
  const std::string returned = "Debug: NorvaneCrypto:decrypt - Return the Res to the caller";
  const std::string integrityFailed = line("Error", "Data Integrity test failed during decryption process ");
  const std::string thrown = line("Critical", "Exception generated in ") + " @EVP_DecryptFinal_ex";
  const std::string abc = verified("a_b_c");
  const struct {
    std::string plaintext;
    int result;
    std::string resource;
    std::vector<std::string> tail;
    bool foreign = false;
  } rows[] = {
      {"0_", 2, "", {pass, returned}},
      {"1424956863_a", 12, "a", {pass, returned}},
      {"-1821245256_\xE9", 13, "\xE9", {pass, returned}},
      {abc, static_cast<int>(abc.size()), "a_b_c", {pass, returned}},  // only the first "_" splits
      {"367282811_abc", 13, "abc", {pass, returned}},
      {"123_abc", 7, "123_abc", {integrityFailed, returned}},
      {"x_" + std::string(40, 'y'), 42, "x_" + std::string(40, 'y'), {integrityFailed, returned}},  // "x" reads as 0
      {std::string("0_\0tail", 7), 7, "", {pass, returned}},  // the text ends at its first zero byte
      {"<missing>", -1, "before", {line("Error", "Reading of file " + path + " failed during decryption:")}},
      {"<empty>", 0, "before", {line("Error", "File having empty content during decryption:")}},
      {"<odd size>", -1, "before", {thrown}},
      {"0_secret", -1, "before", {thrown}, true},
      {"12345", -1, "12345", {line("Error", "Checksum not found with the V-Res ")}},
  };
  const std::string ours = opensslArgs(key(), iv()), foreign = opensslArgs(std::string(32, 'f'), std::string(16, '0'));
  for (const auto& row : rows) {
    std::filesystem::remove(path);
    if (row.plaintext == "<empty>" || row.plaintext == "<odd size>") {
      writeFile(path, std::string(row.plaintext == "<empty>" ? 0 : 33, '\0'));
    } else if (row.plaintext != "<missing>") {
      writeFile(plain, row.plaintext);
      ASSERT_EQ("", commandOutput((row.foreign ? foreign : ours) + " -in " + plain + " -out " + path))
          << row.plaintext;
    }
    std::string resource = "before";
    systemtest::LogMark mark;
    EXPECT_EQ(row.result, crypto().decrypt_file_to_str(path, resource)) << row.plaintext;
    EXPECT_EQ(row.resource, resource) << row.plaintext;
    const std::vector<std::string> lines = entries(mark);
    ASSERT_GE(lines.size(), row.tail.size()) << row.plaintext;
    EXPECT_EQ(row.tail, std::vector<std::string>(lines.end() - row.tail.size(), lines.end())) << row.plaintext;
  }
}

// Into a missing directory the length is set all the same; without key material the
// cipher run is refused and the old file kept.
TEST_F(CryptoTest, FailedEncryptionsLogWhereAndKeepTheOldFile) {
  std::string path = bin() + "/resource", nowhere = bin() + "/nowhere/resource", resource = "secret";
  const std::string secret = verified("secret");
  int length = -7;
  systemtest::LogMark mark;
  EXPECT_EQ(-1, crypto().encrypt_str_to_file(resource, length, nowhere));
  EXPECT_EQ(32, length);
  EXPECT_EQ("Error: NorvaneCrypto:encrypt - File was not created : " + nowhere + " in " + kEncryptName,
            entries(mark).back());

  resource = "secret";
  ASSERT_EQ(16 * 1 + 16, crypto().encrypt_str_to_file(resource, length, path));
  const std::string old = readFile(path);
  std::filesystem::remove(keyStore());
  resource = "secret";
  length = -7;
  EXPECT_EQ(-1, crypto().encrypt_str_to_file(resource, length, path));
  EXPECT_EQ(secret, resource);  // replaced before the derivation
  EXPECT_EQ(-7, length);
  EXPECT_EQ(old, readFile(path));
  EXPECT_EQ(std::string("Critical: NorvaneCrypto:encrypt - Exception generated in ") + kEncryptName +
                " @EVP_CIPHER_CTX_new",
            entries(mark).back());
  std::string back = "before";
  EXPECT_EQ(-1, crypto().decrypt_file_to_str(path, back));
  EXPECT_EQ("before", back);
  EXPECT_EQ(std::string("Critical: NorvaneCrypto:decrypt - Exception generated in ") + kDecryptName +
                " @EVP_DecryptInit_ex",
            entries(mark).back());
}

TEST_F(CryptoTest, SecretsNeverReachTheLog) {
  std::string path = bin() + "/resource";
  std::string resource = "TopSecretPassword";
  int length = 0;
  systemtest::LogMark mark;
  crypto().encrypt_str_to_file(resource, length, path);
  std::string back;
  crypto().decrypt_file_to_str(path, back);
  EXPECT_EQ("TopSecretPassword", back);
  const std::string salt = pythonDerivation(kMac, kKeyStoreText, "").substr(0, 64);
  for (const std::string& line : mark.entries()) {
    for (const std::string& secret : {std::string("TopSecret"), kKeyStoreText.substr(0, 8),
                                      kValueStoreText.substr(0, 8), key().substr(0, 16), iv().substr(0, 16),
                                      salt.substr(0, 16), std::string("00:1a:2b"), std::string("00:1A:2B")}) {
      EXPECT_EQ(std::string::npos, line.find(secret)) << line;
    }
  }
}
