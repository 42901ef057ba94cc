#pragma once

#include <memory>
#include <string>

namespace cppmicroservices {

class BundleContextPrivate;
class BundlePrivate;
struct BundleActivator;

/// The code of one bundle: the entry points of its library, whose names end in the bundle's symbolic name. The library
/// is never unloaded once its code may have run, since objects of its classes may outlive everything else.
class BundleLibrary {
 public:
  using Activator = std::unique_ptr<BundleActivator, void (*)(BundleActivator*)>;

  /// Loads the library, or finds the entry points in the program itself if the bundle is located there.
  /// \param loadOptions  the flags for dlopen
  /// \throws std::system_error with the loader's text if it cannot be loaded, std::runtime_error if entry
  ///         points for an activator are missing
  BundleLibrary(const BundlePrivate& bundle, int loadOptions);

  /// Sets the context that the bundle's own code finds; null removes it.
  void setContext(BundleContextPrivate* context) const;

  /// Makes the bundle's activator.
  /// \throws whatever the activator's constructor throws
  Activator makeActivator() const;

 private:
  void (*setContext_)(BundleContextPrivate*) = nullptr;  // null if the library has none
  BundleActivator* (*create_)() = nullptr;
  void (*destroy_)(BundleActivator*) = nullptr;
};

}  // namespace cppmicroservices
