#pragma once

#include "cppmicroservices/GlobalConfig.h"

/// Marks what crosses libraries.
#define US_cm_EXPORT US_ABI_EXPORT
