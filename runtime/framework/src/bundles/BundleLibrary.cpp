#include "bundles/BundleLibrary.h"

#include <dlfcn.h>
#include <sys/stat.h>

#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "bundles/BundlePrivate.h"

namespace cppmicroservices {

namespace {

bool isThisProgram(const std::string& location) {
  struct stat file {};
  struct stat program {};
  return stat(location.c_str(), &file) == 0 && stat("/proc/self/exe", &program) == 0 && file.st_dev == program.st_dev &&
         file.st_ino == program.st_ino;
}

// Without a slash in the path, the loader would search its own folders only.
std::string absolute(const std::string& location) {
  return location.empty() || location.front() != '/' ? std::filesystem::absolute(location).string() : location;
}

void* load(const std::string& location, int options) {
  const auto path = absolute(location);
  void* const library = dlopen(isThisProgram(location) ? nullptr : path.c_str(), options);
  if (!library) {
    const char* const reason = dlerror();
    throw std::system_error(std::make_error_code(std::errc::no_such_file_or_directory),
                            reason ? reason : "cannot load " + path);
  }
  return library;
}

/// Unloads a library that lacks a bundle's entry points.
struct Unload {
  void operator()(void* library) const { dlclose(library); }
};

template <class Function>
Function find(void* library, const char* prefix, const BundlePrivate& bundle) {
  return reinterpret_cast<Function>(dlsym(library, (prefix + bundle.symbolicName).c_str()));
}

}  // namespace

BundleLibrary::BundleLibrary(const BundlePrivate& bundle, int loadOptions) {
  std::unique_ptr<void, Unload> library(load(bundle.location, loadOptions));
  setContext_ = find<decltype(setContext_)>(library.get(), US_STR(US_SET_CTX_PREFIX), bundle);
  create_ = find<decltype(create_)>(library.get(), US_STR(US_CREATE_ACTIVATOR_PREFIX), bundle);
  destroy_ = find<decltype(destroy_)>(library.get(), US_STR(US_DESTROY_ACTIVATOR_PREFIX), bundle);
  if (!create_) {
    throw std::runtime_error(bundle.describe() + " activator constructor not found");
  }
  if (!destroy_) {
    throw std::runtime_error(bundle.describe() + " activator destructor not found");
  }
  static_cast<void>(library.release());
}

void BundleLibrary::setContext(BundleContextPrivate* context) const {
  if (setContext_) {
    setContext_(context);
  }
}

BundleLibrary::Activator BundleLibrary::makeActivator() const {
  return Activator(create_(), destroy_);
}

}  // namespace cppmicroservices
