// Conversions between numbers, capacities, texts and byte forms. All members are
// static and the class has no instances. It is one family spread over several
// source files: each section below is implemented in its own file under src/utils/
// (add members to the section of their family).
#pragma once

#include <NorvaneExport.h>

#include <string>

namespace utils {

class NORVANE_API Conversion {
 public:
  // ---- numbers as text (Conversion.cpp) ----------------------------------
  // Decimal text of value; the one number-to-text form the library uses.
  static std::string to_string(unsigned long long value);

  // ---- storage sizes and units ------------------------------------------------

  // ---- text and byte forms ----------------------------------------------------
};

}  // namespace utils
