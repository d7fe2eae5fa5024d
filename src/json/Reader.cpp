#include <json/Reader.h>

#include <charconv>
#include <cstdint>
#include <cstring>
#include <locale>
#include <memory>
#include <sstream>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include "json/ReadArena.h"
#include "json/Scanner.h"

namespace json {
namespace {

inline bool isDigit(char c) { return c >= '0' && c <= '9'; }

// The plain forms -?D*(.D*)?([eE][+-]?D+)? with at least one mantissa digit. A
// stream extraction consumes all of such a text, so the fast conversion below
// gives exactly what it would.
bool isPlainNumber(const char* p, const char* end) {
  if (p != end && *p == '-') ++p;
  size_t digits = 0;
  while (p != end && isDigit(*p)) ++p, ++digits;
  if (p != end && *p == '.') {
    ++p;
    while (p != end && isDigit(*p)) ++p, ++digits;
  }
  if (digits == 0) return false;
  if (p != end && (*p == 'e' || *p == 'E')) {
    ++p;
    if (p != end && (*p == '+' || *p == '-')) ++p;
    if (p == end || !isDigit(*p)) return false;
    while (p != end && isDigit(*p)) ++p;
  }
  return p == end;
}

// Plain numbers of at most 15 digits (an integer below 2^53) whose power of ten
// lies within 10^-22..10^22: both are exact doubles, so one division or
// multiplication gives the correctly rounded value, the one from_chars gives.
// False for every other text, which then takes the general way.
bool convertShortNumber(const char* p, const char* end, double& value) {
  static constexpr double kPowers[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                       1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
  const bool negative = p != end && *p == '-';
  if (negative) ++p;
  std::uint64_t mantissa = 0;
  int digits = 0;
  int scale = 0;
  for (; p != end && isDigit(*p); ++p, ++digits) mantissa = mantissa * 10 + static_cast<unsigned>(*p - '0');
  if (p != end && *p == '.') {
    for (++p; p != end && isDigit(*p); ++p, ++digits, --scale) mantissa = mantissa * 10 + static_cast<unsigned>(*p - '0');
  }
  if (digits == 0 || digits > 15) return false;
  if (p != end && (*p == 'e' || *p == 'E')) {
    ++p;
    const bool negativeExponent = p != end && *p == '-';
    if (p != end && (*p == '+' || *p == '-')) ++p;
    if (p == end || !isDigit(*p)) return false;
    int exponent = 0;
    for (; p != end && isDigit(*p); ++p) {
      if (exponent < 1000) exponent = exponent * 10 + (*p - '0');
    }
    scale += negativeExponent ? -exponent : exponent;
  }
  if (p != end || scale < -22 || scale > 22) return false;
  const double magnitude = scale < 0 ? static_cast<double>(mantissa) / kPowers[-scale]
                                     : static_cast<double>(mantissa) * kPowers[scale];
  value = negative ? -magnitude : magnitude;
  return true;
}

// Reads a number token the way a string stream's >> does, and accepts it when the
// stream ends up at its end. That is the only test: a text that fails to convert
// at its very end, such as "-" or "1e", is accepted as 0, and a value out of
// range as the largest double. Otherwise badChar is what the stream would give
// next. Always in the C form, whatever the global locale.
bool readNumber(const char* p, size_t length, double& value, char& badChar) {
  const char* end = p + length;
  if (convertShortNumber(p, end, value)) return true;
  if (isPlainNumber(p, end)) {
    std::from_chars_result result = std::from_chars(p, end, value);
    if (result.ec == std::errc() && result.ptr == end) return true;
  }
  std::istringstream iStr(std::string(p, length));
  iStr.imbue(std::locale::classic());
  double dValue = 0;
  iStr >> dValue;
  if (!iStr.eof()) {
    badChar = static_cast<char>(iStr.peek());
    return false;
  }
  value = dValue;
  return true;
}

// Beyond this many members an object being read keeps a hash of its names, so
// the duplicate test stays cheap for wide objects.
constexpr size_t kLinearNameSearch = 24;

}  // namespace

// Parses the tokens as the scanner gives them. Whatever the parser finds wrong
// is reported only once the scanner has seen the rest of the text, because a scan
// error anywhere takes precedence. Containers are kept on a stack of frames
// rather than on the machine's stack, so depth is bounded by memory only.
class Reader::Parser {
 public:
  Parser(std::streambuf* source, Object& root, ReadArena& arena)
      : m_scanner(source), m_arena(arena), m_root(root), m_rootSize(root.size()) {}

