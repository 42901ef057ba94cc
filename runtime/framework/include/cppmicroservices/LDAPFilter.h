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
  LDAPFilter(std::string const& filter);

  LDAPFilter(LDAPFilter const& other);
  LDAPFilter& operator=(LDAPFilter const& other);
  ~LDAPFilter();

  explicit operator bool() const;

  /// Whether the properties match; their names are compared without regard to case.
  /// \throws std::runtime_error if two keys differ only in case
  bool Match(AnyMap const& dictionary) const;

  /// As Match(), but names have to be the same to the letter.
  bool MatchCase(AnyMap const& dictionary) const;

  /// Whether the properties of the service match. A reference to none has none.
  bool Match(ServiceReferenceBase const& reference) const;

  /// Whether the headers in the bundle's manifest match.
  bool Match(Bundle const& bundle) const;

  /// The filter without the blanks that mean nothing; empty for a default constructed one.
  std::string ToString() const;

  /// Compares what ToString() gives.
  bool operator==(LDAPFilter const& other) const;

 private:
  std::shared_ptr<LDAPFilterData const> data_;
};

[[gnu::visibility("default")]] std::ostream& operator<<(std::ostream& out, LDAPFilter const& filter);

}  // namespace cppmicroservices
