// The blocks a read makes its nodes in (see json/NodeAllocator.h).
#pragma once

#include <cstddef>

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
  void* allocate(std::size_t size);

  struct Block;

 private:
  bool startBlock();
  void leaveBlock();

  ReadArena* m_previous;
  Block* m_block = nullptr;
};

}  // namespace json