  void run() {
    try {
      parseRoot();
    } catch (const ScanException&) {
      // Nothing is parsed unless everything scans: the target stays as it was.
      while (m_root.m_Members.size() > m_rootSize) m_root.m_Members.pop_back();
      // The whole stream is read, as when the text scans.
      m_scanner.drain();
      throw;
    } catch (...) {
      // A member of the target is added only once it is complete.
      if (m_rootMemberOpen) m_root.m_Members.pop_back();
      throw;
    }
  }

 private:
  struct Frame {
    Object* object;
    Array* array;
    bool more;       // another member or element follows
    bool childOpen;  // the last member or element is being parsed
    // The member being parsed repeats a name: where that name stands.
    bool duplicate;
    Location nameBegin;
    Location nameEnd;
    std::unique_ptr<std::unordered_set<std::string_view>> names;
  };

  // An element made in the read's arena directly, as operator new would make it
  // there, without looking the arena up for each.
  template <typename ElementTypeT, typename... Args>
  UnknownElement::Imp* make(Args&&... args) {
    using Imp = UnknownElement::Imp_T<ElementTypeT>;
    void* memory = m_arena.allocate(sizeof(Imp));
    if (memory == nullptr) return new Imp(std::forward<Args>(args)...);
    try {
      return ::new (memory) Imp(std::forward<Args>(args)...);
    } catch (...) {
      NodeMemory::deallocate(memory, sizeof(Imp));
      throw;
    }
  }

  // m_next keeps the latest token the scanner gave even after it has been taken.
  const Token* peek() {
    if (!m_hasNext) {
      if (!m_scanner.next(m_next)) return nullptr;
      m_hasNext = true;
      m_hasLast = true;
    }
    return &m_next;
  }

  const Token& peekOrFail() {
    const Token* token = peek();
    if (token == nullptr) {
      // A document that is empty or only white space has no last token to point
      // at; the error then points at the end of the text.
      if (!m_hasLast) {
        size_t end = m_scanner.size();
        throw ParseException("Unexpected end of token stream", m_scanner.locate(end), m_scanner.locate(end));
      }
      fail("Unexpected end of token stream", m_next);
    }
    return *token;
  }

  const Token& take(TokenKind kind) {
    const Token& token = peekOrFail();
    m_hasNext = false;
    if (token.kind != kind) fail("Unexpected token: " + m_scanner.text(token), token);
    return token;
  }

  // `token` is the latest the scanner gave.
  [[noreturn]] void fail(const std::string& message, const Token& token) {
    fail(message, m_scanner.locate(token.begin), m_scanner.locate(token.end));
  }

  [[noreturn]] void fail(const std::string& message, const Location& begin, const Location& end) {
    Token rest;
    while (m_scanner.next(rest)) {
    }
    throw ParseException(message, begin, end);
  }

  // Opens a frame for an object whose begin token has been taken.
  void openObject(Object& object) {
    const Token* next = peek();
    m_frames.push_back({&object, nullptr, next != nullptr && next->kind != TokenKind::kObjectEnd, false, false,
                        Location(), Location(), nullptr});
  }

  void openArray(UnknownElement& element) {
    auto* imp = static_cast<UnknownElement::Imp_T<Array>*>(make<Array>());
    element.m_pImp = imp;
    const Token* next = peek();
    m_frames.push_back({nullptr, &imp->m_Element, next != nullptr && next->kind != TokenKind::kArrayEnd, false,
                        false, Location(), Location(), nullptr});
  }

  // Parses into a fresh null element; a container only opens a frame here.
  void parseElement(UnknownElement& element) {
    const Token& token = peekOrFail();
    switch (token.kind) {
      case TokenKind::kObjectBegin: {
        m_hasNext = false;
        auto* imp = static_cast<UnknownElement::Imp_T<Object>*>(make<Object>());
        element.m_pImp = imp;
        openObject(imp->m_Element);
        break;
      }
      case TokenKind::kArrayBegin:
        m_hasNext = false;
        openArray(element);
        break;
      case TokenKind::kString: {
        m_hasNext = false;
        auto* imp = static_cast<UnknownElement::Imp_T<String>*>(make<String>());
        element.m_pImp = imp;
        m_scanner.decode(token, imp->m_Element.Value());
        break;
      }
      case TokenKind::kNumber: {
        m_hasNext = false;
        double value = 0;
        char badChar = 0;
        if (!readNumber(m_scanner.data(token), token.end - token.begin, value, badChar))
          fail(std::string("Unexpected character in NUMBER token: ") + badChar, token);
        element.m_pImp = make<Number>(Number(value));
        break;
      }
      case TokenKind::kBoolean:
        m_hasNext = false;
        element.m_pImp = make<Boolean>(Boolean(*m_scanner.data(token) == 't'));
        break;
      case TokenKind::kNull:
        m_hasNext = false;
        break;
      default:
        fail("Unexpected token: " + m_scanner.text(token), token);
    }
  }

