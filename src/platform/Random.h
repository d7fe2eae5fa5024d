#pragma once

#include <cstddef>

namespace platform {

// The system's cryptographically secure random source.
class Random {
 public:
  virtual ~Random() = default;
  // Fills all size bytes of buffer; false when the source cannot, in which case the
  // buffer's content is unspecified.
  virtual bool fill(void* buffer, std::size_t size) = 0;
};

}  // namespace platform
