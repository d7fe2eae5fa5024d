#include <json/NodeAllocator.h>

#include <sanitizer/asan_interface.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <mutex>
#include <new>
#include <vector>

#include "json/ReadArena.h"

namespace json {

namespace {

constexpr std::int64_t kFilling = std::int64_t(1) << 62;
constexpr std::size_t kHeader = ReadArena::kHeader;
constexpr std::size_t kBlockBytes = ReadArena::kBlockBytes;
constexpr std::size_t kBlockRoom = kBlockBytes - sizeof(ReadArena::Block);
constexpr std::size_t kLargestArenaNode = ReadArena::kLargestNode;
// How far ahead of a node let go of in a run its followers are fetched (bytes).
constexpr std::size_t kReleaseAhead = 4096;

// Initial-exec: one load from the thread pointer on every node, also in the
// shared library (two pointers of static TLS are always to be had).
__attribute__((tls_model("initial-exec"))) thread_local ReadArena* t_arena = nullptr;
__attribute__((tls_model("initial-exec"))) thread_local NodeRelease* t_release = nullptr;

std::size_t roundUp(std::size_t size) { return (size + 7) & ~std::size_t(7); }

// Blocks nobody uses are kept for the next reads rather than given back to the
// heap, which would return their pages to the system and have each read fault
// them in again. As many are kept as, together with those in use, reach the most
// that were in use at once; that mark sinks by an eighth at every read, so the
// blocks of a big document read once go back in the course of the next reads.
class BlockCache {
 public:
  ReadArena::Block* take() {
    std::lock_guard<std::mutex> hold(m_mutex);
    m_highWater = std::max(m_highWater, ++m_inUse);
    if (m_free.empty()) return nullptr;
    ReadArena::Block* block = m_free.back();
    m_free.pop_back();
    return block;
  }

  // A block that take() did not have to give.
  void untake() {
    std::lock_guard<std::mutex> hold(m_mutex);
    --m_inUse;
  }

  void giveBack(ReadArena::Block* block) {
    {
      std::lock_guard<std::mutex> hold(m_mutex);
      --m_inUse;
      if (m_inUse + m_free.size() < m_highWater) {
        m_free.push_back(block);
        return;
      }
    }
    std::free(block);
  }

  void sink() {
    std::vector<ReadArena::Block*> surplus;
    {
      std::lock_guard<std::mutex> hold(m_mutex);
      m_highWater = std::max(m_inUse, m_highWater - m_highWater / 8);
      while (!m_free.empty() && m_inUse + m_free.size() > m_highWater) {
        surplus.push_back(m_free.back());
        m_free.pop_back();
      }
    }
    for (ReadArena::Block* block : surplus) std::free(block);
  }

 private:
  std::mutex m_mutex;
  std::vector<ReadArena::Block*> m_free;
  std::size_t m_inUse = 0;
  std::size_t m_highWater = 0;
};

// Never destroyed: documents may be let go of by other static destructors.
BlockCache& blockCache() {
  static BlockCache* const cache = new BlockCache();
  return *cache;
}

void release(ReadArena::Block* block, std::int64_t count) {
  if (block->live.fetch_sub(count, std::memory_order_acq_rel) == count) {
    block->~Block();
    blockCache().giveBack(block);
  }
}

}  // namespace

ReadArena::ReadArena() : m_previous(t_arena) {
  blockCache().sink();
  t_arena = this;
}

ReadArena::~ReadArena() {
  leaveBlock();
  t_arena = m_previous;
}

void* ReadArena::allocateInNewBlock(std::size_t size) {
  const std::size_t needed = kHeader + roundUp(size);
  if (needed > kLargestArenaNode) return nullptr;
  if (!startBlock()) return nullptr;
  char* at = m_block->next;
  m_block->next += needed;
  ++m_block->made;
  ASAN_UNPOISON_MEMORY_REGION(at, needed);
  *reinterpret_cast<Block**>(at) = m_block;
  return at + kHeader;
}

bool ReadArena::startBlock() {
  leaveBlock();
  void* memory = blockCache().take();
  if (memory == nullptr) memory = std::malloc(kBlockBytes);
  if (memory == nullptr) {
    blockCache().untake();
    return false;
  }
  m_block = new (memory) Block();
  m_block->live.store(kFilling, std::memory_order_relaxed);
  m_block->made = 0;
  m_block->next = reinterpret_cast<char*>(m_block + 1);
  m_block->end = m_block->next + kBlockRoom;
  // Room not yet handed out reads as freed memory to the address sanitizer.
  ASAN_POISON_MEMORY_REGION(m_block->next, kBlockRoom);
  return true;
}

void ReadArena::leaveBlock() {
  if (m_block == nullptr) return;
  Block* block = m_block;
  m_block = nullptr;
  release(block, kFilling - block->made);
}

NodeRelease::NodeRelease() : m_nested(t_release != nullptr) {
  if (!m_nested) t_release = this;
}

NodeRelease::~NodeRelease() {
  if (m_nested) return;
  t_release = nullptr;
  if (m_block != nullptr) release(m_block, m_count);
}

void* NodeMemory::allocate(std::size_t size) {
  if (ReadArena* arena = t_arena) {
    if (void* node = arena->allocate(size)) return node;
  }
  void* memory = std::malloc(kHeader + size);
  if (memory == nullptr) throw std::bad_alloc();
  *static_cast<ReadArena::Block**>(memory) = nullptr;
  return static_cast<char*>(memory) + kHeader;
}

void NodeMemory::deallocate(void* node, std::size_t size) noexcept {
  if (node == nullptr) return;
  char* at = static_cast<char*>(node) - kHeader;
  ReadArena::Block* block = *reinterpret_cast<ReadArena::Block**>(at);
  if (block == nullptr) {
    std::free(at);
    return;
  }
  // A node of a block stays poisoned until the block itself goes.
  ASAN_POISON_MEMORY_REGION(at, kHeader + roundUp(size));
  if (NodeRelease* batch = t_release) {
    // Nodes let go of in a run lie one after the other: asking early for the
    // memory a few dozen nodes on keeps a tree that has left the caches from
    // waiting on every node (a prefetch never faults, even past the block).
    __builtin_prefetch(at + kReleaseAhead, 1);
    if (block == batch->m_block) {
      ++batch->m_count;
      return;
    }
    if (batch->m_block != nullptr) release(batch->m_block, batch->m_count);
    batch->m_block = block;
    batch->m_count = 1;
    return;
  }
  release(block, 1);
}

}  // namespace json
