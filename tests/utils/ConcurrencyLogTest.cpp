// The statement barrier that threads raise, in a fresh process against a throwaway
// installation.
#include "utils/LogTestSupport.h"

namespace {

// With no Thread counted, a statement ignores a held m_Mutex; once one is counted,
// statements wait for it. Prints whether the other thread's line was written with
// the mutex held, and once it was released.
LOG_CHILD(statement_barrier) {
  if (utils::Thread::get_active_thread_count() != 0) return 3;
  concurrencytest::Gate release;
  for (bool counting : {false, true}) {
    std::unique_ptr<utils::Thread> counted;
    if (counting) counted = std::make_unique<utils::Thread>("counted", [&] { release.wait(); });
    std::atomic<bool> written{false};
    std::thread other;
    {
      utils::Lock hold(&utils::formatted_log_t::m_Mutex, false);
      other = std::thread([&] { utils::log_debug("from another thread"); written = true; });
      if (!counting) other.join();
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
      std::printf("%s held=%d ", counting ? "counted" : "uncounted", written.load() ? 1 : 0);
    }
    if (other.joinable()) other.join();
    std::printf("released=%d\n", written.load() ? 1 : 0);
    if (counted) release.open(), counted->join();
  }
  return 0;
}

TEST(ConcurrencyLogTest, StatementsPassTheBarrierOnlyWhileAThreadIsCounted) {
  logtest::Installation installation;
  EXPECT_THAT(installation.run("statement_barrier").output,
              testing::HasSubstr("uncounted held=1 released=1\ncounted held=0 released=1\n"));
}

}  // namespace
