// Writes a document over several lines: one member or element per line, indented
// with tabs, names and values joined by " : ", empty containers as "{}" and "[]",
// numbers with twenty significant digits, and no newline after the root.
#pragma once

#include <NorvaneExport.h>

#include <json/Array.h>
#include <json/Object.h>
#include <json/Visitor.h>

#include <cstddef>
#include <cstring>
#include <ostream>
#include <string>
#include <vector>

namespace json {

class NORVANE_API Writer : private ConstVisitor {
 public:
  static void Write(const Object& object, std::ostream& ostr);

 private:
  explicit Writer(std::ostream& ostr);

  void Visit(const Null& null) override;
  void Visit(const Boolean& boolean) override;
  void Visit(const String& string) override;
  void Visit(const UnsignedInteger& unsignedInteger) override;
  void Visit(const Number& number) override;
  void Visit(const Object& object) override;
  void Visit(const Array& array) override;

  // One open container. The writer keeps these on its own stack rather than
  // recursing, so depth is bounded by memory only.
  struct OpenContainer {
    const Object* object;
    const Array* array;
    Object::const_iterator nextMember;
    Array::const_iterator nextElement;
    bool lineOpen;
  };

  void writeContainers();
  void writeTabs();
  void writeString(const std::string& s);
  void endLine();
  void emitLine();
  // Marks the stream bad; from then on it is written through its own write().
  void streamFailed();
  void setPrecision() {
    if (m_precisionSet) return;
    m_ostr.precision(20);
    m_precisionSet = true;
  }

  // Room for `count` more characters at the end of the line being made.
  char* room(size_t count) {
    if (m_line.size() - m_used < count) m_line.resize(2 * (m_used + count));
    return &m_line[m_used];
  }
  void put(const char* text, size_t count) {
    std::memcpy(room(count), text, count);
    m_used += count;
  }
  void put(char c) {
    *room(1) = c;
    ++m_used;
  }

  std::ostream& m_ostr;
  // Lines go to the stream buffer directly; false once a write or flush fails,
  // and for streams whose sentry would have work to do.
  bool m_plain;
  // Lines are gathered and handed over in large pieces, not one by one.
  bool m_gather;
  // The stream's precision is set once, with the first number written.
  bool m_precisionSet = false;
  int m_nTabDepth;
  // The line being made is m_line[0, m_used); the string's size is the room.
  std::string m_line;
  size_t m_used = 0;
  std::vector<OpenContainer> m_open;
};

}  // namespace json
