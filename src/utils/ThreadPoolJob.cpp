#include <utils/ThreadPoolJob.h>

namespace utils {

ThreadPoolJob::~ThreadPoolJob() = default;

}  // namespace utils
