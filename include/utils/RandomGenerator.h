// UUID texts, random ones drawn from the system's cryptographic source.
#pragma once

#include <NorvaneExport.h>

#include <string>

namespace utils {

class NORVANE_API RandomGenerator {
 public:
  RandomGenerator() {}
  virtual ~RandomGenerator();

  // A new random (version 4) UUID in the 36-character lower-case form; the nil UUID
  // when the system gives no random bytes.
  static std::string generate();
  // The UUID written in text, in canonical form; the nil UUID when text is none.
  static std::string generate(const std::string& text);
};

}  // namespace utils
