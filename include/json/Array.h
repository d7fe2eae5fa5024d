// A document array: elements in a double-ended queue.
#pragma once

#include <NorvaneExport.h>

#include <json/NodeAllocator.h>
#include <json/UnknownElement.h>

#include <cstddef>
#include <deque>

namespace json {

class NORVANE_API Array {
 public:
  typedef std::deque<UnknownElement, NodeAllocator<UnknownElement>> Elements;
  typedef Elements::iterator iterator;
  typedef Elements::const_iterator const_iterator;

  iterator begin() { return m_Elements.begin(); }
  iterator end() { return m_Elements.end(); }
  const_iterator begin() const { return m_Elements.begin(); }
  const_iterator end() const { return m_Elements.end(); }

  size_t size() const { return m_Elements.size(); }
  bool empty() const { return m_Elements.empty(); }

  // Puts the element before itWhere (the end by default).
  iterator insert(const UnknownElement& element);
  iterator insert(const UnknownElement& element, iterator itWhere);
  iterator erase(iterator itWhere);
  void clear() { m_Elements.clear(); }

  // Grows the array with nulls to index + 1 elements if it is shorter, then gives
  // the element.
  UnknownElement& operator[](size_t index);
  // Throws Exception("Array out of bounds") past the end.
  const UnknownElement& operator[](size_t index) const;

  // Equal sizes and equal elements pairwise, in order.
  bool operator==(const Array& array) const;
  bool operator!=(const Array& array) const { return !(*this == array); }

 private:
  friend class Reader;
  friend class ElementTree;

  Elements m_Elements;
};

}  // namespace json
