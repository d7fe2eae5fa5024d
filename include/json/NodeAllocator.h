// The memory of document nodes: the elements, the members of objects and the
// slots of arrays.
//
// A node made outside a read comes from the global heap. The nodes a read makes
// come from blocks the read takes for itself, one node after the other, and a block
// goes back to the heap when the last node in it is gone. So reading a document
// costs no heap call per node, and letting go of it only counts nodes down, while a
// document still behaves in every way as one made node by node: its parts can be
// kept, moved, changed and freed one by one, on any thread.
#pragma once

#include <NorvaneExport.h>

#include <cstddef>

namespace json {

class NORVANE_API NodeMemory {
 public:
  // Memory for one node of `size` bytes, aligned for any node (8 bytes).
  static void* allocate(std::size_t size);
  // Gives back what allocate gave; `size` is the size asked for then.
  static void deallocate(void* node, std::size_t size) noexcept;
};

// The allocator of the containers inside objects and arrays.
template <typename T>
class NodeAllocator {
 public:
  typedef T value_type;

  NodeAllocator() noexcept = default;
  template <typename U>
  NodeAllocator(const NodeAllocator<U>&) noexcept {}

  T* allocate(std::size_t count) {
    static_assert(alignof(T) <= 8, "nodes are aligned to 8 bytes");
    return static_cast<T*>(NodeMemory::allocate(count * sizeof(T)));
  }
  void deallocate(T* node, std::size_t count) noexcept { NodeMemory::deallocate(node, count * sizeof(T)); }

  template <typename U>
  bool operator==(const NodeAllocator<U>&) const noexcept {
    return true;
  }
  template <typename U>
  bool operator!=(const NodeAllocator<U>&) const noexcept {
    return false;
  }
};

}  // namespace json
