#include <utils/ThreadPool.h>

#include <utils/Condition.h>
#include <utils/Conversion.h>
#include <utils/Lock.h>
#include <utils/Log.h>
#include <utils/Mutex.h>
#include <utils/Thread.h>
#include <utils/ThreadPoolJob.h>

#include <memory>
#include <string>

namespace utils {

namespace {

// Ties a job thread to its job; made by addJob, freed by the thread.
struct DetachedJobRecord {
  ThreadPool* pool;
  ThreadPoolJob* job;
};

// The terminate flag is written and read with no lock; a worker sees it on its
// next pass. Atomic access only keeps that unguarded exchange well defined.
bool readFlag(const bool& flag) { return __atomic_load_n(&flag, __ATOMIC_RELAXED); }
void raiseFlag(bool& flag) { __atomic_store_n(&flag, true, __ATOMIC_RELAXED); }

}  // namespace

ThreadPool::ThreadPool(int /*size*/)
    : m_running_jobs(0),
      m_pending_high_tide(0),
      m_terminate(false),
      m_mutex(nullptr),
      m_condition(nullptr) {
  std::unique_ptr<Mutex> mutex(new Mutex);
  std::unique_ptr<Condition> condition(new Condition);
  { Lock lock(mutex.get(), false); }
  m_mutex = mutex.release();
  m_condition = condition.release();
}

ThreadPool::ThreadPool(const ThreadPool& other)
    : m_running_jobs(other.m_running_jobs),
      m_pending_high_tide(other.m_pending_high_tide),
      m_terminate(other.m_terminate),
      m_mutex(other.m_mutex),
      m_condition(other.m_condition),
      m_jobs(other.m_jobs),
      m_threads(other.m_threads) {}

ThreadPool& ThreadPool::operator=(const ThreadPool& other) {
  m_running_jobs = other.m_running_jobs;
  m_pending_high_tide = other.m_pending_high_tide;
  m_terminate = other.m_terminate;
  m_mutex = other.m_mutex;
  m_condition = other.m_condition;
  m_jobs = other.m_jobs;
  m_threads = other.m_threads;
  return *this;
}

ThreadPool::~ThreadPool() {
  log_debug("ThreadP:Destruct - terminating thread pool...");
  raiseFlag(m_terminate);
  log_debug("ThreadP:Destruct - notifying all pool threads...");
  m_condition->notifyAll();
  // No time limit: a job that never returns holds the destructor for ever.
  while (getRunningJobCount() != 0) Thread::sleep(1);
  log_debug("ThreadP:Destruct - thread pool join complete for all threads");
  log_debug("ThreadP:Destruct - thread pool high tide was %1%") % m_pending_high_tide;
  delete m_condition;
  delete m_mutex;
  log_debug("ThreadP:Destruct - thread pool no longer present");
  // m_threads, then m_jobs, go with the members; queued jobs are not deleted.
}

void ThreadPool::addJob(ThreadPoolJob* job) {
  if (job == nullptr) return;
  Lock lock(m_mutex, false);
  const std::string name =
      Conversion::to_string(static_cast<unsigned long long>(m_running_jobs)) + " of ThreadPool";
  DetachedJobRecord* record = new DetachedJobRecord{this, job};
  // The new thread's first lock on m_mutex waits until this call has returned.
  Thread thread(name, &ThreadPool::detatchedThreadRoutine, record);
  log_debug("ThreadP:addJob - creating detatched thread %1%.") % name;
  // Leaving scope destroys the Thread, which detaches it, then releases the lock.
}

int ThreadPool::getRunningJobCount() {
  Lock lock(m_mutex, false);
  return m_running_jobs;
}

int ThreadPool::getPendingJobCount() {
  Lock lock(m_mutex, false);
  return static_cast<int>(m_jobs.size());
}

int ThreadPool::getPendingJobHighTide() {
  Lock lock(m_mutex, false);
  return m_pending_high_tide;
}

namespace {

// Runs one job that the pool counted as running, deletes it and uncounts it. A
// throw from the job or its destructor leaves the job deleted and uncounted and
// goes on to the caller. The pointer is cleared before the delete so that a
// throwing destructor is not followed by a second delete of the same object.
void runCountedJob(ThreadPoolJob* job, Mutex* mutex, int& runningJobs) {
  try {
    job->run();
    ThreadPoolJob* finished = job;
    job = nullptr;
    delete finished;
  } catch (...) {
    delete job;
    Lock lock(mutex, false);
    --runningJobs;
    throw;
  }
  Lock lock(mutex, false);
  --runningJobs;
}

}  // namespace

void ThreadPool::detatchedThreadRoutine(void* record) {
  // Only addJob makes records, always with its pool and a job.
  DetachedJobRecord* handOver = static_cast<DetachedJobRecord*>(record);
  ThreadPool* pool = handOver->pool;
  ThreadPoolJob* job = handOver->job;
  delete handOver;

  const std::string self = Thread::get_id();
  log_debug("ThreadP:detatch - now detatched thread %1% is active.") % self;
  {
    Lock lock(pool->m_mutex, false);
    ++pool->m_running_jobs;
  }
  runCountedJob(job, pool->m_mutex, pool->m_running_jobs);
  log_debug("ThreadP:detatch - job done by detatched thread %1%. [pending count=%2%]") % self %
      pool->getPendingJobCount();
  log_debug("ThreadP:detatch - end of detatchedThreadRoutine for thread %1%") % self;
}

void ThreadPool::threadRoutine(void* poolArgument) {
  ThreadPool* pool = static_cast<ThreadPool*>(poolArgument);
  if (pool == nullptr) return;

  const std::string self = Thread::get_id();
  for (;;) {
    if (readFlag(pool->m_terminate)) {
      log_debug("ThreadP:TRoutine - end of threadRoutine for thread %1%") % self;
      return;
    }
    ThreadPoolJob* job = nullptr;
    log_debug("ThreadP:TRoutine - thread %1% is going to sleep.") % self;
    {
      Lock lock(pool->m_mutex, false);
      // One wait and no loop: a wake-up with nothing queued simply goes round again.
      if (pool->m_jobs.empty()) pool->m_condition->wait(&lock);
      log_debug("ThreadP:TRoutine - now thread %1% is active.") % self;
      if (!pool->m_jobs.empty()) {
        job = pool->m_jobs.front();
        pool->m_jobs.pop_front();
        ++pool->m_running_jobs;
      }
    }
    if (job != nullptr) {
      runCountedJob(job, pool->m_mutex, pool->m_running_jobs);
      log_debug("ThreadP:TRoutine - job done by thread %1%. [pending count=%2%]") % self %
          pool->getPendingJobCount();
    }
  }
}

}  // namespace utils
