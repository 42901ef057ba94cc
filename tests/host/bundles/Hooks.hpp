#pragma once

/// What the hooked bundle's activator calls in the test's executable.
[[gnu::visibility("default")]] void hostTestOnStart();
[[gnu::visibility("default")]] void hostTestOnStop();
