#include "agent/host/filesystem.hpp"

#include <filesystem>

namespace agent::host::filesystem {

namespace {

constexpr wchar_t separator = static_cast<wchar_t>(std::filesystem::path::preferred_separator);

bool isSeparator(wchar_t character) {
  // The two differ on Windows only. NOLINTNEXTLINE(misc-redundant-expression)
  return character == separator || character == L'/';
}

}  // namespace

void concatenate_pathname(std::wstring& pathname, const std::wstring& component, bool flag) {
  if (component.empty()) {
    return;
  }
  const bool join = flag && !pathname.empty();
  const bool endsWithOne = join && isSeparator(pathname.back());
  const bool startsWithOne = join && isSeparator(component.front());
  std::wstring joined;
  joined.reserve(pathname.size() + component.size() + 1);
  joined = pathname;
  if (join && !endsWithOne && !startsWithOne) {
    joined += separator;
  }
  joined.append(component, endsWithOne && startsWithOne ? 1 : 0);
  // Last, because it cannot throw, and because the component may be the path itself.
  pathname.swap(joined);
}

}  // namespace agent::host::filesystem
