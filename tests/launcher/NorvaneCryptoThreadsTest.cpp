// Encryptions and decryptions from several threads while the store files are
// replaced: every derivation sees a whole store file, never one half written.
#include "support/TestPrelude.h"

#include "launcher/CryptoTestSupport.h"

using namespace cryptotest;

TEST_F(CryptoTest, DerivationsNeverReadAStoreFileBeingReplaced) {
  std::mutex guard;
  std::set<std::string> written = {kValueStoreText}, seen;  // every whole value store file; the IVs derived
  std::atomic<bool> done{false};
  systemtest::LogMark mark;
  std::vector<std::thread> threads;
  threads.emplace_back([&] {
    for (int i = 0; i < 25; ++i) {
      crypto().generateStoreFile(valueStore(), true);  // the only writer: it reads back what it wrote
      const std::string content = readFile(valueStore());
      std::lock_guard<std::mutex> hold(guard);
      written.insert(content);
    }
    crypto().generateStoreFile(keyStore(), true);
    done = true;
  });
  for (int t = 0; t < 3; ++t) {
    threads.emplace_back([&, t] {
      for (int rounds = 0; !done || rounds < 3; ++rounds) {
        std::string resource = "secret", back, path = bin() + "/resource" + std::to_string(t);
        int length = 0;
        crypto().encrypt_str_to_file(resource, length, path);
        crypto().decrypt_file_to_str(path, back);  // -1 if the key changed in between, never a crash
        const std::string ivText = iv();
        std::lock_guard<std::mutex> hold(guard);
        seen.insert(ivText);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::set<std::string> whole;  // the IVs of the whole files, derived one at a time
  for (const std::string& content : written) writeFile(valueStore(), content), whole.insert(iv());
  EXPECT_TRUE(std::includes(whole.begin(), whole.end(), seen.begin(), seen.end()));
  // No store file was ever found missing or empty by a derivation.
  const std::string log = problems(mark);
  EXPECT_TRUE(log.find("NorvaneCrypto:key256 - ") == std::string::npos &&
              log.find("NorvaneCrypto:IV256 - ") == std::string::npos) << log;
}
