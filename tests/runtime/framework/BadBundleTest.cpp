#include <cppmicroservices/SharedLibraryException.h>
#include <dlfcn.h>

#include <ostream>

#include "ScriptedBundle.hpp"
#include "ZipArchive.hpp"

namespace {

using namespace cppmicroservices;
using namespace spf::test;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;

ZipArchive goodArchive() {
  return ZipArchive().add("b/manifest.json", R"({"bundle.symbolic_name": "b", "bundle.version": "1.2.3"})");
}

std::string fileWithManifest(const std::string& text) {
  return ZipArchive().add("b/manifest.json", text).bytes();
}

/// Installs bad files beside a good bundle.
class ABadFile : public StartedFramework {
 protected:
  ABadFile() { context().InstallBundles(DATA_ONLY_BUNDLE); }

  /// Expects that the file is refused with its name and that reason, and that nothing of it stays installed.
  void expectRefused(const std::string& content, const std::string& reason) {
    const auto before = context().GetBundles();
    folder.write("b.zip", content);
    EXPECT_THAT(messageOf<std::runtime_error>([&] { context().InstallBundles(path); }),
                AllOf(HasSubstr(path), HasSubstr(reason)));
    EXPECT_EQ(context().GetBundles(), before);
    EXPECT_THAT(context().GetBundles(path), IsEmpty());
  }

  void expectThatAGoodOneCanTakeItsPlace() {
    folder.write("b.zip", goodArchive().bytes());
    auto bundle = context().InstallBundles(path).at(0);
    EXPECT_EQ(bundle.GetVersion().ToString(), "1.2.3");
    bundle.Start();
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_ACTIVE);
    bundle.Uninstall();
  }

  const std::string path = folder / "b.zip";
};

TEST_F(ABadFile, IsRefusedWhereverItIsCutOff) {
  const auto two = goodArchive().add("c/manifest.json", R"({"bundle.symbolic_name": "c"})").bytes();
  const std::string library(100, 'x');
  for (const auto& whole : {two, library + two, library + goodArchive().bytes(library.size())}) {
    for (std::size_t size = 0; size < whole.size(); ++size) {
      expectRefused(whole.substr(0, size), "Could not init zip archive for bundle at");
    }
  }
  expectThatAGoodOneCanTakeItsPlace();
}

TEST_F(ABadFile, WithOneChangedByteIsRefusedOrHarmless) {
  const auto good = goodArchive().add("b/data", "data").bytes();
  const auto before = context().GetBundles();
  for (std::size_t at = 0; at < good.size(); ++at) {
    auto bytes = good;
    bytes[at] = static_cast<char>(bytes[at] ^ 0xff);
    folder.write("b.zip", bytes);
    try {
      for (auto& bundle : context().InstallBundles(path)) {
        bundle.Start();
        bundle.Uninstall();
      }
    } catch (const std::runtime_error& error) {
      EXPECT_THAT(error.what(), HasSubstr(path));
    }
    ASSERT_EQ(context().GetBundles(), before) << "byte " << at;
  }
  expectThatAGoodOneCanTakeItsPlace();
}

/// A file, and the text that its refusal has to contain.
struct BadFile {
  const char* name;
  std::string (*content)();
  std::string reason;
};

void PrintTo(const BadFile& file, std::ostream* out) {
  *out << file.name;
}

class AFile : public ABadFile, public testing::WithParamInterface<BadFile> {};

TEST_P(AFile, IsRefusedWithItsNameAndTheReason) {
  expectRefused(GetParam().content(), GetParam().reason);
  expectThatAGoodOneCanTakeItsPlace();
}

std::string nameOf(const testing::TestParamInfo<BadFile>& info) {
  return info.param.name;
}

const BadFile badFiles[] = {
    {"ThatIsEmpty", [] { return std::string(""); }, "Could not init zip archive for bundle at"},
    {"OfText", [] { return std::string("text"); }, "Could not init zip archive for bundle at"},
    {"OfALibraryWithoutArchive", [] { return std::string(3000, 'x'); }, "Could not init zip archive for bundle at"},
    {"WithoutEntries", [] { return ZipArchive().bytes(); }, "Invalid zip archive layout for bundle at"},
    {"WithItsManifestInNoFolder", [] { return ZipArchive().add("manifest.json", "{}").bytes(); },
     "Invalid zip archive layout for bundle at"},
    {"WithAnEmptyManifest", [] { return fileWithManifest(""); }, "Failed to install bundle library at"},
    {"WithHalfAManifest", [] { return fileWithManifest(R"({"bundle.symbolic_name": "b")"); },
     "Failed to install bundle library at"},
    {"WithTextBehindItsManifest", [] { return fileWithManifest(R"({"bundle.symbolic_name": "b"} text)"); },
     "Failed to install bundle library at"},
    {"WhoseManifestIsAList", [] { return fileWithManifest(R"(["bundle.symbolic_name", "b"])"); },
     "Failed to install bundle library at"},
    {"WithAnEmptySymbolicName", [] { return fileWithManifest(R"({"bundle.symbolic_name": ""})"); },
     "bundle.symbolic_name"},
    {"WithoutSymbolicName", [] { return fileWithManifest("{}"); }, "bundle.symbolic_name"},
    {"OfABadVersion", [] { return fileWithManifest(R"({"bundle.symbolic_name": "b", "bundle.version": "one"})"); },
     "bundle.version"},
    {"WhoseVersionIsANumber", [] { return fileWithManifest(R"({"bundle.symbolic_name": "b", "bundle.version": 1})"); },
     "Failed to install bundle library at"}};

INSTANTIATE_TEST_SUITE_P(OnEitherRuntime, AFile, testing::ValuesIn(badFiles), nameOf);

static_assert(std::is_base_of_v<std::system_error, SharedLibraryException>);

/// Installs a file without code whose manifest declares an activator.
class AFileWithoutCode : public ABadFile {
 protected:
  AFileWithoutCode() {
    folder.write("b.zip", fileWithManifest(R"({"bundle.symbolic_name": "b", "bundle.activator": true})"));
    sut = context().InstallBundles(path).at(0);
  }
  ~AFileWithoutCode() override { sut = nullptr; }

  void expectThatItCannotBeStarted() {
    try {
      sut.Start();
      ADD_FAILURE() << "nothing was thrown";
    } catch (const SharedLibraryException& error) {
      EXPECT_EQ(error.GetBundle(), sut);
      EXPECT_THAT(error.what(), HasSubstr(path));
    }
    EXPECT_EQ(sut.GetState(), Bundle::STATE_RESOLVED);
    sut.Uninstall();
    expectThatAGoodOneCanTakeItsPlace();
  }

  Bundle sut;
};

TEST_F(AFileWithoutCode, CannotBeStarted) {
  expectThatItCannotBeStarted();
}

TEST_F(AFileWithoutCode, CannotBeStartedAfterItWasRemoved) {
  std::filesystem::remove(path);
  expectThatItCannotBeStarted();
}

class ABadLibrary : public StartedFramework {
 protected:
  /// Expects that the bundle cannot be started for that reason, and can be uninstalled and installed again.
  void expectNotStarted(const std::string& path, const std::string& reason) {
    const auto before = context().GetBundles();
    for (int time = 0; time < 2; ++time) {
      auto bundle = context().InstallBundles(path).at(0);
      EXPECT_THAT(messageOf<std::runtime_error>([&] { bundle.Start(); }), AllOf(HasSubstr(path), HasSubstr(reason)));
      EXPECT_EQ(bundle.GetState(), Bundle::STATE_RESOLVED);
      EXPECT_FALSE(bundle.GetBundleContext());
      bundle.Uninstall();
      EXPECT_EQ(context().GetBundles(), before);
    }
  }
};

TEST_F(ABadLibrary, WithAnUndefinedSymbolIsNotStarted) {
  expectNotStarted(UNDEFINED_SYMBOL_BUNDLE, "spf_test_symbol_that_nobody_defines");
}

TEST_F(ABadLibrary, WithoutEntryPointsIsNotStarted) {
  expectNotStarted(NO_ACTIVATOR_BUNDLE, "activator constructor not found");
}

class AnActivatorThatLacksSomethingOfTheSystem : public ScriptedBundle {};

TEST_F(AnActivatorThatLacksSomethingOfTheSystem, FailsTheStartLikeALibraryThatCannotBeLoaded) {
  script([](const std::string& step, BundleContext) {
    if (step == "start") {
      throw std::system_error(std::make_error_code(std::errc::permission_denied), "no socket");
    }
  });
  try {
    sut.Start();
    FAIL() << "nothing was thrown";
  } catch (const SharedLibraryException& error) {
    EXPECT_EQ(error.code(), std::errc::permission_denied);
    EXPECT_THAT(error.what(), HasSubstr("no socket"));
    EXPECT_EQ(error.GetBundle(), sut);
  }
  EXPECT_EQ(sut.GetState(), Bundle::STATE_RESOLVED);
}

/// Throws in one step of the activator.
class ABadActivator : public ScriptedBundle {
 protected:
  void expectThatNothingRuns() {
    EXPECT_EQ(sut.GetState(), Bundle::STATE_RESOLVED);
    EXPECT_FALSE(sut.GetBundleContext());
    EXPECT_THAT(sut.GetRegisteredServices(), IsEmpty());
    EXPECT_THAT(sut.GetServicesInUse(), IsEmpty());
  }

  void expectThatItCanBeInstalledAnew() {
    scripting.Unregister();
    sut.Uninstall();
    EXPECT_EQ(context().GetBundles().size(), 1u);
    sut = context().InstallBundles(SCRIPTED_BUNDLE).at(0);
    sut.Start();
    EXPECT_EQ(sut.GetState(), Bundle::STATE_ACTIVE);
  }
};

class ABadActivatorThatThrowsBeforeItIsStarted : public ABadActivator,
                                                 public testing::WithParamInterface<const char*> {};

TEST_P(ABadActivatorThatThrowsBeforeItIsStarted, LeavesNothingRunning) {
  const std::string step = GetParam();
  scriptThrowingIn(step);
  const auto before = context().GetBundles();
  EXPECT_THAT(messageOf<std::runtime_error>([&] { sut.Start(); }),
              AllOf(HasSubstr(SCRIPTED_BUNDLE), HasSubstr("thrown in " + step)));
  EXPECT_EQ(context().GetBundles(), before);
  expectThatNothingRuns();
  expectThatItCanBeInstalledAnew();
}

INSTANTIATE_TEST_SUITE_P(In, ABadActivatorThatThrowsBeforeItIsStarted, testing::Values("construct", "start"),
                         [](const auto& step) { return std::string(step.param); });

TEST_F(ABadActivator, ThatThrowsWhenItIsStoppedLeavesNothingRunning) {
  scriptThrowingIn("stop");
  sut.Start();
  EXPECT_THAT(messageOf<std::runtime_error>([&] { sut.Stop(); }),
              AllOf(HasSubstr(SCRIPTED_BUNDLE), HasSubstr("thrown in stop")));
  expectThatNothingRuns();
  expectThatItCanBeInstalledAnew();
}

TEST_F(ABadActivator, ThatThrowsWhenItIsUninstalledIsReportedAndRemoved) {
  scriptThrowingIn("stop");
  sut.Start();
  Journal journal;
  context().AddFrameworkListener([journal](const FrameworkEvent& event) {
    if (event.GetType() == FrameworkEvent::FRAMEWORK_ERROR) {
      journal.note(messageOf<std::runtime_error>([&] { std::rethrow_exception(event.GetThrowable()); }));
    }
  });
  sut.Uninstall();
  EXPECT_EQ(sut.GetState(), Bundle::STATE_UNINSTALLED);
  EXPECT_THAT(journal.take(), testing::ElementsAre(AllOf(HasSubstr(SCRIPTED_BUNDLE), HasSubstr("thrown in stop"))));
  EXPECT_EQ(context().GetBundles().size(), 1u);
}

#ifdef SPF_RUNTIME_BUNDLED
// In these cases, other implementations are known to be less careful.

std::string fileWithDeep(const std::string& open, const std::string& close) {
  std::string text = R"({"bundle.symbolic_name": "b", "deep": )";
  for (int level = 0; level < 100000; ++level) {
    text += open;
  }
  text += "1";
  for (int level = 0; level < 100000; ++level) {
    text += close;
  }
  return fileWithManifest(text + "}");
}

std::string tamperedFile() {
  auto bytes = goodArchive().bytes();
  bytes[bytes.find("symbolic_name")] = 'S';
  return bytes;
}

std::string deepFolder() {
  std::string name = "b/";
  for (int level = 0; level < 200; ++level) {
    name += "x/";
  }
  return name;
}

