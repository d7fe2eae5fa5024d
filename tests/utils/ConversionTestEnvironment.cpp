// One throwaway installation for the whole test process: the settings
// singleton and the logger are process-wide and start on the first library call.
#include "utils/ConversionTestSupport.h"

namespace {

testing::Environment* const g_installation =
    testing::AddGlobalTestEnvironment(new conversiontest::InstallationEnvironment);

}  // namespace
