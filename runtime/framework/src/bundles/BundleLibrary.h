#pragma once

#include <memory>
#include <string>

namespace cppmicroservices {

class BundleContextPrivate;
class BundlePrivate;
struct BundleActivator;

/// The code of one bundle: its library's entry points, which end in the bundle's symbolic name. The
/// library is never unloaded once its code may have run, since objects whose code it holds may outlive everything.
class BundleLibrary {
 public:
  using Activator = std::unique_ptr<BundleActivator, void (*)(BundleActivator*)>;

  /// Loads the library, or finds the entry points in the program itself if that is the bundle's location.
  /// \param loadOptions  as of dlopen
  /// \throws std::system_error with the loader's text if it cannot be loaded, std::runtime_error if entry
  ///         points for an activator are missing
  BundleLibrary(const BundlePrivate& bundle, int loadOptions);

  /// Lets the bundle's own code find its context; null takes it away.
  void setContext(BundleContextPrivate* context) const;

  /// \throws whatever the activator's constructor throws
  Activator makeActivator() const;

 private:
  void (*setContext_)(BundleContextPrivate*) = nullptr;  // null if the library has none
  BundleActivator* (*create_)() = nullptr;
  void (*destroy_)(BundleActivator*) = nullptr;
};

}  // namespace cppmicroservices
