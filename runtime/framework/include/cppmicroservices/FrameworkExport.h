#pragma once

#include "cppmicroservices/GlobalConfig.h"

/// Marks what the runtime library exports; types that cross libraries (exceptions above all) need it.
#define US_Framework_EXPORT US_ABI_EXPORT
