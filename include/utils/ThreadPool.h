// Runs jobs off the caller's thread. Every job added gets a fresh detached thread
// of its own, with no limit on how many run at once; nothing is queued. The
// resident-worker path (`threadRoutine` fed from the queue) remains available to
// a client that starts such a worker itself, but the pool never starts one.
//
// The destructor waits, polling once a second, until no job is inside `run`.
// A job thread still reads the pool for a moment after its job is done, so the
// owner stops adding jobs and lets their threads finish before destroying it.
#pragma once

#include <NorvaneExport.h>

#include <deque>
#include <vector>

namespace utils {

class Condition;
class Mutex;
class Thread;
class ThreadPoolJob;

class NORVANE_API ThreadPool {
 public:
  // The size is accepted and has no effect; no thread is started.
  explicit ThreadPool(int size);
  // Member-wise copies: the copy shares the mutex and condition of the source and
  // both destructors delete them, so a copy must not be destroyed while the
  // source is in use.
  ThreadPool(const ThreadPool& other);
  ThreadPool& operator=(const ThreadPool& other);
  virtual ~ThreadPool();

  // Starts a detached thread that runs the job and deletes it. Null is ignored.
  void addJob(ThreadPoolJob* job);

  int getRunningJobCount();
  int getPendingJobCount();
  int getPendingJobHighTide();

  // Body of a resident worker: takes queued jobs front first until the pool is
  // terminating. `pool` is the ThreadPool.
  static void threadRoutine(void* pool);
  // Body of a job thread started by addJob; `record` is the pool's own hand-over.
  static void detatchedThreadRoutine(void* record);

 private:
  friend class ThreadPoolTestPeer;  // white-box access for the resident path's tests

  int m_running_jobs;
  int m_pending_high_tide;
  bool m_terminate;
  Mutex* m_mutex;
  Condition* m_condition;
  std::deque<ThreadPoolJob*> m_jobs;
  std::vector<Thread*> m_threads;
};

}  // namespace utils
