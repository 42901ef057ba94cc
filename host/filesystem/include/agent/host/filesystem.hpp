#pragma once

#include <string>

namespace agent::host::filesystem {

/// Appends `component` to `pathname`, in place.
///
/// \param pathname   the path so far; may be empty, then the result is the component alone
/// \param component  the piece to append; an empty one changes nothing
/// \param flag       true: exactly one separator of the platform stands between the two;
///                   false: the component is appended as it is
///
/// Touches no file and does not block. Throws `std::bad_alloc` or `std::length_error`, and leaves
/// `pathname` as it was then. Any thread may call it on its own strings.
[[gnu::visibility("default")]] void concatenate_pathname(std::wstring& pathname, const std::wstring& component,
                                                         bool flag);

/// A path and the flag that travels with it into every concatenation.
///
/// A value: copies are independent, and one object is used by one thread at a time.
template <class Char>
class basic_path {
 public:
  using string_type = std::basic_string<Char>;

  /// The empty path, with the flag set.
  basic_path() = default;

  /// Appends a component through `concatenate_pathname`; an empty one changes nothing.
  /// \return this path
  basic_path& append(const string_type& component) {
    if (!component.empty()) {
      concatenate_pathname(pathname_, component, flag_);
    }
    return *this;
  }

  const string_type& string() const noexcept { return pathname_; }
  bool flag() const noexcept { return flag_; }

 private:
  string_type pathname_;
  bool flag_ = true;
};

using path = basic_path<wchar_t>;

}  // namespace agent::host::filesystem
