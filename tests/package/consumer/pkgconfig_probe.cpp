// Built with nothing but the flags pkg-config gives.
#include <utils/Exceptions.h>

#include <cstdio>

int main() {
  try {
    throw utils::PluginException("probe.cpp", 1, "probe", 9);
  } catch (utils::PluginException& error) {
    std::printf("status %d\n", error.getErrorStatusCode());
  }
  return 0;
}
