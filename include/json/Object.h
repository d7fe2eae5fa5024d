// A document object: named elements in insertion order. Names are unique within
// an object; lookup is a linear search from the start.
#pragma once

#include <NorvaneExport.h>

#include <json/NodeAllocator.h>
#include <json/UnknownElement.h>

#include <cstddef>
#include <list>
#include <string>

namespace json {

class NORVANE_API Object {
 public:
  struct NORVANE_API Member {
    // An empty name and a null element.
    Member();
    Member(const std::string& nameIn, const UnknownElement& elementIn = UnknownElement());

    bool operator==(const Member& member) const;

    std::string name;
    UnknownElement element;
  };

  typedef std::list<Member, NodeAllocator<Member>> Members;
  typedef Members::iterator iterator;
  typedef Members::const_iterator const_iterator;

  iterator begin() { return m_Members.begin(); }
  iterator end() { return m_Members.end(); }
  const_iterator begin() const { return m_Members.begin(); }
  const_iterator end() const { return m_Members.end(); }

  size_t size() const { return m_Members.size(); }
  bool empty() const { return m_Members.empty(); }

  // The first member of that name, or end().
  iterator find(const std::string& name);
  const_iterator find(const std::string& name) const;

  // Puts the member before itWhere (the end by default). Throws
  // Exception("Object member already exists: <name>") if the name is taken.
  iterator insert(const Member& member);
  iterator insert(const Member& member, iterator itWhere);

  iterator erase(iterator itWhere);
  void clear() { m_Members.clear(); }

  // The element of that name; a missing name is appended as a null member.
  UnknownElement& operator[](const std::string& name);
  // The element of that name; throws Exception("Object member not found: <name>").
  const UnknownElement& operator[](const std::string& name) const;

  // Equal sizes and equal members pairwise, in order.
  bool operator==(const Object& object) const;
  bool operator!=(const Object& object) const { return !(*this == object); }

 private:
  friend class Reader;
  friend class ElementTree;

  Members m_Members;
};

}  // namespace json
