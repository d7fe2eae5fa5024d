#include <utils/StringHelper.h>

#include <boost/algorithm/string.hpp>
#include <boost/asio/ip/address.hpp>

#include <cctype>
#include <cstdint>
#include <locale>
#include <sstream>

namespace utils {

StringHelper::~StringHelper() {}

void StringHelper::trim(std::string& s) { boost::algorithm::trim(s, std::locale()); }

void StringHelper::to_lower(std::string& s) { boost::algorithm::to_lower(s, std::locale()); }

void StringHelper::to_upper(std::string& s) { boost::algorithm::to_upper(s, std::locale()); }

bool StringHelper::compare_ignore_case(const std::string& a, const std::string& b) {
  return boost::algorithm::iequals(a, b, std::locale());
}

bool StringHelper::starts_with(const std::string& s, const std::string& prefix) {
  return boost::algorithm::starts_with(s, prefix);
}

bool StringHelper::ends_with(const std::string& s, const std::string& suffix) {
  return boost::algorithm::ends_with(s, suffix);
}

void StringHelper::split(std::vector<std::string>& out, const std::string& s,
                         const std::string& delimiters) {
  boost::algorithm::split(out, s, boost::algorithm::is_any_of(delimiters),
                          boost::algorithm::token_compress_off);
}

void StringHelper::split_first_occurance(std::vector<std::string>& out, const std::string& s,
                                         const std::string& delimiters) {
  const std::string::size_type pos = s.find_first_of(delimiters);
  if (pos == std::string::npos) {
    out.push_back(s);
    return;
  }
  out.push_back(s.substr(0, pos));
  out.push_back(s.substr(pos + 1));
}

void StringHelper::replace(std::string& s, const std::string& from, const std::string& to) {
  // With an empty pattern the search would match at the same place for ever; there
  // is nothing to replace, so return the text as it is.
  if (from.empty()) return;
  std::string::size_type pos = 0;
  while ((pos = s.find(from, pos)) != std::string::npos) {
    s.replace(pos, from.size(), to);
    pos += to.size();
  }
}

void StringHelper::replacePrintableChar(std::string& s, const std::string& replacement) {
  // The bounds are fixed when the walk starts; the replacement is one character, so
  // the text keeps its length and each index still names the same place.
  const std::string::size_type length = s.size();
  for (std::string::size_type i = 0; i < length && i < s.size(); ++i) {
    const unsigned char c = static_cast<unsigned char>(s[i]);
    if (!std::isprint(c)) {
      replace(s, std::string(1, s[i]), replacement);
    }
  }
}

std::string StringHelper::SetFolderName(std::string name) {
  std::string folder;
  folder.reserve(name.size());
  for (char c : name) {
    if (c >= 'A' && c <= 'Z') {
      folder.push_back(static_cast<char>(c + 32));
    } else if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9')) {
      folder.push_back(c);
    }
  }
  return folder;
}

int StringHelper::getValidCharCount(const char* text, int length) {
  if (text == nullptr) return 0;
  int count = 0;
  for (int i = 0; i < length; ++i) {
    if (text[i] != '\0') ++count;
  }
  return count;
}

int StringHelper::to_int(std::string s) {
  int value = 0;
  std::istringstream in(s);
  // A failed extraction stores 0; a number out of range stores the nearest limit.
  in >> value;
  return value;
}

int StringHelper::getStringArrayHashCode(std::string s) {
  const std::uint64_t m = 0xc6a4a7935bd1e995ULL;
  const int r = 47;
  std::uint64_t seed = 0;
  for (char c : s) {
    // Each byte is a signed char widened to 64 bits, as the hash of a char is.
    std::uint64_t k = static_cast<std::uint64_t>(static_cast<std::int64_t>(static_cast<signed char>(c)));
    k *= m;
    k ^= k >> r;
    k *= m;
    seed ^= k;
    seed *= m;
    seed += 0xe6546b64;
  }
  return static_cast<int>(static_cast<std::uint32_t>(seed));
}

bool StringHelper::validateIPAddtess(std::string address, bool& isIPv4, bool& isIPv6) {
  boost::asio::ip::address parsed;
  try {
    parsed = boost::asio::ip::make_address(address);
  } catch (...) {
    return false;
  }
  if (parsed.is_unspecified()) return false;
  isIPv4 = parsed.is_v4();
  isIPv6 = parsed.is_v6();
  return true;
}

}  // namespace utils