  // Whether the member just added, the object's last, repeats an earlier name.
  // Told when the name is read; reported only once its element is parsed, as an
  // error in the element comes first.
  bool repeatsName(Frame& frame) {
    Object::Members& members = frame.object->m_Members;
    const std::string& name = members.back().name;
    if (members.size() <= kLinearNameSearch) {
      auto last = std::prev(members.end());
      const size_t length = name.size();
      for (auto it = members.begin(); it != last; ++it) {
        const std::string& other = it->name;
        if (other.size() == length && (length == 0 || (other[0] == name[0] && std::memcmp(other.data(), name.data(), length) == 0)))
          return true;
      }
      return false;
    }
    if (!frame.names) {
      frame.names.reset(new std::unordered_set<std::string_view>());
      frame.names->reserve(members.size() * 2);
      auto last = std::prev(members.end());
      for (auto it = members.begin(); it != last; ++it) frame.names->insert(it->name);
    }
    return !frame.names->insert(name).second;
  }

  // The member just parsed is the object's last; it stays only if its name is new.
  void finishMember(Frame& frame) {
    if (!frame.duplicate) return;
    Object::Members& members = frame.object->m_Members;
    std::string message = "Duplicate object member token: " + members.back().name;
    members.pop_back();
    if (m_frames.size() == 1) m_rootMemberOpen = false;
    fail(message, frame.nameBegin, frame.nameEnd);
  }

  void parseRoot() {
    take(TokenKind::kObjectBegin);
    openObject(m_root);
    while (!m_frames.empty()) {
      Frame& frame = m_frames.back();
      if (frame.childOpen) {
        frame.childOpen = false;
        if (frame.object != nullptr) {
          finishMember(frame);
          if (m_frames.size() == 1) m_rootMemberOpen = false;
        }
        const Token* next = peek();
        frame.more = next != nullptr && next->kind == TokenKind::kNextElement;
        if (frame.more) m_hasNext = false;
      }
      if (!frame.more) {
        take(frame.object != nullptr ? TokenKind::kObjectEnd : TokenKind::kArrayEnd);
        m_frames.pop_back();
        continue;
      }
      UnknownElement* child;
      if (frame.object != nullptr) {
        // The name's text is taken while it is still the latest token.
        const Token name = take(TokenKind::kString);
        Object::Members& members = frame.object->m_Members;
        members.emplace_back();
        m_scanner.decode(name, members.back().name);
        frame.duplicate = repeatsName(frame);
        if (frame.duplicate) {
          frame.nameBegin = m_scanner.locate(name.begin);
          frame.nameEnd = m_scanner.locate(name.end);
        }
        if (m_frames.size() == 1) m_rootMemberOpen = true;
        take(TokenKind::kMemberAssign);
        child = &members.back().element;
      } else {
        frame.array->m_Elements.emplace_back();
        child = &frame.array->m_Elements.back();
      }
      frame.childOpen = true;
      parseElement(*child);  // may open a frame: `frame` is stale from here
    }
    if (const Token* next = peek()) {
      const Token extra = *next;
      fail("Expected End of token stream; found " + m_scanner.text(extra), extra);
    }
  }

  Scanner m_scanner;
  ReadArena& m_arena;
  Token m_next{};
  bool m_hasNext = false;
  bool m_hasLast = false;
  Object& m_root;
  const size_t m_rootSize;
  bool m_rootMemberOpen = false;
  std::vector<Frame> m_frames;
};

void Reader::Read(Object& object, std::istream& istr) {
  // A stream that is already failed reads as empty.
  std::streambuf* source = istr.good() ? istr.rdbuf() : nullptr;
  ReadArena arena;
  Parser parser(source, object, arena);
  try {
    parser.run();
  } catch (...) {
    istr.setstate(std::ios::eofbit);
    throw;
  }
  istr.setstate(std::ios::eofbit);
}

}  // namespace json
