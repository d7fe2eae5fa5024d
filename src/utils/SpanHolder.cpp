#include <utils/SpanHolder.h>

#include <algorithm>

namespace utils {

SpanHolder::SpanHolder() {}

void SpanHolder::addArrayRef(std::uint16_t ref) { m_array_refs.push_back(ref); }

std::uint16_t SpanHolder::getArrayCount() {
  return static_cast<std::uint16_t>(m_array_refs.size());
}

std::vector<std::uint16_t> SpanHolder::getArrayRefs() { return m_array_refs; }

std::uint16_t SpanHolder::getDriveGroupId() {
  // An empty span has no smallest reference; it answers 0xffff, a reference no
  // group carries, instead of reading past the vector.
  if (m_array_refs.empty()) return 0xffff;
  return *std::min_element(m_array_refs.begin(), m_array_refs.end());
}

std::string SpanHolder::getRaidLevel() { return "1"; }

}  // namespace utils
