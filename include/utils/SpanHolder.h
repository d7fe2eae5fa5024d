// The array references of one span of a RAID configuration.
#pragma once

#include <NorvaneExport.h>

#include <cstdint>
#include <string>
#include <vector>

namespace utils {

class NORVANE_API SpanHolder {
 public:
  SpanHolder();

  void addArrayRef(std::uint16_t ref);
  // Number of references, cut to 16 bits.
  std::uint16_t getArrayCount();
  // The references in the order they were added.
  std::vector<std::uint16_t> getArrayRefs();
  // The smallest reference; 0xffff for an empty span.
  std::uint16_t getDriveGroupId();
  // Always "1".
  std::string getRaidLevel();

 private:
  std::vector<std::uint16_t> m_array_refs;
};

}  // namespace utils
