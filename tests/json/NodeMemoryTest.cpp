// The nodes a read makes live in blocks of their own. A document must still behave
// as one built node by node: parts kept past the document, changed with nodes made
// outside a read, and let go of on other threads than the reader's. The address
// sanitizer run is what catches a node freed twice, too early or never.

#include "support/TestPrelude.h"

#include "json/JsonTestSupport.h"

using namespace json;
using jsontest::read;

namespace {

// Enough records to fill several blocks.
std::string records(size_t count) {
  std::string text = "{\"records\":[";
  for (size_t i = 0; i < count; ++i)
    text += (i > 0 ? ",{\"id\":" : "{\"id\":") + std::to_string(i) + ",\"name\":\"record number " + std::to_string(i) +
            "\",\"tags\":[true,null,\"t\"]}";
  return text + "]}";
}

void joinAll(std::vector<std::thread>& threads) {
  for (std::thread& thread : threads) thread.join();
  threads.clear();
}

}  // namespace

TEST(NodeMemoryTest, PartsOutliveTheirDocumentAndMixWithNodesMadeLater) {
  UnknownElement kept;
  Object members;
  {
    Object document = read(records(5000));
    kept = std::move(document["records"][size_t(4321)]);
    members = std::move(document["records"][size_t(7)].convertTo<Object>());
    document["records"][size_t(1)]["extra"] = String("made outside a read");
    std::thread([moved = std::move(document)]() mutable { moved = Object(); }).join();
  }
  kept["tags"][size_t(4)] = Number(2);
  kept.convertTo<Object>().erase(kept.convertTo<Object>().find("name"));
  members["tags"] = kept["tags"];
  EXPECT_EQ(jsontest::flat(kept), R"({"id":4321,"tags":[true,null,"t",null,2]})");
  EXPECT_EQ(jsontest::flat(members), R"({"id":7,"name":"record number 7","tags":[true,null,"t",null,2]})");
}

// Each thread reads documents and hands every other one to the next thread to free,
// while the others read into blocks of their own. Then the records of one document,
// which share blocks, are freed from several threads at once: each block must go
// back exactly once, after its last node.
TEST(NodeMemoryTest, DocumentsAndTheirPartsAreFreedOnOtherThreads) {
  const std::string text = records(800), many = records(3000);
  const Object reference = read(text);
  constexpr int kThreads = 3, kRounds = 6;
  std::vector<std::vector<Object>> handedOver(kThreads);
  std::vector<int> equal(kThreads, 0);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int round = 0; round < kRounds; ++round) {
        Object document = read(text);
        equal[t] += document == reference ? 1 : 0;
        if (round % 2 == 0) handedOver[t].push_back(std::move(document));
      }
    });
  }
  joinAll(threads);
  for (int t = 0; t < kThreads; ++t) threads.emplace_back([&handedOver, t] { handedOver[(t + 1) % kThreads].clear(); });
  joinAll(threads);
  EXPECT_EQ(equal, std::vector<int>(kThreads, kRounds));

  for (int round = 0; round < 4; ++round) {
    Object document = read(many);
    Array& all = document["records"];
    std::vector<std::vector<UnknownElement>> parts(kThreads);
    for (size_t i = 0; i < all.size(); ++i) parts[i % kThreads].push_back(std::move(all[i]));
    for (auto& part : parts) threads.emplace_back([&part] { part.clear(); });
    document = Object();
    joinAll(threads);
    EXPECT_EQ(read(many)["records"][size_t(2999)]["name"], UnknownElement(String("record number 2999")));
  }
}
