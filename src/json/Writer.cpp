#include <json/Writer.h>

#include <charconv>
#include <cstring>
#include <sstream>
#include <typeinfo>

#include "json/NumberText.h"

namespace json {

namespace {

// The second character of the escape pair of each character the string rule
// escapes; 0 for the characters written as they are.
struct EscapeTable {
  EscapeTable() : second{} {
    const char pairs[][2] = {{'\b', 'b'}, {'\t', 't'}, {'\n', 'n'}, {'\f', 'f'},
                             {'\r', 'r'}, {'"', '"'},   {'\\', '\\'}};
    for (const auto& pair : pairs) second[static_cast<unsigned char>(pair[0])] = pair[1];
  }
  char second[256];
};

const EscapeTable kEscapes;

// The size of the pieces gathered lines go to a string stream in.
constexpr size_t kGathered = 32 << 10;

// How far ahead of the node being written its followers are fetched (bytes). A
// document read from text lies in its node blocks in document order, the order
// it is written in: asking early for the memory a few dozen nodes on keeps a tree
// that has left the caches from stalling the writer at every node.
constexpr size_t kWalkAhead = 4096;

}  // namespace

// The sentry of the stream's write() and flush() has nothing to do for a good
// stream with no tied stream, no unit buffering and no exceptions asked for;
// lines then go to the buffer directly, with the same result. None of these
// change while a document is written, except the state, which only the writer's
// own failures change.
// A string stream's own buffer does nothing when it is flushed, and nothing else
// sees it while a document is written, so its lines go to it in large pieces.
Writer::Writer(std::ostream& ostr)
    : m_ostr(ostr),
      m_plain(ostr.rdbuf() != nullptr && ostr.good() && ostr.tie() == nullptr &&
              ostr.exceptions() == std::ios::goodbit && (ostr.flags() & std::ios::unitbuf) == 0),
      m_gather(m_plain && typeid(*ostr.rdbuf()) == typeid(std::stringbuf)),
      m_nTabDepth(0) {}

void Writer::Write(const Object& object, std::ostream& ostr) {
  Writer writer(ostr);
  writer.Visit(object);
  writer.writeContainers();
  writer.emitLine();
  ostr.flush();
}

void Writer::streamFailed() {
  m_ostr.setstate(std::ios::badbit);
  m_plain = false;
  m_gather = false;
}

// Text is gathered a line at a time and handed to the stream at each line end,
// followed by a flush, so the stream sees every line as soon as it is complete
// (a string stream, whose flush does nothing, takes the lines in pieces).
void Writer::endLine() {
  put('\n');
  if (m_gather) {
    if (m_used >= kGathered) emitLine();
    return;
  }
  emitLine();
  std::ostream& out = m_ostr;
  if (m_plain) {
    try {
      if (out.rdbuf()->pubsync() == -1) streamFailed();
    } catch (...) {
      streamFailed();
    }
  } else {
    out.flush();
  }
}

// Hands the text made so far to the stream, as write() does.
void Writer::emitLine() {
  std::ostream& out = m_ostr;
  const std::streamsize count = static_cast<std::streamsize>(m_used);
  m_used = 0;
  if (m_plain) {
    try {
      if (out.rdbuf()->sputn(m_line.data(), count) != count) streamFailed();
    } catch (...) {
      streamFailed();
    }
  } else {
    out.write(m_line.data(), count);
  }
}

void Writer::writeTabs() {
  const size_t count = static_cast<size_t>(m_nTabDepth);
  std::memset(room(count), '\t', count);
  m_used += count;
}

// Room for the string as it is is made first; an escape pair makes room for the
// rest again, as each pair takes one character more.
void Writer::writeString(const std::string& s) {
  const char* p = s.data();
  const char* const end = p + s.size();
  char* out = room(s.size() + 2);
  *out++ = '"';
  for (; p != end; ++p) {
    const char second = kEscapes.second[static_cast<unsigned char>(*p)];
    if (second == 0) {
      *out++ = *p;
      continue;
    }
    m_used = static_cast<size_t>(out - m_line.data());
    out = room(static_cast<size_t>(end - p) + 2);
    *out++ = '\\';
    *out++ = second;
  }
  *out++ = '"';
  m_used = static_cast<size_t>(out - m_line.data());
}

void Writer::Visit(const Null&) { put("null", 4); }

void Writer::Visit(const Boolean& boolean) {
  if (boolean.Value())
    put("true", 4);
  else
    put("false", 5);
}

void Writer::Visit(const String& string) { writeString(string.Value()); }

void Writer::Visit(const UnsignedInteger& unsignedInteger) {
  setPrecision();
  char buffer[32];
  std::to_chars_result result = std::to_chars(buffer, buffer + sizeof buffer, unsignedInteger);
  put(buffer, static_cast<size_t>(result.ptr - buffer));
}

// The stream's precision is still set to 20, as clients may rely on it afterwards.
void Writer::Visit(const Number& number) {
  setPrecision();
  char buffer[kNumberTextRoom];
  put(buffer, static_cast<size_t>(formatNumber(number.Value(), buffer) - buffer));
}

void Writer::Visit(const Object& object) {
  if (object.empty()) {
    put("{}", 2);
    return;
  }
  put('{');
  endLine();
  ++m_nTabDepth;
  m_open.push_back({&object, nullptr, object.begin(), Array::const_iterator(), false});
}

void Writer::Visit(const Array& array) {
  if (array.empty()) {
    put("[]", 2);
    return;
  }
  put('[');
  endLine();
  ++m_nTabDepth;
  m_open.push_back({nullptr, &array, Object::const_iterator(), array.begin(), false});
}

// Writes the content of the open containers, innermost first. Visiting a
// non-empty container opens another one here instead of recursing.
void Writer::writeContainers() {
  while (!m_open.empty()) {
    OpenContainer& open = m_open.back();
    const bool atEnd = open.object != nullptr ? open.nextMember == open.object->end()
                                              : open.nextElement == open.array->end();
    if (open.lineOpen) {
      if (!atEnd) put(',');
      endLine();
      open.lineOpen = false;
    }
    if (atEnd) {
      const char closing = open.object != nullptr ? '}' : ']';
      m_open.pop_back();
      --m_nTabDepth;
      writeTabs();
      put(closing);
      continue;
    }
    open.lineOpen = true;
    writeTabs();
    if (open.object != nullptr) {
      const Object::Member& member = *open.nextMember++;
      __builtin_prefetch(reinterpret_cast<const char*>(&member) + kWalkAhead);
      writeString(member.name);
      put(" : ", 3);
      member.element.Accept(*this);  // may open a container: `open` is stale from here
    } else {
      const UnknownElement& element = *open.nextElement++;
      __builtin_prefetch(reinterpret_cast<const char*>(&element) + kWalkAhead);
      element.Accept(*this);
    }
  }
}

}  // namespace json
