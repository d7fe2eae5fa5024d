// Counts calls of the global operator new in the benchmark binary, so that the
// write path's allocations are reported beside its speed.
#include <atomic>
#include <cstdlib>
#include <new>

std::atomic<long> g_benchAllocations{0};

void* operator new(std::size_t size) {
  g_benchAllocations.fetch_add(1, std::memory_order_relaxed);
  if (void* block = std::malloc(size == 0 ? 1 : size)) return block;
  throw std::bad_alloc();
}
void* operator new[](std::size_t size) { return operator new(size); }
void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }
