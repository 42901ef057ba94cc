#include "bundle/BundleInspector.hpp"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include <sys/stat.h>

#include "support/Workspace.hpp"

namespace spf::test {

using namespace spfctl;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
namespace fs = std::filesystem;

const fs::path bundles = fs::path(SPF_TREE) / "bin/win64/spf";

class ABundleInspector : public testing::Test {
 protected:
  fs::path copyOf(const fs::path& file, const std::string& name) {
    const auto copy = workspace_.path() / name;
    fs::copy_file(file, copy);
    return copy;
  }
  std::string refusalOf(const fs::path& file) {
    const auto refusals = sut.inspect(file).refusals;
    return refusals.empty() ? "accepted" : refusals.front();
  }

  Workspace workspace_;
  BundleInspector sut;
};

TEST_F(ABundleInspector, ReadsTheManifestOfABundleWithCode) {
  const auto report = sut.inspect(bundles / "providers/libspf_zeromq_transport.so");
  EXPECT_THAT(report.refusals, IsEmpty());
  ASSERT_EQ(report.bundles.size(), 1u);
  EXPECT_EQ(report.bundles[0].symbolicName, "spf_zeromq_transport");
  EXPECT_EQ(report.bundles[0].version, "1.0.0");
  EXPECT_TRUE(report.bundles[0].hasActivator);
  EXPECT_EQ(report.size, fs::file_size(report.file));
  EXPECT_EQ(report.permissions.substr(0, 3), "rwx");
}

TEST_F(ABundleInspector, ReadsTheServicesThatABundleOffers) {
  const auto report = sut.inspect(bundles / "serviceproviders/weather_humidity.zip");
  EXPECT_THAT(report.refusals, IsEmpty());
  ASSERT_EQ(report.bundles.size(), 1u);
  EXPECT_FALSE(report.bundles[0].hasActivator);
  EXPECT_THAT(report.bundles[0].offeredServices, ElementsAre("weather.Humidity"));
}

TEST_F(ABundleInspector, RunsNoCode) {
  // Its activator throws, which starting it would show.
  EXPECT_EQ(refusalOf(THROWING_BUNDLE), "accepted");
}

TEST_F(ABundleInspector, RefusesWhatIsNoBundle) {
  EXPECT_EQ(refusalOf(workspace_.path() / "missing.so"), "No such file or directory");
  EXPECT_THAT(refusalOf(workspace_.write("text.so", "text")), HasSubstr("text.so"));
  EXPECT_THAT(refusalOf(workspace_.path()), testing::Not("accepted"));
}

TEST_F(ABundleInspector, RefusesAFileThatOthersMayWrite) {
  const auto copy = copyOf(bundles / "serviceproviders/weather_humidity.zip", "weather_humidity.zip");
  ASSERT_EQ(chmod(copy.c_str(), 0646), 0);
  const auto report = sut.inspect(copy);
  EXPECT_THAT(report.refusals, ElementsAre(HasSubstr("others may write the file")));
  EXPECT_EQ(report.permissions, "rw-r--rw-");
}

TEST_F(ABundleInspector, RefusesASymbolicNameThatIsGivenTwice) {
  EXPECT_EQ(refusalOf(bundles / "serviceproviders/weather_humidity.zip"), "accepted");
  const auto copy = copyOf(bundles / "serviceproviders/weather_humidity.zip", "libanother.so");
  EXPECT_THAT(refusalOf(copy), HasSubstr("weather_humidity"));
}

TEST_F(ABundleInspector, RefusesAnActivatorWithoutEntryPoints) {
  // The container alone, with the manifest that announces an activator.
  const auto library = bundles / "providers/libspf_zeromq_transport.so";
  std::ifstream stream(library, std::ios::binary);
  const std::string content{std::istreambuf_iterator<char>(stream), {}};
  const auto archive = content.find("PK\x03\x04");
  ASSERT_NE(archive, std::string::npos);
  const auto report = sut.inspect(workspace_.write("container.zip", content.substr(archive)));
  EXPECT_THAT(report.refusals, ElementsAre(HasSubstr("the file is no shared library for this machine")));
}

TEST_F(ABundleInspector, RefusesAnActivatorThatTheLibraryDoesNotExport) {
  // The manifest of one bundle behind the code of another.
  const auto read = [](const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return std::string{std::istreambuf_iterator<char>(stream), {}};
  };
  const auto library = read(bundles / "providers/libspf_zeromq_transport.so");
  const auto other = read(THROWING_BUNDLE);
  const std::string archiveBegins = "PK\x03\x04";
  const auto file = workspace_.write(
      "mixed.so", library.substr(0, library.find(archiveBegins)) + other.substr(other.find(archiveBegins)));
  EXPECT_THAT(refusalOf(file), HasSubstr("the library does not export"));
}

}  // namespace spf::test
