// A stream buffer that holds the first part of a text and gives the rest in
// pieces, for reading a document the way a file or a pipe gives it.
#pragma once

#include "../support/TestPrelude.h"  // also reached from the fuzz targets
#include <streambuf>

namespace jsontest {

// Holds the first `first` characters of a text as its get area, then gives `step`
// more at each underflow.
struct PiecewiseBuffer : std::streambuf {
  PiecewiseBuffer(std::string text, size_t first, size_t step) : m_text(std::move(text)), m_step(step) {
    setg(&m_text[0], &m_text[0], &m_text[0] + std::min(first, m_text.size()));
  }
  int_type underflow() override {
    const size_t left = static_cast<size_t>(&m_text[0] + m_text.size() - egptr());
    if (left == 0) return traits_type::eof();
    setg(egptr(), egptr(), egptr() + std::min(m_step, left));
    return traits_type::to_int_type(*gptr());
  }
  std::string m_text;
  size_t m_step;
};

}  // namespace jsontest
