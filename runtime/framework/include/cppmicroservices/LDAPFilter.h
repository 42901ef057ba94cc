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
/// `(|(a)(b))`, `(!(a))`. A backslash takes away the special meaning of the character behind it.
/// The value's text is read as the property's type demands. Copies share one immutable filter and may
/// be used by several threads.
class [[gnu::visibility("default")]] LDAPFilter {
 public:
  /// A filter that is false and matches nothing.
  LDAPFilter();

  /// \throws std::invalid_argument that names the reason and the rest of the text, if it is no filter
  LDAPFilter(const std::string& filter);

  LDAPFilter(const LDAPFilter& other);
  LDAPFilter& operator=(const LDAPFilter& other);
  ~LDAPFilter();

  explicit operator bool() const;

  /// Whether the properties match; their names are compared without regard to case.
  /// \throws std::runtime_error if two keys differ only in case
  bool Match(const AnyMap& dictionary) const;

  /// As Match(), but names have to be the same to the letter.
  bool MatchCase(const AnyMap& dictionary) const;

  /// Whether the properties of the service match. A reference to none has none.
  bool Match(const ServiceReferenceBase& reference) const;

  /// Whether the headers in the bundle's manifest match.
  bool Match(const Bundle& bundle) const;

  /// The filter without the blanks that mean nothing; empty for a default constructed one.
  std::string ToString() const;

  /// Compares what ToString() gives.
  bool operator==(const LDAPFilter& other) const;

 private:
  std::shared_ptr<const LDAPFilterData> data_;
};

[[gnu::visibility("default")]] std::ostream& operator<<(std::ostream& out, const LDAPFilter& filter);

}  // namespace cppmicroservices
