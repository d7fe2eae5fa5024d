// Replaces the global operator new of the log test binary so that a test can count
// the allocations made by a stretch of code. Kept apart from the tests so that the
// compiler never sees an allocation and its release through different functions.
#include <cstdlib>

#include "utils/LogTestSupport.h"

namespace {
std::atomic<bool> g_counting{false};
std::atomic<long> g_allocations{0};
}  // namespace

namespace logtest {
void countAllocations(bool on) { g_counting.store(on); }
long allocationsCounted() { return g_allocations.load(); }
}  // namespace logtest

void* operator new(std::size_t size) {
  if (g_counting.load(std::memory_order_relaxed)) g_allocations.fetch_add(1);
  if (void* block = std::malloc(size == 0 ? 1 : size)) return block;
  throw std::bad_alloc();
}
void* operator new[](std::size_t size) { return operator new(size); }
void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }
