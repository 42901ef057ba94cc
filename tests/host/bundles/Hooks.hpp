#pragma once

/// Functions of the test's executable that the hooked bundle's activator calls.
[[gnu::visibility("default")]] void hostTestOnStart();
[[gnu::visibility("default")]] void hostTestOnStop();
