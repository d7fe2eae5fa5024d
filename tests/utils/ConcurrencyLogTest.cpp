// The statement barrier that threads raise, in a fresh process against a throwaway
// installation.
#include "utils/LogTestSupport.h"

namespace {

using namespace concurrencytest;

// The barrier: with no Thread counted, a statement ignores a held m_Mutex; once
// one is counted, statements wait for it.
LOG_CHILD(statement_barrier) {
  if (utils::Thread::get_active_thread_count() != 0) return 3;
  std::atomic<bool> written{false};
  auto logFromAnotherThread = [&] {
    written = false;
    return std::thread([&] {
      utils::log_debug("from another thread");
      written = true;
    });
  };
  {
    utils::Lock hold(&utils::formatted_log_t::m_Mutex, false);
    logFromAnotherThread().join();
    std::printf("uncounted=%d\n", written.load() ? 1 : 0);
  }
  Gate release;
  utils::Thread counted("counted", [&] { release.wait(); });
  std::thread blocked;
  {
    utils::Lock hold(&utils::formatted_log_t::m_Mutex, false);
    blocked = logFromAnotherThread();
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    std::printf("counted-held=%d\n", written.load() ? 1 : 0);
  }
  blocked.join();
  std::printf("counted-released=%d\n", written.load() ? 1 : 0);
  release.open();
  counted.join();
  return 0;
}

TEST(ConcurrencyLogTest, StatementsPassTheBarrierOnlyWhileAThreadIsCounted) {
  logtest::Installation installation;
  const std::string output = installation.run("statement_barrier").output;
  EXPECT_NE(output.find("uncounted=1\ncounted-held=0\ncounted-released=1\n"), std::string::npos) << output;
}

}  // namespace
