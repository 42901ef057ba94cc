#pragma once

#include <functional>
#include <string>
#include <unordered_map>

#include "cppmicroservices/Any.h"
#include "cppmicroservices/AnyMap.h"

namespace cppmicroservices {

class Bundle;

/// A framework's properties: the given ones and those that every framework has. Constant after construction.
class FrameworkProperties {
 public:
  /// Completes the given properties. Replaces storage folder and load options of a wrong type by the defaults.
  /// \throws BadAnyCastException if another property that the framework itself reads has the wrong type
  explicit FrameworkProperties(const std::unordered_map<std::string, Any>& given);

  /// Returns the property with exactly that name; an empty value if there is none.
  Any value(const std::string& key) const;
  AnyMap all() const;

  bool logEnabled() const { return logEnabled_; }
  int libraryLoadOptions() const { return libraryLoadOptions_; }
  /// Returns the folder that the framework may write to.
  const std::string& storage() const { return storage_; }
  const std::function<bool(const Bundle&)>& validation() const { return validation_; }
  const std::function<void()>& extraShutdown() const { return extraShutdown_; }

 private:
  std::unordered_map<std::string, Any> values_;
  bool logEnabled_;
  int libraryLoadOptions_;
  std::string storage_;
  std::function<bool(const Bundle&)> validation_;
  std::function<void()> extraShutdown_;
};

}  // namespace cppmicroservices
