#pragma once

#include <string>

namespace agent::host::filesystem {

/// Appends `component` to `pathname`, in place.
///
/// Accesses no file and does not block. Any thread may call it on its own strings.
/// \param pathname   the path so far; if it is empty, the result is the component alone
/// \param component  the component to append; an empty one changes nothing
/// \param flag       true: exactly one separator of the platform is placed between the two;
///                   false: the component is appended as it is
/// \throws std::bad_alloc or std::length_error; then `pathname` is unchanged
[[gnu::visibility("default")]] void concatenate_pathname(std::wstring& pathname, const std::wstring& component,
                                                         bool flag);

/// A path, and the flag with which components are appended to it.
///
/// A value type: copies are independent. One thread at a time may use an object.
template <class Char>
class basic_path {
 public:
  /// The text of a path.
  using string_type = std::basic_string<Char>;

  /// Constructs an empty path with the flag set.
  basic_path() = default;

  /// Appends a component through `concatenate_pathname`; an empty one changes nothing.
  /// \return this path
  basic_path& append(const string_type& component) {
    if (!component.empty()) {
      concatenate_pathname(pathname_, component, flag_);
    }
    return *this;
  }

  /// Returns the path so far.
  const string_type& string() const noexcept { return pathname_; }
  /// Returns the flag with which components are appended.
  bool flag() const noexcept { return flag_; }

 private:
  string_type pathname_;
  bool flag_ = true;
};

using path = basic_path<wchar_t>;

}  // namespace agent::host::filesystem