std::string fileWithManyManifests() {
  ZipArchive archive;
  for (int i = 0; i < 5; ++i) {
    archive.addClaiming("b" + std::to_string(i) + "/manifest.json", "{}", 4 * 1024 * 1024);
  }
  return archive.bytes();
}

std::string fileWithEntry(const std::string& name) {
  return goodArchive().add(name, "").bytes();
}

const BadFile dangerousFiles[] = {
    {"WithAnEntryAboveTheArchive", [] { return fileWithEntry("../manifest.json"); },
     "'../manifest.json' points outside"},
    {"WithAnEntryAboveByADetour", [] { return fileWithEntry("x/../../y/data"); }, "'x/../../y/data' points outside"},
    {"WithAnAbsoluteEntry", [] { return fileWithEntry("/etc/passwd"); }, "'/etc/passwd' points outside"},
    {"WithABackslash", [] { return fileWithEntry("b\\..\\data"); }, "points outside"},
    {"WithAnEntryOfNoName", [] { return fileWithEntry(""); }, "'' points outside"},
    {"WithAnEndlessName", [] { return fileWithEntry("b/" + std::string(5000, 'x')); }, "is longer than 4096 bytes"},
    {"WithAnEntryInADeepFolder", [] { return fileWithEntry(deepFolder()); }, "deeper than 100 folders"},
    {"WithAFolderWithoutManifest", [] { return fileWithEntry("other/data"); }, "other/manifest.json"},
    {"WithTwoManifestsOfOneName", [] { return goodArchive().add("b/manifest.json", "{}").bytes(); },
     "two manifests of the bundle b"},
    {"WhoseManifestClaimsFourGigabytes",
     [] { return ZipArchive().addClaiming("b/manifest.json", "{}", 0xfffffff0).bytes(); },
     "b/manifest.json is larger than 4194304 bytes"},
    {"WhoseManifestClaimsMoreThanThereIs",
     [] { return ZipArchive().addClaiming("b/manifest.json", "{}", 1000).bytes(); }, "b/manifest.json"},
    {"WhoseManifestInflatesToMegabytes",
     [] { return ZipArchive().addBomb("b/manifest.json", 5000000, 5000000).bytes(); },
     "b/manifest.json is larger than 4194304 bytes"},
    {"WhoseManifestInflatesToMoreThanItClaims",
     [] { return ZipArchive().addBomb("b/manifest.json", 100, 1000000).bytes(); }, "b/manifest.json cannot be read"},
    {"WhoseManifestsTogetherAreTooLarge", [] { return fileWithManyManifests(); },
     "larger than 16777216 bytes together"},
    {"WhoseManifestWasTamperedWith", [] { return tamperedFile(); }, "b/manifest.json cannot be read"},
    {"WithABrokenManifest", [] { return fileWithManifest("{\n\"bundle.symbolic_name\": b}"); },
     "b/manifest.json cannot be read: [json.exception.parse_error.101] parse error at line 2"},
    {"WithAManifestOfListsWithoutEnd", [] { return fileWithDeep("[", "]"); }, "nested deeper than 200 levels"},
    {"WithAManifestOfMapsWithoutEnd", [] { return fileWithDeep(R"({"a":)", "}"); }, "nested deeper than 200 levels"}};

INSTANTIATE_TEST_SUITE_P(WhereOthersAreLessCareful, AFile, testing::ValuesIn(dangerousFiles), nameOf);

TEST_F(ABadLibrary, WithoutEntryPointsIsNotKept) {
  auto bundle = context().InstallBundles(NO_ACTIVATOR_BUNDLE).at(0);
  EXPECT_THROW(bundle.Start(), std::runtime_error);
  EXPECT_EQ(dlopen(NO_ACTIVATOR_BUNDLE, RTLD_LAZY | RTLD_NOLOAD), nullptr);
}

TEST_F(ABadActivator, ThatUninstallsItsBundleWhileItIsStartedIsRefused) {
  script([&](const std::string& step, BundleContext) {
    if (step == "start") {
      sut.Uninstall();
    }
  });
  EXPECT_THAT(messageOf<std::runtime_error>([&] { sut.Start(); }),
              AllOf(HasSubstr(SCRIPTED_BUNDLE), HasSubstr("cannot be uninstalled")));
  expectThatNothingRuns();
  expectThatItCanBeInstalledAnew();
}

#endif

}  // namespace
