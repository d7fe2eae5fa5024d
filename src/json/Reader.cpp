#include <json/Reader.h>

#include <charconv>
#include <locale>
#include <memory>
#include <sstream>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "json/Scanner.h"

namespace json {
namespace {

// The whole rest of the stream. The document is scanned from memory; a stream
// that is already failed reads as empty.
std::string readAll(std::istream& istr) {
  std::string text;
  std::streambuf* buffer = istr.rdbuf();
  if (buffer != nullptr && istr.good()) {
    std::streamsize available = buffer->in_avail();
    size_t length = 0;
    text.resize(available > 0 ? static_cast<size_t>(available) + 1 : 65536);
    for (;;) {
      std::streamsize got = buffer->sgetn(&text[length], static_cast<std::streamsize>(text.size() - length));
      if (got <= 0) break;
      length += static_cast<size_t>(got);
      if (length == text.size()) text.resize(text.size() * 2);
    }
    text.resize(length);
  }
  istr.setstate(std::ios::eofbit);
  return text;
}

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

// Reads a number token the way a string stream's >> does, and accepts it when the
// stream ends up at its end. That is the only test: a text that fails to convert
// at its very end, such as "-" or "1e", is accepted as 0, and a value out of
// range as the largest double. Otherwise badChar is what the stream would give
// next. Always in the C form, whatever the global locale.
bool readNumber(const char* p, size_t length, double& value, char& badChar) {
  const char* end = p + length;
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
  Parser(const std::string& text, Object& root)
      : m_scanner(text.data(), text.size()), m_root(root), m_rootSize(root.size()) {}

  void run() {
    try {
      parseRoot();
    } catch (const ScanException&) {
      // Nothing is parsed unless everything scans: the target stays as it was.
      while (m_root.m_Members.size() > m_rootSize) m_root.m_Members.pop_back();
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
    Token nameToken;
    std::unique_ptr<std::unordered_set<std::string_view>> names;
  };

  const Token* peek() {
    if (!m_hasNext) {
      if (!m_scanner.next(m_next)) return nullptr;
      m_hasNext = true;
      m_last = m_next;
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
        throw ParseException("Unexpected end of token stream", m_scanner.locate(end),
                             m_scanner.locate(end));
      }
      fail("Unexpected end of token stream", m_last);
    }
    return *token;
  }

  Token take(TokenKind kind) {
    Token token = peekOrFail();
    m_hasNext = false;
    if (token.kind != kind) fail("Unexpected token: " + m_scanner.text(token), token);
    return token;
  }

  [[noreturn]] void fail(const std::string& message, const Token& token) {
    Token rest;
    while (m_scanner.next(rest)) {
    }
    throw ParseException(message, m_scanner.locate(token.begin), m_scanner.locate(token.end));
  }

  // Opens a frame for an object whose begin token has been taken.
  void openObject(Object& object) {
    const Token* next = peek();
    m_frames.push_back({&object, nullptr, next != nullptr && next->kind != TokenKind::kObjectEnd,
                        false, Token(), nullptr});
  }

  void openArray(UnknownElement& element) {
    auto* imp = new UnknownElement::Imp_T<Array>();
    element.m_pImp = imp;
    const Token* next = peek();
    m_frames.push_back({nullptr, &imp->m_Element,
                        next != nullptr && next->kind != TokenKind::kArrayEnd, false, Token(),
                        nullptr});
  }

  // Parses into a fresh null element; a container only opens a frame here.
  void parseElement(UnknownElement& element) {
    const Token token = peekOrFail();
    switch (token.kind) {
      case TokenKind::kObjectBegin: {
        m_hasNext = false;
        auto* imp = new UnknownElement::Imp_T<Object>();
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
        auto* imp = new UnknownElement::Imp_T<String>();
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
        element.m_pImp = new UnknownElement::Imp_T<Number>(Number(value));
        break;
      }
      case TokenKind::kBoolean:
        m_hasNext = false;
        element.m_pImp = new UnknownElement::Imp_T<Boolean>(Boolean(*m_scanner.data(token) == 't'));
        break;
      case TokenKind::kNull:
        m_hasNext = false;
        break;
      default:
        fail("Unexpected token: " + m_scanner.text(token), token);
    }
  }

  // The member just parsed is the object's last; it stays only if its name is new.
  void finishMember(Frame& frame) {
    Object::Members& members = frame.object->m_Members;
    const std::string& name = members.back().name;
    bool duplicate = false;
    if (members.size() <= kLinearNameSearch) {
      auto last = std::prev(members.end());
      for (auto it = members.begin(); it != last; ++it) {
        if (it->name == name) {
          duplicate = true;
          break;
        }
      }
    } else {
      if (!frame.names) {
        frame.names.reset(new std::unordered_set<std::string_view>());
        frame.names->reserve(members.size() * 2);
        auto last = std::prev(members.end());
        for (auto it = members.begin(); it != last; ++it) frame.names->insert(it->name);
      }
      duplicate = !frame.names->insert(name).second;
    }
    if (duplicate) {
      std::string message = "Duplicate object member token: " + name;
      members.pop_back();
      if (m_frames.size() == 1) m_rootMemberOpen = false;
      fail(message, frame.nameToken);
    }
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
        frame.nameToken = peekOrFail();
        take(TokenKind::kString);
        take(TokenKind::kMemberAssign);
        Object::Members& members = frame.object->m_Members;
        members.emplace_back();
        m_scanner.decode(frame.nameToken, members.back().name);
        if (m_frames.size() == 1) m_rootMemberOpen = true;
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
  Token m_next{};
  bool m_hasNext = false;
  Token m_last{};
  bool m_hasLast = false;
  Object& m_root;
  const size_t m_rootSize;
  bool m_rootMemberOpen = false;
  std::vector<Frame> m_frames;
};

void Reader::Read(Object& object, std::istream& istr) {
  const std::string text = readAll(istr);
  Parser parser(text, object);
  parser.run();
}

}  // namespace json
