// The text of a number as the writer prints it: twenty significant digits in the
// default (%g) notation, always in the C form whatever the locale.
#pragma once

namespace json {

// Room enough for the longest text a double gives.
constexpr int kNumberTextRoom = 32;

// Writes the text of value from out on (kNumberTextRoom characters at most) and
// returns its end.
char* formatNumber(double value, char* out);

}  // namespace json
