#include "json/Scanner.h"

#include <algorithm>
#include <climits>
#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

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

// Read a block at a time; a token longer than the buffer makes it grow.
constexpr size_t kBlock = 64 << 10;

// The get area of a stream buffer, reached the way a class derived from it may
// reach its protected members.
struct GetArea : std::streambuf {
  static const char* next(std::streambuf& buffer) { return (buffer.*&GetArea::gptr)(); }
  // What the get area holds now. Not in_avail(): where the get area is empty, that
  // asks showmanyc(), and a file buffer answers with the bytes left in the file.
  static size_t held(std::streambuf& buffer) {
    return static_cast<size_t>((buffer.*&GetArea::egptr)() - next(buffer));
  }
  static void skip(std::streambuf& buffer, size_t count) {
    for (; count > 0;) {
      const int step = static_cast<int>(std::min<size_t>(count, INT_MAX));
      (buffer.*&GetArea::gbump)(step);
      count -= static_cast<size_t>(step);
    }
  }
};

// The first quotation mark or backslash in [p, end), or end: sixteen characters
// at a time where the instruction set has it.
const char* findQuoteOrBackslash(const char* p, const char* end) {
#ifdef __SSE2__
  const __m128i quote = _mm_set1_epi8('"');
  const __m128i backslash = _mm_set1_epi8('\\');
  for (; end - p >= 16; p += 16) {
    const __m128i chunk = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    const int found = _mm_movemask_epi8(_mm_or_si128(_mm_cmpeq_epi8(chunk, quote), _mm_cmpeq_epi8(chunk, backslash)));
    if (found != 0) return p + __builtin_ctz(static_cast<unsigned>(found));
  }
#endif
  while (p != end && *p != '"' && *p != '\\') ++p;
  return p;
}

}  // namespace

Scanner::Scanner(std::streambuf* source) : m_source(source) {
  const size_t available = source != nullptr ? GetArea::held(*source) : 0;
  m_ended = source == nullptr;
  if (available > 0) {
    m_text = GetArea::next(*source);
    m_limit = available;
    m_borrowed = true;
    return;
  }
  m_capacity = kBlock;
  m_buffer.reset(new char[m_capacity]);
  m_text = m_buffer.get();
}

void Scanner::endBorrowing() {
  GetArea::skip(*m_source, m_limit - m_base);
  m_borrowed = false;
}

bool Scanner::refill() {
  if (m_ended) return false;
  const size_t dropped = m_keep - m_base;
  for (const char* p = m_text; (p = static_cast<const char*>(std::memchr(p, '\n', dropped - (p - m_text))));) {
    ++m_droppedLines;
    m_droppedLineStart = offsetOf(++p);
  }
  const size_t held = m_limit - m_keep;
  if (m_borrowed) {
    endBorrowing();
    m_capacity = std::max(kBlock, 2 * held);
    m_buffer.reset(new char[m_capacity]);
    std::memcpy(m_buffer.get(), m_text + dropped, held);
  } else if (dropped > 0) {
    std::memmove(m_buffer.get(), m_buffer.get() + dropped, held);
  }
  m_text = m_buffer.get();
  m_base = m_keep;
  if (held == m_capacity) {
    std::unique_ptr<char[]> grown(new char[m_capacity * 2]);
    std::memcpy(grown.get(), m_buffer.get(), held);
    m_buffer = std::move(grown);
    m_text = m_buffer.get();
    m_capacity *= 2;
  }
  const std::streamsize got =
      m_source->sgetn(m_buffer.get() + held, static_cast<std::streamsize>(m_capacity - held));
  if (got <= 0) {
    m_ended = true;
    return false;
  }
  m_limit += static_cast<size_t>(got);
  return true;
}

void Scanner::drain() {
  if (m_ended) return;
  if (m_borrowed) endBorrowing();
  char sink[4096];
  while (m_source->sgetn(sink, sizeof sink) > 0) {
  }
  m_ended = true;
}

void Scanner::fail(const std::string& message, size_t offset) const {
  throw Reader::ScanException(message, locate(offset));
}

Reader::Location Scanner::locate(size_t offset) const {
  Reader::Location location;
  unsigned int lines = m_droppedLines;
  size_t lineStart = m_droppedLineStart;
  const char* begin = m_text;
  const char* stop = at(offset);
  for (const char* p = begin; (p = static_cast<const char*>(std::memchr(p, '\n', static_cast<size_t>(stop - p))));) {
    ++lines;
    lineStart = offsetOf(++p);
  }
  location.m_nLine = lines;
  location.m_nLineOffset = static_cast<unsigned int>(offset - lineStart);
  location.m_nDocOffset = static_cast<unsigned int>(offset);
  return location;
}

