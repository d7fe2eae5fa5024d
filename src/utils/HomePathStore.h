// Where the home path lives in the machine store, shared by the lookup and the
// administration calls.
#pragma once

#include <cstddef>

namespace utils::homepath {

inline constexpr const char* kKey = "SOFTWARE\\Kestrane\\Norvane";
inline constexpr const char* kKeyDirectory = "SOFTWARE/Kestrane/Norvane";
inline constexpr const char* kValueName = "NorvaneHOME";
// The query's buffer: 1024 bytes; a longer value fails with kMoreDataStatus.
inline constexpr std::size_t kBufferBytes = 1024;
inline constexpr long kMoreDataStatus = 234;

}  // namespace utils::homepath
