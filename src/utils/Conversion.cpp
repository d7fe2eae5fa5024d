#include <utils/Conversion.h>

namespace utils {

std::string Conversion::to_string(unsigned long long value) {
  // Digits are produced from the right into a buffer wide enough for 2^64-1.
  char digits[24];
  char* end = digits + sizeof(digits);
  char* p = end;
  do {
    *--p = static_cast<char>('0' + value % 10);
    value /= 10;
  } while (value != 0);
  return std::string(p, end);
}

}  // namespace utils
