// The drawing of a random UUID from a given source, apart from the process's host
// so that a failing source can be tried.
#pragma once

#include <string>

#include "platform/Random.h"

namespace utils {

// Text of a version 4 UUID from 16 bytes of source; the nil UUID when it fails.
std::string randomUuidText(platform::Random& source);

}  // namespace utils
