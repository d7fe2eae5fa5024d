// A stream buffer that holds the first part of a text and gives the rest in
// pieces, for reading a document the way a file or a pipe gives it.
#pragma once

#include <algorithm>
#include <cstddef>
#include <streambuf>
#include <string>
#include <utility>

namespace jsontest {

// Holds the first `first` characters of a text as its get area, then gives `step`
// more at each underflow.
class PiecewiseBuffer : public std::streambuf {
 public:
  PiecewiseBuffer(std::string text, size_t first, size_t step) : m_text(std::move(text)), m_step(step) {
    char* begin = &m_text[0];
    setg(begin, begin, begin + std::min(first, m_text.size()));
  }

 protected:
  int_type underflow() override {
    char* end = &m_text[0] + m_text.size();
    if (egptr() == end) return traits_type::eof();
    char* next = egptr();
    setg(next, next, next + std::min(m_step, static_cast<size_t>(end - next)));
    return traits_type::to_int_type(*gptr());
  }

 private:
  std::string m_text;
  size_t m_step;
};

}  // namespace jsontest
