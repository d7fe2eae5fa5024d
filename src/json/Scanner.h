// Cuts a document's text into tokens, one at a time. A token remembers only its
// kind and where it lies in the text; its text, and for a string its decoded
// content, are made from the source when asked for. Locations (line, line offset)
// are worked out from a document offset only when an error needs them.
#pragma once

#include <json/Reader.h>

#include <cstddef>
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
  Scanner(const char* text, size_t size) : m_text(text), m_pos(text), m_end(text + size) {}

  // The next token; false at the end of the text. Throws Reader::ScanException.
  bool next(Token& token);

  // The token's text: the decoded content of a string, the characters as read of
  // a number, the fixed text of the other kinds.
  std::string text(const Token& token) const;
  // Appends a string token's decoded content to out.
  void decode(const Token& token, std::string& out) const;
  // The characters of a token as they stand in the document.
  const char* data(const Token& token) const { return m_text + token.begin; }

  Reader::Location locate(size_t offset) const;
  size_t size() const { return static_cast<size_t>(m_end - m_text); }

 private:
  [[noreturn]] void fail(const std::string& message, const char* at) const;
  void expect(const char* expected, size_t length);
  void scanString(Token& token);

  const char* m_text;
  const char* m_pos;
  const char* m_end;
};

}  // namespace json
