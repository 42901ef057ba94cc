#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include <cppmicroservices/Any.h>
#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/BundleResource.h>
#include <cppmicroservices/BundleResourceStream.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/FrameworkFactory.h>
#include <sys/mman.h>
#include <unistd.h>
#include "Target.hpp"
#include "ZipArchive.hpp"

// An input that begins with '{' is the text of a manifest, any other one a whole bundle file, because a change of a
// manifest inside an archive would only make the archive's checksum wrong.

namespace {

using namespace cppmicroservices;
using spf::fuzz::require;

/// A file in memory with a path.
class MemoryFile {
 public:
  MemoryFile() : descriptor_(memfd_create("bundle", MFD_CLOEXEC)) {
    require(descriptor_ >= 0, "a file in memory can be created");
  }

  std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

  void write(const std::string& content) const {
    const auto size = static_cast<ssize_t>(content.size());
    require(ftruncate(descriptor_, 0) == 0 && pwrite(descriptor_, content.data(), content.size(), 0) == size,
            "the file can be written");
  }

 private:
  const int descriptor_;
};

/// Installs the bundles of a file, reads all of their content, and uninstalls them.
class Installer {
 public:
  Installer() {
    framework_.Start();
    context_ = framework_.GetBundleContext();
  }

  void install(const std::string& content) {
    file_.write(content);
    std::vector<Bundle> bundles;
    try {
      bundles = context_.InstallBundles(file_.path());
      require(!bundles.empty(), "at least one bundle is installed if nothing is thrown");
    } catch (const std::runtime_error&) {
    }
    require(context_.GetBundles().size() == bundles.size() + 1, "all bundles of a file are installed, or none");
    for (auto& bundle : bundles) {
      inspect(bundle);
      bundle.Uninstall();
    }
    require(context_.GetBundles().size() == 1, "all bundles are uninstalled");
  }

 private:
  static void inspect(const Bundle& bundle) {
    require(!bundle.GetSymbolicName().empty(), "a bundle has a name");
    static_cast<void>(Any(bundle.GetHeaders()).ToJSON());
    require(bundle.GetResource("manifest.json").IsValid(), "a bundle has a manifest");
    for (const auto& resource : bundle.FindResources("/", "*", true)) {
      inspect(bundle, resource);
    }
  }

  static void inspect(const Bundle& bundle, const BundleResource& resource) {
    require(bundle.GetResource(resource.GetResourcePath()) == resource, "a resource is found at its own path");
    try {
      BundleResourceStream stream(resource);
      const std::string content(std::istreambuf_iterator<char>(stream), {});
      require(resource.IsDir() || content.size() == static_cast<std::size_t>(resource.GetSize()),
              "a resource has the size that it reports");
    } catch (const std::runtime_error&) {
    }
  }

  const MemoryFile file_;
  Framework framework_ = FrameworkFactory().NewFramework();
  BundleContext context_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static auto& installer = *new Installer;  // never destroyed, because a framework must not be destroyed after main
  const std::string input(reinterpret_cast<const char*>(data), size);
  const bool isManifest = !input.empty() && input.front() == '{';
  installer.install(isManifest ? spf::test::ZipArchive().add("b/manifest.json", input).bytes() : input);
  return 0;
}
