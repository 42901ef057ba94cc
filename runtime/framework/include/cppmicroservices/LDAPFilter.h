#pragma once

#include <iosfwd>
#include <memory>
#include <string>

#include "cppmicroservices/AnyMap.h"

namespace cppmicroservices {

class Bundle;
class LDAPFilterData;
class ServiceReferenceBase;

/// A condition on properties, written as in RFC 1960: `(name=value)` with `*` for any text, `~=` for
/// equality without regard to blanks and case, `>=`, `<=`, `(name=*)` for presence, and `(&(a)(b))`,
/// `(|(a)(b))`, `(!(a))`. A backslash removes the special meaning of the next character. The value's text is converted
/// to the property's type. Copies share one immutable filter and may be used by several threads.
class [[gnu::visibility("default")]] LDAPFilter {
 public:
  /// Makes a filter that converts to false and matches nothing.
  LDAPFilter();

  /// Parses a filter.
  /// \throws std::invalid_argument that names the reason and the rest of the text, if the text is no filter
  LDAPFilter(const std::string& filter);

  LDAPFilter(const LDAPFilter& other);
  LDAPFilter& operator=(const LDAPFilter& other);
  ~LDAPFilter();

  explicit operator bool() const;

  /// Returns whether the properties match; their names are compared without regard to case.
  /// \throws std::runtime_error if two keys differ only in case
  bool Match(const AnyMap& dictionary) const;

  /// Returns whether the properties match; their names are compared exactly.
  bool MatchCase(const AnyMap& dictionary) const;

  /// Returns whether the properties of the service match. An empty reference has no properties.
  bool Match(const ServiceReferenceBase& reference) const;

  /// Returns whether the headers in the bundle's manifest match.
  bool Match(const Bundle& bundle) const;

  /// Returns the filter's text without insignificant blanks; an empty text for a default constructed filter.
  std::string ToString() const;

  /// Compares the texts of ToString().
  bool operator==(const LDAPFilter& other) const;

 private:
  std::shared_ptr<const LDAPFilterData> data_;
};

[[gnu::visibility("default")]] std::ostream& operator<<(std::ostream& out, const LDAPFilter& filter);

}  // namespace cppmicroservices
