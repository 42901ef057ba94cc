#include "agent/host/filesystem.hpp"

#include <filesystem>

namespace agent::host::filesystem {

namespace {

constexpr wchar_t separator = static_cast<wchar_t>(std::filesystem::path::preferred_separator);

bool isSeparator(wchar_t character) {
  return character == separator || character == L'/';
}

}  // namespace

void concatenate_pathname(std::wstring& pathname, const std::wstring& component, bool flag) {
  if (component.empty()) {
    return;
  }
  const bool separate = flag && !pathname.empty() && !isSeparator(pathname.back()) && !isSeparator(component.front());
  // One allocation up front: when it fails, the path has not changed yet.
  pathname.reserve(pathname.size() + component.size() + (separate ? 1 : 0));
  if (separate) {
    pathname += separator;
  }
  pathname += component;
}

}  // namespace agent::host::filesystem
