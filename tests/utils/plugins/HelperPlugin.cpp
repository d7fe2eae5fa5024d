// A plug-in for the library tests, built three ways: PLUGIN_RETURNS exports a
// getHelperInstance that returns the record, PLUGIN_THROWS one that throws, and
// without either there is none. Every build exports helperRecord, so that a test
// can tell the record's address.
#include <stdexcept>

struct _COMMAND_HELPER_INFO {
  const char* name;
};

namespace {
const _COMMAND_HELPER_INFO kRecord{"test helper"};
}  // namespace

extern "C" {

__attribute__((visibility("default"))) const _COMMAND_HELPER_INFO* helperRecord() { return &kRecord; }

#if defined(PLUGIN_RETURNS)
__attribute__((visibility("default"))) const _COMMAND_HELPER_INFO* getHelperInstance() { return &kRecord; }
#elif defined(PLUGIN_THROWS)
__attribute__((visibility("default"))) const _COMMAND_HELPER_INFO* getHelperInstance() {
  throw std::runtime_error("no helper today");
}
#endif
}
