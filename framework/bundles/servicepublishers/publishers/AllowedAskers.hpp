#pragma once

#include <map>
#include <set>
#include <string>

#include <cppmicroservices/Any.h>

namespace spf::publishers {

/// Which peers may ask which publishers, as the framework property `spf.curve.allow` says: a map of publishers' IDs to
/// names of keys, each a text or a list of texts. Any thread may use it.
class AllowedAskers {
 public:
  /// Reads the property.
  /// \param value  without one, every peer may ask every publisher
  /// \throws std::runtime_error naming the property, the entry and what was expected
  explicit AllowedAskers(const cppmicroservices::Any& value);

  /// Checks that a peer may ask a publisher: one without an entry is asked by any. IDs are compared exactly.
  /// \param asker  the name of the key that the peer has proved; empty if it has proved none
  /// \throws std::runtime_error if it may not
  void require(const std::string& publisherID, const std::string& asker) const;

 private:
  // Not an AnyMap, which may ignore the case of its keys.
  std::map<std::string, std::set<std::string>> names_;
};

}  // namespace spf::publishers
