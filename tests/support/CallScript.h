// The shared part of the fakes that record calls: every call in order, and the steps
// a test makes fail with a code of its choice.
#pragma once

#include "support/TestPrelude.h"

namespace testsupport {

struct CallScript {
  std::vector<std::string> calls;
  std::map<std::string, long> failures;  // step -> code

  // Records the call; the code its step is to fail with, 0 for none.
  long call(const std::string& step, const std::string& record) {
    calls.push_back(record);
    return failures.count(step) ? failures.at(step) : 0;
  }
  // The same for an operation that hands its failure out through `error`.
  bool succeeds(const std::string& step, const std::string& record, unsigned long& error) {
    const long code = call(step, record);
    return code == 0 || (error = static_cast<unsigned long>(code), false);
  }
};

}  // namespace testsupport
