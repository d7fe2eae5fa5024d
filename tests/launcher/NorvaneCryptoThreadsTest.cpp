// Encryptions and decryptions from several threads while the store files are
// replaced: every derivation sees a whole store file, never one half written.
#include <openssl/sha.h>

#include <atomic>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include "launcher/CryptoTestSupport.h"

using namespace cryptotest;

TEST_F(CryptoTest, DerivationsNeverReadAStoreFileBeingReplaced) {
  const auto sha256Hex = [](const std::string& text) {
    unsigned char digest[SHA256_DIGEST_LENGTH];
    SHA256(reinterpret_cast<const unsigned char*>(text.data()), text.size(), digest);
    return hex(std::string(reinterpret_cast<const char*>(digest), sizeof digest));
  };
  std::mutex guard;
  std::set<std::string> written = {sha256Hex(kValueStoreText)};  // IVs of every whole value store file
  std::vector<std::string> seen;
  std::atomic<bool> done{false};
  systemtest::LogMark mark;
  std::vector<std::thread> threads;
  threads.emplace_back([&] {
    for (int i = 0; i < 25; ++i) {
      // Only this thread writes, so what it reads back is exactly what it wrote.
      crypto().generateStoreFile(valueStore(), true);
      const std::string content = readFile(valueStore());
      std::lock_guard<std::mutex> hold(guard);
      written.insert(sha256Hex(content));
    }
    crypto().generateStoreFile(keyStore(), true);
    done = true;
  });
  for (int t = 0; t < 3; ++t) {
    threads.emplace_back([&, t] {
      std::string path = bin() + "/resource" + std::to_string(t);
      for (int rounds = 0; !done || rounds < 3; ++rounds) {
        std::string resource = "secret" + std::to_string(t), back, ivText;
        int length = 0;
        crypto().encrypt_str_to_file(resource, length, path);
        // The key may change between the two calls; the result is then -1, never a crash.
        crypto().decrypt_file_to_str(path, back);
        crypto().generateIV256(valueStore(), ivText);
        std::lock_guard<std::mutex> hold(guard);
        seen.push_back(ivText);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const std::string& ivText : seen) EXPECT_EQ(1u, written.count(ivText)) << ivText;
  // No store file was ever found missing or empty by a derivation.
  const std::string log = problems(mark);
  EXPECT_TRUE(log.find("NorvaneCrypto:key256 - ") == std::string::npos &&
              log.find("NorvaneCrypto:IV256 - ") == std::string::npos) << log;
}
