#pragma once

#include "cppmicroservices/GlobalConfig.h"

/// Marks the names that the runtime library exports. Types that cross libraries need it, exceptions above all.
#define US_Framework_EXPORT US_ABI_EXPORT
