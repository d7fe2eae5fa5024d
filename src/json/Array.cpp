#include <json/Array.h>

namespace json {

Array::iterator Array::insert(const UnknownElement& element) {
  return insert(element, end());
}

Array::iterator Array::insert(const UnknownElement& element, iterator itWhere) {
  return m_Elements.insert(itWhere, element);
}

Array::iterator Array::erase(iterator itWhere) { return m_Elements.erase(itWhere); }

UnknownElement& Array::operator[](size_t index) {
  if (index >= m_Elements.size()) {
    // Grown in two steps so that the largest index cannot wrap the new size to 0.
    m_Elements.resize(index);
    m_Elements.emplace_back();
  }
  return m_Elements[index];
}

// A const array cannot grow, so reading past its end is an error rather than a
// silent null.
const UnknownElement& Array::operator[](size_t index) const {
  if (index >= m_Elements.size()) throw Exception("Array out of bounds");
  return m_Elements[index];
}

bool Array::operator==(const Array& array) const {
  if (m_Elements.size() != array.m_Elements.size()) return false;
  for (size_t i = 0; i < m_Elements.size(); ++i)
    if (!(m_Elements[i] == array.m_Elements[i])) return false;
  return true;
}

}  // namespace json