// Fails at the end of the text, or just past the first character that differs.
void Scanner::expect(const char* expected, size_t length) {
  if (m_limit - m_pos >= length) {
    const char* p = at(m_pos);
    size_t same = 0;
    while (same < length && p[same] == expected[same]) ++same;
    if (same == length) {
      m_pos += length;
      return;
    }
  }
  for (size_t i = 0; i < length; ++i) {
    if (m_pos == m_limit && !refill()) fail(std::string("Expected string: ") + expected, m_pos);
    if (*at(m_pos++) != expected[i]) fail(std::string("Expected string: ") + expected, m_pos);
  }
}

void Scanner::scanString(Token& token) {
  ++m_pos;  // the opening quotation mark
  bool escaped = false;
  for (;;) {
    const char* p = findQuoteOrBackslash(at(m_pos), at(m_limit));
    const char* end = at(m_limit);
    m_pos = offsetOf(p);
    if (p == end) {
      if (refill()) continue;
      break;
    }
    if (*p == '"') break;
    // A backslash as the very last character stays as it is; the missing closing
    // quotation mark is the error then.
    if (m_pos + 1 == m_limit && !refill()) {
      ++m_pos;
      break;
    }
    const char escape = *at(m_pos + 1);
    switch (escape) {
      case '"': case '/': case '\\': case 'b': case 'f': case 'n': case 'r': case 't':
        break;
      default:
        fail(std::string("Unrecognized escape sequence found in string: \\") + escape, m_pos + 2);
    }
    escaped = true;
    m_pos += 2;
  }
  if (m_pos != m_limit && *at(m_pos) == '"')
    ++m_pos;
  else
    expect("\"", 1);
  token.escaped = escaped;
}

bool Scanner::skipSpace() {
  for (;;) {
    const char* p = at(m_pos);
    const char* end = at(m_limit);
    while (p != end && classOf(*p) == kSpace) ++p;
    m_pos = offsetOf(p);
    if (p != end) return true;
    if (!refill()) return false;
  }
}

bool Scanner::single(Token& token, TokenKind kind) {
  token.kind = kind;
  token.end = ++m_pos;
  return true;
}

void Scanner::scanNumber() {
  ++m_pos;
  for (;;) {
    const char* p = at(m_pos);
    const char* end = at(m_limit);
    while (p != end && classOf(*p) == kNumberChar) ++p;
    m_pos = offsetOf(p);
    if (p != end || !refill()) break;
  }
}

bool Scanner::nextToken(Token& token) {
  if (!skipSpace()) return false;
  m_keep = m_pos;
  token.begin = m_pos;
  token.escaped = false;
  switch (*at(m_pos)) {
    case ',': return single(token, TokenKind::kNextElement);
    case ':': return single(token, TokenKind::kMemberAssign);
    case '[': return single(token, TokenKind::kArrayBegin);
    case ']': return single(token, TokenKind::kArrayEnd);
    case '{': return single(token, TokenKind::kObjectBegin);
    case '}': return single(token, TokenKind::kObjectEnd);
    case '"':
      token.kind = TokenKind::kString;
      scanString(token);
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
      scanNumber();
      break;
    default:
      fail(std::string("Unexpected character in stream: ") + *at(m_pos), m_pos);
  }
  token.end = m_pos;
  return true;
}

void Scanner::decode(const Token& token, std::string& out) const {
  const char* p = at(token.begin) + 1;
  const char* end = at(token.end) - 1;
  if (!token.escaped) {
    out.append(p, static_cast<size_t>(end - p));
    return;
  }
  // The decoded text is never longer than the escaped one: room for that, filled
  // in place, then cut to what was written.
  const size_t start = out.size();
  out.resize(start + static_cast<size_t>(end - p));
  char* w = &out[start];
  while (p != end) {
    char c = *p++;
    if (c == '\\') {
      switch (c = *p++) {
        case 'b': c = '\b'; break;
        case 'f': c = '\f'; break;
        case 'n': c = '\n'; break;
        case 'r': c = '\r'; break;
        case 't': c = '\t'; break;
        default: break;  // the quotation mark, '/' and the backslash give themselves
      }
    }
    *w++ = c;
  }
  out.resize(static_cast<size_t>(w - out.data()));
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
      return std::string(at(token.begin), at(token.end));
  }
}

}  // namespace json
