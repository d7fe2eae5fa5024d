// The text and byte forms of Conversion: numbers in text, hexadecimal, SAS
// addresses, ANSI dates and Base64.

#include <utils/Conversion.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>

#include <utils/Log.h>
#include <utils/StringHelper.h>

#include "settings/Settings.h"

namespace utils {
namespace {

const std::string& base64Alphabet() {
  // Built on first use; function-local statics are safe against concurrent first use.
  static const std::string alphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  return alphabet;
}

bool isBase64Character(unsigned char c) { return std::isalnum(c) || c == '+' || c == '/'; }

// Position in the alphabet as a byte; a character outside it maps to 0xff, which
// only ever reaches the bytes that are not emitted.
unsigned char base64Value(unsigned char c) {
  return static_cast<unsigned char>(base64Alphabet().find(static_cast<char>(c)));
}

std::string bytesUpToNul(const char* bytes, int length) {
  // Null bytes or no length give the empty text rather than a read through null.
  if (bytes == nullptr || length <= 0) return std::string();
  const char* end = std::find(bytes, bytes + length, '\0');
  return std::string(bytes, end);
}

}  // namespace

bool Conversion::to_bool(std::string s) { return std::atoi(s.c_str()) != 0; }

unsigned int Conversion::is_numeric(const char* s) {
  // A null text counts as empty.
  if (s == nullptr || *s == '\0') return 0;
  for (; *s != '\0'; ++s) {
    if (!std::isdigit(static_cast<unsigned char>(*s))) return 0;
  }
  return 1;
}

int Conversion::hexStringto_int(const char* s) {
  // A null text reads as no digits at all.
  if (s == nullptr) return 0;
  return static_cast<int>(std::strtol(s, nullptr, 0));
}

std::string Conversion::U8ArrayToHexString(const unsigned char* bytes, int length) {
  // Null bytes are shown like an empty array.
  if (length <= 0 || bytes == nullptr) return "0x0";
  static const char kDigits[] = "0123456789abcdef";
  std::string text = "0x";
  text.reserve(2 + 2 * static_cast<std::size_t>(length));
  for (int i = 0; i < length; ++i) {
    text += kDigits[bytes[i] >> 4];
    text += kDigits[bytes[i] & 0x0f];
  }
  return text;
}

std::string Conversion::U16ToHexString(std::uint16_t value) {
  char text[8];
  std::snprintf(text, sizeof text, "0x%04x", static_cast<unsigned int>(value));
  return text;
}

std::string Conversion::U64ToHexString(std::uint64_t value) {
  char text[24];
  std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(value));
  return text;
}

std::string Conversion::S8ArrayToString(char* bytes, int length) {
  std::string text = bytesUpToNul(bytes, length);
  StringHelper::trim(text);
  return text;
}

std::string Conversion::U8ArrayToString(unsigned char* bytes, int length) {
  std::string text = bytesUpToNul(reinterpret_cast<const char*>(bytes), length);
  StringHelper::trim(text);
  text.erase(std::remove_if(text.begin(), text.end(),
                            [](char c) { return std::isspace(static_cast<unsigned char>(c)); }),
             text.end());
  return text;
}

std::string Conversion::toStringSasAddress(std::uint64_t value) {
  std::string text;
  char pair[4];
  for (int shift = 56; shift >= 0; shift -= 8) {
    std::snprintf(pair, sizeof pair, "%.2x", static_cast<unsigned int>((value >> shift) & 0xff));
    if (!text.empty()) text += ' ';
    text += pair;
  }
  return text;
}

std::string Conversion::replaceString(std::string s, std::string from, std::string to) {
  const std::string::size_type at = s.find(from);
  if (at != std::string::npos) s.replace(at, from.size(), to);
  return s;
}

std::string Conversion::trimPrefixURI(std::string uri) {
  const std::string prefix = settings::current().uriPrefix();
  uri.erase(0, prefix.size());
  return uri;
}

std::string Conversion::convertANSIDateToNorvaneDate(std::string date, std::string time,
                                                     std::string month) {
  date.erase(std::remove(date.begin(), date.end(), '"'), date.end());
  time.erase(std::remove(time.begin(), time.end(), '"'), time.end());
  // A date too short for a field gives that field empty, instead of throwing out of
  // a formatting helper.
  const std::string year = date.size() > 7 ? date.substr(7) : std::string();
  std::string day = date.size() > 3 ? date.substr(3, 4) : std::string();
  day.erase(std::remove(day.begin(), day.end(), ' '), day.end());
  if (day.size() == 1) day.insert(0, "0");
  return year + "-" + month + "-" + day + "T" + time;
}

void Conversion::encodeblock(const unsigned char in[3], unsigned char out[4], int length) {
  const std::string& alphabet = base64Alphabet();
  out[0] = static_cast<unsigned char>(alphabet[in[0] >> 2]);
  out[1] = static_cast<unsigned char>(alphabet[((in[0] & 0x03) << 4) | ((in[1] & 0xf0) >> 4)]);
  out[2] = static_cast<unsigned char>(
      length > 1 ? alphabet[((in[1] & 0x0f) << 2) | ((in[2] & 0xc0) >> 6)] : '=');
  out[3] = static_cast<unsigned char>(length > 2 ? alphabet[in[2] & 0x3f] : '=');
}

void Conversion::decodeblock(const unsigned char in[4], unsigned char out[3]) {
  out[0] = static_cast<unsigned char>(in[0] * 4 + ((in[1] & 0x30) / 16));
  out[1] = static_cast<unsigned char>((in[1] & 15) * 16 + ((in[2] & 0x3c) / 4));
  out[2] = static_cast<unsigned char>((in[2] & 3) * 64 + in[3]);
}

std::string Conversion::encodeStringtoBase64(std::string text) {
  log_everything("utils::Conversion::encodeStringtoBase64");
  std::string encoded;
  std::string::size_type position = 0;
  while (position < text.size()) {
    unsigned char in[3] = {0, 0, 0};
    int taken = 0;
    // A NUL byte is not taken and holds the position, so the rest of the block
    // stays zero.
    for (int i = 0; i < 3; ++i) {
      if (position < text.size() && text[position] != '\0') {
        in[i] = static_cast<unsigned char>(text[position]);
        ++position;
        ++taken;
      }
    }
    if (taken == 0) {
      // Standing on a NUL nothing moves any more: the walk would repeat for ever.
      // The text ends there, with what was encoded before it.
      break;
    }
    unsigned char out[4];
    encodeblock(in, out, taken);
    encoded.append(reinterpret_cast<const char*>(out), 4);
  }
  return encoded;
}

std::string Conversion::decodeStringtoBase64(std::string text) {
  log_function_entry("utils::Conversion::decodeStringtoBase64");
  std::string decoded;
  unsigned char group[4];
  unsigned char out[3];
  int count = 0;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte == '=' || !isBase64Character(byte)) break;
    group[count++] = byte;
    if (count == 4) {
      for (unsigned char& g : group) g = base64Value(g);
      decodeblock(group, out);
      decoded.append(reinterpret_cast<const char*>(out), 3);
      count = 0;
    }
  }
  if (count > 0) {
    for (int i = count; i < 4; ++i) group[i] = 0;
    for (unsigned char& g : group) g = base64Value(g);
    decodeblock(group, out);
    decoded.append(reinterpret_cast<const char*>(out), static_cast<std::size_t>(count - 1));
  }
  return decoded;
}

void Conversion::encrypt(const std::string& in, std::string& out) { out = in; }

void Conversion::decrypt(const std::string& in, std::string& out) { out = in; }

}  // namespace utils
