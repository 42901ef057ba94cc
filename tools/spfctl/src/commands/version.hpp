#pragma once

namespace spfctl {

/// Returns the version of the project that the tool is from, like "0.1.0".
const char* version();

}  // namespace spfctl
