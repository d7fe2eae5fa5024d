#include <json/Object.h>

namespace json {

Object::Member::Member() = default;

Object::Member::Member(const std::string& nameIn, const UnknownElement& elementIn)
    : name(nameIn), element(elementIn) {}

bool Object::Member::operator==(const Member& member) const {
  return name == member.name && element == member.element;
}

Object::iterator Object::find(const std::string& name) {
  iterator it = m_Members.begin();
  while (it != m_Members.end() && it->name != name) ++it;
  return it;
}

Object::const_iterator Object::find(const std::string& name) const {
  const_iterator it = m_Members.begin();
  while (it != m_Members.end() && it->name != name) ++it;
  return it;
}

Object::iterator Object::insert(const Member& member) { return insert(member, end()); }

Object::iterator Object::insert(const Member& member, iterator itWhere) {
  if (find(member.name) != end()) throw Exception("Object member already exists: " + member.name);
  return m_Members.insert(itWhere, member);
}

Object::iterator Object::erase(iterator itWhere) { return m_Members.erase(itWhere); }

UnknownElement& Object::operator[](const std::string& name) {
  iterator it = find(name);
  if (it == end()) {
    m_Members.emplace_back();
    m_Members.back().name = name;
    return m_Members.back().element;
  }
  return it->element;
}

const UnknownElement& Object::operator[](const std::string& name) const {
  const_iterator it = find(name);
  if (it == end()) throw Exception("Object member not found: " + name);
  return it->element;
}

bool Object::operator==(const Object& object) const {
  if (m_Members.size() != object.m_Members.size()) return false;
  const_iterator other = object.begin();
  for (const_iterator it = begin(); it != end(); ++it, ++other)
    if (!(*it == *other)) return false;
  return true;
}

}  // namespace json
