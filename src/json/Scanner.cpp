#include "json/Scanner.h"

#include <cstring>

namespace json {
namespace {

enum CharClass : unsigned char { kOther = 0, kSpace = 1, kNumberChar = 2 };

// White space as isspace sees it in the C locale; the characters a number token
// is made of.
struct CharTable {
  CharTable() {
    std::memset(classes, kOther, sizeof classes);
    for (unsigned char c : std::string(" \t\n\v\f\r")) classes[c] = kSpace;
    for (unsigned char c : std::string("0123456789.eE-+")) classes[c] = kNumberChar;
  }
  unsigned char classes[256];
};

const CharTable kChars;

inline unsigned char classOf(char c) { return kChars.classes[static_cast<unsigned char>(c)]; }

}  // namespace

void Scanner::fail(const std::string& message, const char* at) const {
  throw Reader::ScanException(message, locate(static_cast<size_t>(at - m_text)));
}

Reader::Location Scanner::locate(size_t offset) const {
  Reader::Location location;
  const char* stop = m_text + offset;
  const char* lineStart = m_text;
  unsigned int lines = 0;
  for (const char* p = m_text;; ++p) {
    p = static_cast<const char*>(std::memchr(p, '\n', static_cast<size_t>(stop - p)));
    if (p == nullptr) break;
    ++lines;
    lineStart = p + 1;
  }
  location.m_nLine = lines;
  location.m_nLineOffset = static_cast<unsigned int>(stop - lineStart);
  location.m_nDocOffset = static_cast<unsigned int>(offset);
  return location;
}

// Fails at the end of the text, or just past the first character that differs.
void Scanner::expect(const char* expected, size_t length) {
  for (size_t i = 0; i < length; ++i) {
    if (m_pos == m_end) fail(std::string("Expected string: ") + expected, m_pos);
    if (*m_pos++ != expected[i]) fail(std::string("Expected string: ") + expected, m_pos);
  }
}

void Scanner::scanString(Token& token) {
  ++m_pos;  // the opening quotation mark
  const char* p = m_pos;
  bool escaped = false;
  for (;;) {
    while (p != m_end && *p != '"' && *p != '\\') ++p;
    if (p == m_end || *p == '"') break;
    // A backslash as the very last character stays as it is; the missing closing
    // quotation mark is the error then.
    if (p + 1 == m_end) {
      ++p;
      break;
    }
    switch (p[1]) {
      case '"': case '/': case '\\': case 'b': case 'f': case 'n': case 'r': case 't':
        break;
      default:
        fail(std::string("Unrecognized escape sequence found in string: \\") + p[1], p + 2);
    }
    escaped = true;
    p += 2;
  }
  m_pos = p;
  expect("\"", 1);
  token.escaped = escaped;
}

bool Scanner::next(Token& token) {
  while (m_pos != m_end && classOf(*m_pos) == kSpace) ++m_pos;
  if (m_pos == m_end) return false;
  token.begin = static_cast<size_t>(m_pos - m_text);
  token.escaped = false;
  switch (*m_pos) {
    case '"':
      token.kind = TokenKind::kString;
      scanString(token);
      break;
    case ',':
      token.kind = TokenKind::kNextElement;
      ++m_pos;
      break;
    case ':':
      token.kind = TokenKind::kMemberAssign;
      ++m_pos;
      break;
    case '[':
      token.kind = TokenKind::kArrayBegin;
      ++m_pos;
      break;
    case ']':
      token.kind = TokenKind::kArrayEnd;
      ++m_pos;
      break;
    case '{':
      token.kind = TokenKind::kObjectBegin;
      ++m_pos;
      break;
    case '}':
      token.kind = TokenKind::kObjectEnd;
      ++m_pos;
      break;
    case 'f':
      token.kind = TokenKind::kBoolean;
      expect("false", 5);
      break;
    case 't':
      token.kind = TokenKind::kBoolean;
      expect("true", 4);
      break;
    case 'n':
      token.kind = TokenKind::kNull;
      expect("null", 4);
      break;
    case '-': case '0': case '1': case '2': case '3': case '4':
    case '5': case '6': case '7': case '8': case '9':
      token.kind = TokenKind::kNumber;
      ++m_pos;
      while (m_pos != m_end && classOf(*m_pos) == kNumberChar) ++m_pos;
      break;
    default:
      fail(std::string("Unexpected character in stream: ") + *m_pos, m_pos);
  }
  token.end = static_cast<size_t>(m_pos - m_text);
  return true;
}

void Scanner::decode(const Token& token, std::string& out) const {
  const char* p = m_text + token.begin + 1;
  const char* end = m_text + token.end - 1;
  if (!token.escaped) {
    out.append(p, end);
    return;
  }
  while (p != end) {
    const char* run = p;
    while (p != end && *p != '\\') ++p;
    out.append(run, p);
    if (p == end) break;
    char c = p[1];
    switch (c) {
      case 'b': c = '\b'; break;
      case 'f': c = '\f'; break;
      case 'n': c = '\n'; break;
      case 'r': c = '\r'; break;
      case 't': c = '\t'; break;
      default: break;  // the quotation mark, '/' and the backslash give themselves
    }
    out += c;
    p += 2;
  }
}

std::string Scanner::text(const Token& token) const {
  switch (token.kind) {
    case TokenKind::kObjectBegin: return "{";
    case TokenKind::kObjectEnd: return "}";
    case TokenKind::kArrayBegin: return "[";
    case TokenKind::kArrayEnd: return "]";
    case TokenKind::kNextElement: return ",";
    case TokenKind::kMemberAssign: return ":";
    case TokenKind::kString: {
      std::string decoded;
      decode(token, decoded);
      return decoded;
    }
    default:
      return std::string(m_text + token.begin, m_text + token.end);
  }
}

}  // namespace json
