// Every bench program takes --smoke: one short pass over small inputs, so that CI
// can run each program in seconds and see that it still builds, runs and prints
// its summary. The figures of a smoke run mean nothing.
#pragma once

#include <cstring>

namespace benchsmoke {

// Removes --smoke from the arguments and reports whether it was there. In its place
// the arguments get a minimum time so short that each benchmark runs about once
// (a program that sets its own per-benchmark times must also shorten those).
inline bool takeSmokeFlag(int& argc, char**& argv) {
  static char minTime[] = "--benchmark_min_time=0.001";
  static char* rewritten[256];
  bool smoke = false;
  int kept = 0;
  for (int i = 0; i < argc && kept < 254; ++i) {
    if (std::strcmp(argv[i], "--smoke") == 0) {
      smoke = true;
      continue;
    }
    rewritten[kept++] = argv[i];
  }
  if (!smoke) return false;
  rewritten[kept++] = minTime;
  rewritten[kept] = nullptr;
  argc = kept;
  argv = rewritten;
  return true;
}

}  // namespace benchsmoke
