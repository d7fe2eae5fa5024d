// Cuts a document's text into tokens, one at a time, reading the stream a block at
// a time. The characters a stream buffer already holds (all of a string stream's)
// are scanned where they stand, without a copy; the scanner takes them from it
// once it has gone past them, and goes on in a buffer of its own. A token remembers only its kind and where it lies in the text; its text,
// and for a string its decoded content, are made from the source when asked for,
// which works for the latest token only: the text before it may be gone.
// Locations (line, line offset) are worked out from a document offset only when an
// error needs them.
#pragma once

#include <json/Reader.h>

#include <cstddef>
#include <memory>
#include <streambuf>
#include <string>

namespace json {

enum class TokenKind : unsigned char {
  kObjectBegin = 0,
  kObjectEnd = 1,
  kArrayBegin = 2,
  kArrayEnd = 3,
  kNextElement = 4,
  kMemberAssign = 5,
  kString = 6,
  kNumber = 7,
  kBoolean = 8,
  kNull = 9,
};

struct Token {
  TokenKind kind;
  // A string token whose content holds escape pairs to be decoded.
  bool escaped;
  // Document offsets of the first character and just past the last.
  size_t begin;
  size_t end;
};

class Scanner {
 public:
  // Reads from source to its end; null reads as an empty text.
  explicit Scanner(std::streambuf* source);

  // The next token; false at the end of the text. Throws Reader::ScanException.
  // The common one-character tokens are cut here, inline; the rest, and the end
  // of the buffered text, go to nextToken.
  bool next(Token& token) {
    const char* p = at(m_pos);
    const char* const end = at(m_limit);
    while (p != end && isSpace(*p)) ++p;
    if (p != end) {
      TokenKind kind;
      switch (*p) {
        case ',': kind = TokenKind::kNextElement; break;
        case ':': kind = TokenKind::kMemberAssign; break;
        case '[': kind = TokenKind::kArrayBegin; break;
        case ']': kind = TokenKind::kArrayEnd; break;
        case '{': kind = TokenKind::kObjectBegin; break;
        case '}': kind = TokenKind::kObjectEnd; break;
        default: m_pos = offsetOf(p); return nextToken(token);
      }
      m_pos = offsetOf(p);
      m_keep = m_pos;
      token.kind = kind;
      token.escaped = false;
      token.begin = m_pos;
      token.end = ++m_pos;
      return true;
    }
    m_pos = offsetOf(p);
    return nextToken(token);
  }

  // The latest token's text: the decoded content of a string, the characters as
  // read of a number, the fixed text of the other kinds.
  std::string text(const Token& token) const;
  // Appends the latest token's decoded content (a string token) to out.
  void decode(const Token& token, std::string& out) const;
  // The characters of the latest token as they stand in the document.
  const char* data(const Token& token) const { return at(token.begin); }

  // The location of a document offset no earlier than the latest token's begin (or
  // of the end of the text, once the end is reached).
  Reader::Location locate(size_t offset) const;
  // The length of the text read so far (all of it once next() gave false).
  size_t size() const { return m_limit; }
  // Reads the rest of the source, unscanned.
  void drain();

 private:
  // White space as isspace sees it in the C locale.
  static bool isSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
  bool nextToken(Token& token);
  const char* at(size_t offset) const { return m_text + (offset - m_base); }
  size_t offsetOf(const char* p) const { return m_base + static_cast<size_t>(p - m_text); }
  // Makes more of the text available after m_limit, dropping what lies before
  // m_keep; false at the end of the source.
  bool refill();
  // Takes the characters scanned in place out of the source.
  void endBorrowing();
  [[noreturn]] void fail(const std::string& message, size_t offset) const;
  void expect(const char* expected, size_t length);
  void scanString(Token& token);
  // Moves past white space, refilling as needed; false at the end of the source.
  bool skipSpace();
  // A token of one character.
  bool single(Token& token, TokenKind kind);
  void scanNumber();

  std::streambuf* m_source;
  std::unique_ptr<char[]> m_buffer;
  size_t m_capacity = 0;
  // The text at m_base: m_buffer, or the source's own characters while borrowed.
  const char* m_text = nullptr;
  bool m_borrowed = false;
  size_t m_base = 0;   // document offset of m_text[0]
  size_t m_limit = 0;  // document offset just past the text in the buffer
  size_t m_pos = 0;    // next character to scan
  size_t m_keep = 0;   // the latest token's begin: the text from here on stays
  bool m_ended = false;
  // Lines counted in the text already dropped.
  unsigned int m_droppedLines = 0;
  size_t m_droppedLineStart = 0;
};

}  // namespace json
