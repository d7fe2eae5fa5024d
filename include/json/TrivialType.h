// The scalar element kinds of a document. A trivial element holds one value of its
// type, default-constructed when none is given, and converts to a reference to it.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

namespace json {

template <typename DataTypeT>
class TrivialType_T {
 public:
  TrivialType_T(const DataTypeT& t = DataTypeT()) : m_tValue(t) {}
  TrivialType_T(DataTypeT&& t) : m_tValue(std::move(t)) {}

  operator DataTypeT&() { return m_tValue; }
  operator const DataTypeT&() const { return m_tValue; }

  DataTypeT& Value() { return m_tValue; }
  const DataTypeT& Value() const { return m_tValue; }

  bool operator==(const TrivialType_T& trivial) const { return m_tValue == trivial.m_tValue; }
  bool operator!=(const TrivialType_T& trivial) const { return !(*this == trivial); }

 private:
  DataTypeT m_tValue;
};

typedef TrivialType_T<bool> Boolean;
typedef TrivialType_T<std::string> String;
typedef TrivialType_T<double> Number;

// A 64-bit unsigned value. The visitors and the writer know it, but no element is
// ever made of one by the library: it is there for clients' own visitors.
typedef std::uint64_t UnsignedInteger;

// The null kind: holds nothing, and every null equals every other.
class Null {};

inline bool operator==(const Null&, const Null&) { return true; }
inline bool operator!=(const Null&, const Null&) { return false; }

}  // namespace json
