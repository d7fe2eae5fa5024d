// The library's exception family in one include.
#pragma once

#include <utils/AppException.h>
#include <utils/InputException.h>
#include <utils/PluginException.h>
