// Encryptions and decryptions from several threads while the store files are
// replaced: every derivation sees a whole store file, never one half written.
#include <openssl/sha.h>

#include <atomic>
#include <mutex>
#include <set>
#include <thread>

#include "launcher/CryptoTestSupport.h"

using namespace cryptotest;

namespace {

std::string sha256Hex(const std::string& text) {
  unsigned char digest[SHA256_DIGEST_LENGTH];
  SHA256(reinterpret_cast<const unsigned char*>(text.data()), text.size(), digest);
  return hex(std::string(reinterpret_cast<const char*>(digest), sizeof digest));
}

}  // namespace

TEST_F(CryptoTest, DerivationsNeverReadAStoreFileBeingReplaced) {
  std::mutex guard;
  std::set<std::string> written = {sha256Hex(kValueStoreText)};  // IVs of every whole value store file
  std::vector<std::string> seen;
  std::atomic<bool> done{false};
  systemtest::LogMark mark;

  std::thread writer([&] {
    for (int i = 0; i < 25; ++i) {
      // Only this thread writes, so what it reads back is exactly what it wrote.
      crypto().generateStoreFile(valueStore(), true);
      const std::string content = testsupport::readFile(valueStore());
      std::lock_guard<std::mutex> hold(guard);
      written.insert(sha256Hex(content));
    }
    crypto().generateStoreFile(keyStore(), true);
    done = true;
  });
  std::vector<std::thread> users;
  for (int t = 0; t < 3; ++t) {
    users.emplace_back([&, t] {
      std::string path = bin() + "/resource" + std::to_string(t);
      int rounds = 0;
      while (!done || rounds < 3) {
        std::string resource = "secret" + std::to_string(t), back;
        int length = 0;
        crypto().encrypt_str_to_file(resource, length, path);
        // The key may change between the two calls; the result is then -1, never a crash.
        crypto().decrypt_file_to_str(path, back);
        std::string ivText;
        crypto().generateIV256(valueStore(), ivText);
        std::lock_guard<std::mutex> hold(guard);
        seen.push_back(ivText);
        ++rounds;
      }
    });
  }
  writer.join();
  for (std::thread& user : users) user.join();

  for (const std::string& ivText : seen) EXPECT_EQ(1u, written.count(ivText)) << ivText;
  for (const std::string& line : mark.entries()) {
    if (line.rfind("Critical: ", 0) != 0) continue;
    // No store file was ever found missing or empty by a derivation.
    EXPECT_EQ(std::string::npos, line.find("NorvaneCrypto:key256 - ")) << line;
    EXPECT_EQ(std::string::npos, line.find("NorvaneCrypto:IV256 - ")) << line;
  }
}
