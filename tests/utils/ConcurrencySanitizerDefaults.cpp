// Defaults of ThreadSanitizer for the concurrency tests. libstdc++ fills the
// narrowing cache of std::ctype<char> lazily, and every thread that parses a log
// format may store the same value into the same entry; that race lies inside the
// standard library and is harmless, so it is not reported. Unused without TSan.
extern "C" const char* __tsan_default_suppressions() {
  return "race:std::ctype<char>::narrow\n";
}
