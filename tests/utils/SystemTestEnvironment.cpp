// One installation for the whole System test process (see SystemTestSupport.h).
#include "utils/SystemTestSupport.h"

namespace {

testing::Environment* const g_installation =
    testing::AddGlobalTestEnvironment(new systemtest::InstallationEnvironment);

}  // namespace
