#include <cstdio>

int main() {
  std::puts("norvanectl: no commands yet");
  return 0;
}
