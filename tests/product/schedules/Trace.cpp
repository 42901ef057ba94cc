#include "Trace.hpp"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

namespace spf::test::schedules {

void Trace::begin(std::uint64_t newSeed) {
  seed = newSeed;
  hash = 14695981039346656037ULL;  // of FNV-1a
  decisions = 0;
  length = 0;
  text[0] = '\0';
}

void Trace::add(const char* format, ...) {
  char line[256];
  std::va_list arguments;
  va_start(arguments, format);
  const int written = std::vsnprintf(line, sizeof line - 1, format, arguments);
  va_end(arguments);
  auto end = std::min(static_cast<std::size_t>(written), sizeof line - 2);
  line[end++] = '\n';
  for (std::size_t i = 0; i < end; ++i) {
    hash = (hash ^ static_cast<unsigned char>(line[i])) * 1099511628211ULL;
  }
  if (length + end < capacity) {
    std::copy(line, line + end, text + length);
    length += end;
    text[length] = '\0';
  }
}

}  // namespace spf::test::schedules
