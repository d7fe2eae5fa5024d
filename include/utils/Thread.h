// A named thread handle. Each constructor starts the thread at once on its entry
// point; there is no separate start. The name only labels the thread in the log
// and takes part in equality.
//
// The process-wide count is threads constructed minus threads joined: a thread
// that is never joined (a detached one, for instance) keeps it raised for the
// life of the process, whether or not it is still running.
#pragma once

#include <NorvaneExport.h>

#include <cstdint>
#include <functional>
#include <string>

namespace utils {

class NORVANE_API Thread {
 public:
  // Any callable converts to the function form, boost::function0<void> included.
  Thread(std::string name, std::function<void()> entry);
  Thread(std::string name, void (*entry)(void*), void* arg);
  Thread(std::string name, void (*entry)(void*, void*), void* arg1, void* arg2);
  Thread(std::string name, void (*entry)());
  // Shallow copies: the copy shares the running thread; exactly one of the two
  // may be destroyed. Copies leave the count alone.
  Thread(const Thread& other);
  Thread& operator=(const Thread& other);
  // Detaches a thread that is still running; never waits for it.
  virtual ~Thread();

  // Waits for the thread to end and lowers the count. Joining twice lowers it
  // twice. Joining from the thread itself throws and changes nothing.
  void join();

  // Identity of the calling thread, in lower-case hexadecimal.
  static std::string get_id();
  // Blocks the calling thread; zero or less returns at once.
  static void sleep(int seconds);
  // Ignores its argument and returns at once: the deadline it waits for is the
  // moment of the call. Use the static form for a delay.
  void sleep(std::uint64_t ignored);

  static unsigned int get_active_thread_count();

  bool operator==(const Thread& other) const;
  bool operator!=(const Thread& other) const;

 private:
  struct Native;

  Native* m_thread;
  std::string m_name;

  static std::uint32_t m_thread_count;
};

}  // namespace utils
