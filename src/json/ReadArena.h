// The blocks a read makes its nodes in (see json/NodeAllocator.h).
#pragma once

#include <sanitizer/asan_interface.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace json {

// While alive, every node this thread makes comes from blocks of this arena, one
// after the other. A block goes back to the heap once the arena has moved on from
// it (at the latest when the arena ends) and every node in it is gone.
class ReadArena {
 public:
  ReadArena();
  ~ReadArena();
  ReadArena(const ReadArena&) = delete;
  ReadArena& operator=(const ReadArena&) = delete;

  // A node from the current block, or null when it is too big for any block.
  // The common case, room left in the current block, is inline.
  void* allocate(std::size_t size) {
    const std::size_t needed = kHeader + ((size + 7) & ~std::size_t(7));
    if (needed <= kLargestNode && m_block != nullptr && static_cast<std::size_t>(m_block->end - m_block->next) >= needed) {
      char* at = m_block->next;
      m_block->next += needed;
      ++m_block->made;
      ASAN_UNPOISON_MEMORY_REGION(at, needed);
      *reinterpret_cast<Block**>(at) = m_block;
      return at + kHeader;
    }
    return allocateInNewBlock(size);
  }

  // A block of nodes. Every node in it is preceded by the block's address; a node
  // from the heap is preceded by null instead.
  struct Block {
    // Nodes still alive, plus a large bias while the arena still fills the block:
    // the count can reach zero only once the arena has left it.
    std::atomic<std::int64_t> live;
    std::int64_t made;
    char* next;
    char* end;
  };

  static constexpr std::size_t kHeader = sizeof(void*);
  // Every block has this size, header included, so that any can serve again for
  // any read; small enough to come from the heap proper rather than from a
  // mapping of its own.
  static constexpr std::size_t kBlockBytes = 64 << 10;
  // Bigger nodes (the map of a very long array) come from the heap.
  static constexpr std::size_t kLargestNode = (kBlockBytes - sizeof(Block)) / 4;

 private:
  void* allocateInNewBlock(std::size_t size);
  bool startBlock();
  void leaveBlock();

  ReadArena* m_previous;
  Block* m_block = nullptr;
};

// While alive, the nodes this thread lets go of are counted off their blocks in
// runs: a run of nodes from one block costs one atomic count instead of one per
// node. A tree taken apart in the order it was made frees whole runs at a time.
// The outermost one on a thread does the counting; those inside it do nothing.
class NodeRelease {
 public:
  NodeRelease();
  ~NodeRelease();
  NodeRelease(const NodeRelease&) = delete;
  NodeRelease& operator=(const NodeRelease&) = delete;

 private:
  friend class NodeMemory;
  const bool m_nested;
  ReadArena::Block* m_block = nullptr;
  std::int64_t m_count = 0;
};

}  // namespace json
