// A unit of work for `ThreadPool`. Clients derive from it and implement `run`.
// A job handed to the pool is created with `new` and belongs to the pool, which
// deletes it through the virtual destructor right after `run` returns or throws.
#pragma once

#include <NorvaneExport.h>

namespace utils {

class NORVANE_API ThreadPoolJob {
 public:
  virtual ~ThreadPoolJob();
  virtual void run() = 0;
};

}  // namespace utils
