#include <elf.h>

#include <cstring>

#include "TestFramework.hpp"
#include "ZipArchive.hpp"

namespace {

using namespace cppmicroservices;
using namespace spf::test;
using testing::ElementsAre;
using testing::HasSubstr;

const std::string library(3000, 'x');

std::string manifest(const std::string& name, const std::string& more = "") {
  return R"({"bundle.symbolic_name": ")" + name + "\"" + more + "}";
}

ZipArchive archiveOf(const std::string& name) {
  return ZipArchive().add(name + "/manifest.json", manifest(name));
}

/// Returns the frame of a library, with an archive in the section for resources.
std::string libraryWithSection(const std::string& archive) {
  const std::string names("\0.shstrtab\0.us_resources\0", 25);
  Elf64_Ehdr header{};
  std::memcpy(header.e_ident, ELFMAG, SELFMAG);
  header.e_ident[EI_CLASS] = ELFCLASS64;
  header.e_ident[EI_DATA] = ELFDATA2LSB;
  header.e_ident[EI_VERSION] = EV_CURRENT;
  header.e_type = ET_DYN;
  header.e_machine = EM_X86_64;
  header.e_version = EV_CURRENT;
  header.e_ehsize = sizeof header;
  header.e_shentsize = sizeof(Elf64_Shdr);
  header.e_shnum = 3;
  header.e_shstrndx = 1;
  header.e_shoff = sizeof header + names.size() + archive.size();
  Elf64_Shdr sections[3] = {};
  sections[1].sh_name = 1;
  sections[1].sh_type = SHT_STRTAB;
  sections[1].sh_offset = sizeof header;
  sections[1].sh_size = names.size();
  sections[2].sh_name = 11;
  sections[2].sh_type = SHT_PROGBITS;
  sections[2].sh_offset = sizeof header + names.size();
  sections[2].sh_size = archive.size();
  return std::string(reinterpret_cast<const char*>(&header), sizeof header) + names + archive +
         std::string(reinterpret_cast<const char*>(sections), sizeof sections);
}

class AnInstallingFramework : public StartedFramework {
 protected:
  std::vector<Bundle> install(const std::string& content) {
    return context().InstallBundles(folder.write("bundle" + std::to_string(++files_), content));
  }

  std::string refusalOf(const std::string& content) {
    return messageOf<std::runtime_error>([&] { install(content); });
  }

  void expectNothingInstalled() { EXPECT_EQ(context().GetBundles().size(), 1u); }

 private:
  int files_ = 0;
};

TEST_F(AnInstallingFramework, InstallsAnArchiveThatStandsAlone) {
  const auto bundles = install(archiveOf("alone").bytes());
  ASSERT_EQ(bundles.size(), 1u);
  EXPECT_EQ(bundles[0].GetSymbolicName(), "alone");
  EXPECT_EQ(bundles[0].GetState(), Bundle::STATE_INSTALLED);
  EXPECT_FALSE(bundles[0].GetBundleContext());
}

TEST_F(AnInstallingFramework, InstallsAnArchiveAppendedToALibraryUnchanged) {
  ASSERT_EQ(install(library + archiveOf("appended").bytes()).size(), 1u);
}

TEST_F(AnInstallingFramework, InstallsAnArchiveAppendedToALibraryWithItsOffsetsAdjusted) {
  ASSERT_EQ(install(library + archiveOf("adjusted").bytes(library.size())).size(), 1u);
}

TEST_F(AnInstallingFramework, InstallsAnArchiveInTheSectionForResources) {
  const auto bundles = install(libraryWithSection(archiveOf("section").bytes()));
  ASSERT_EQ(bundles.size(), 1u);
  EXPECT_EQ(bundles[0].GetSymbolicName(), "section");
}

TEST_F(AnInstallingFramework, InstallsAllBundlesOfOneArchiveSortedByName) {
  auto archive = archiveOf("zeta");
  const auto bundles = install(archive.add("alpha/manifest.json", manifest("alpha")).bytes());
  ASSERT_EQ(bundles.size(), 2u);
  EXPECT_EQ(bundles[0].GetSymbolicName(), "alpha");
  EXPECT_EQ(bundles[1].GetSymbolicName(), "zeta");
}

TEST_F(AnInstallingFramework, InstallsTheBundleOfTheBuild) {
  const auto bundles = context().InstallBundles(SCRIPTED_BUNDLE);
  ASSERT_EQ(bundles.size(), 1u);
  EXPECT_EQ(bundles[0].GetSymbolicName(), "scripted");
  EXPECT_EQ(bundles[0].GetVersion().ToString(), "1.2.3");
  EXPECT_EQ(bundles[0].GetBundleId(), 1);
  EXPECT_EQ(bundles[0].GetLocation(), SCRIPTED_BUNDLE);
}

TEST_F(AnInstallingFramework, StartsABundleWithoutCode) {
  auto bundles = context().InstallBundles(DATA_ONLY_BUNDLE);
  ASSERT_EQ(bundles.size(), 1u);
  bundles[0].Start();
  EXPECT_EQ(bundles[0].GetState(), Bundle::STATE_ACTIVE);
  EXPECT_TRUE(bundles[0].GetBundleContext());
}

TEST_F(AnInstallingFramework, ReturnsTheSameBundlesForTheSameLocation) {
  const auto path = folder.write("same.zip", archiveOf("same").bytes());
  const auto first = context().InstallBundles(path);
  EXPECT_EQ(context().InstallBundles(path), first);
  EXPECT_EQ(context().GetBundles(path), first);
}

TEST_F(AnInstallingFramework, ReinstallsTheUninstalledBundlesOfAFile) {
  auto archive = archiveOf("alpha");
  archive.add("beta/manifest.json", manifest("beta")).add("gamma/manifest.json", manifest("gamma"));
  const auto path = folder.write("three.zip", archive.bytes());
  auto first = context().InstallBundles(path);
  ASSERT_EQ(first.size(), 3u);
  first[1].Uninstall();
  EXPECT_EQ(context().GetBundles(path).size(), 2u);
  Journal journal;
  noteBundleEvents(journal);
  const auto second = context().InstallBundles(path);
  EXPECT_THAT(journal.texts(), ElementsAre("INSTALLED beta"));
  ASSERT_EQ(second.size(), 3u);
  EXPECT_EQ(second[0], first[0]);
  EXPECT_EQ(second[1], first[2]);
  EXPECT_EQ(second[2].GetSymbolicName(), "beta");
  EXPECT_EQ(second[2].GetBundleId(), 4);
  EXPECT_NE(second[2], first[1]);
  EXPECT_EQ(context().InstallBundles(path), second);
}

TEST_F(AnInstallingFramework, ReinstallsUninstalledBundlesWithTheCallersManifests) {
  AnyMap manifests(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
  for (const auto* name : {"alpha", "beta"}) {
    manifests[name] = AnyMap{{Constants::BUNDLE_SYMBOLICNAME, std::string(name)}};
  }
  const auto path = folder.write("given.zip", "no archive");
  auto first = context().InstallBundles(path, manifests);
  ASSERT_EQ(first.size(), 2u);
  first[0].Uninstall();
  const auto second = context().InstallBundles(path, manifests);
  ASSERT_EQ(second.size(), 2u);
  EXPECT_EQ(second[0], first[1]);
  EXPECT_EQ(second[1].GetSymbolicName(), first[0].GetSymbolicName());
}

TEST_F(AnInstallingFramework, NamesABundleAfterItsDirectoryAndNotAfterItsHeader) {
  const auto bundles = install(ZipArchive().add("directory/manifest.json", manifest("header")).bytes());
  EXPECT_EQ(bundles.at(0).GetSymbolicName(), "directory");
}

TEST_F(AnInstallingFramework, ReadsManifestsOfAnySize) {
  for (const std::size_t size : {65535, 65536, 65537, 200000}) {
    const auto empty = manifest("b", R"(, "text": "")");
    const std::string text(size - empty.size(), 'x');
    const auto whole = manifest("b", R"(, "text": ")" + text + '"');
    ASSERT_EQ(whole.size(), size);
    const auto bundle = install(ZipArchive().add("b" + std::to_string(size) + "/manifest.json", whole).bytes()).at(0);
    EXPECT_EQ(any_cast<std::string>(bundle.GetHeaders().at("text")), text);
  }
}

TEST_F(AnInstallingFramework, ReadsHeadersOfAllTypes) {
  const auto bundle = install(ZipArchive()
                                  .add("b/manifest.json", manifest("b", R"(, "int": -3, "double": 1.5, "bool": true,
      "text": "%localised", "list": [1, "two", null, [3]], "map": {"Key": "value", "inner": {"x": 1}},
      "twice": 1, "twice": 2, "nothing": null, "large": 3000000000, "small": -3000000000, "fits": 2147483647)"))
                                  .bytes())
                          .at(0);
  const auto& headers = bundle.GetHeaders();
  EXPECT_EQ(headers.GetType(), AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
  EXPECT_EQ(any_cast<int>(headers.at("INT")), -3);
  EXPECT_EQ(any_cast<double>(headers.at("double")), 1.5);
  EXPECT_EQ(any_cast<bool>(headers.at("bool")), true);
  EXPECT_EQ(any_cast<std::string>(headers.at("text")), "localised");
  EXPECT_EQ(any_cast<int>(headers.at("twice")), 1);
  EXPECT_EQ(any_cast<int>(headers.at("fits")), 2147483647);
  EXPECT_EQ(headers.count("nothing") + headers.count("large") + headers.count("small"), 0u);
  const auto list = any_cast<std::vector<Any>>(headers.at("list"));
  ASSERT_EQ(list.size(), 3u);
  EXPECT_EQ(any_cast<std::string>(list[1]), "two");
  EXPECT_EQ(any_cast<std::vector<Any>>(list[2]).size(), 1u);
  const auto map = any_cast<AnyMap>(headers.at("map"));
  EXPECT_EQ(any_cast<std::string>(map.at("KEY")), "value");
  EXPECT_EQ(any_cast<int>(any_cast<AnyMap>(map.at("inner")).at("X")), 1);
}

TEST_F(AnInstallingFramework, TakesTheCallersManifestInPlaceOfTheFiles) {
  const auto path = folder.write("no archive at all", "text");
  AnyMap headers(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
  headers["bundle.symbolic_name"] = std::string("given");
  headers["bundle.version"] = std::string("3.0");
  AnyMap manifests(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
  manifests["given"] = headers;
  const auto bundles = context().InstallBundles(path, manifests);
  ASSERT_EQ(bundles.size(), 1u);
  EXPECT_EQ(bundles[0].GetSymbolicName(), "given");
  EXPECT_EQ(bundles[0].GetVersion().ToString(), "3.0.0");
}

TEST_F(AnInstallingFramework, FindsABundlesCodeByItsNameAndNotByItsHeader) {
  const auto installCode = [&](const std::string& name, const std::string& header) {
    AnyMap headers;
    headers[Constants::BUNDLE_SYMBOLICNAME] = header;
    headers[Constants::BUNDLE_ACTIVATOR] = true;
    AnyMap manifests;
    manifests[name] = headers;
    return context().InstallBundles(SCRIPTED_BUNDLE, manifests).at(0);
  };
  auto good = installCode("scripted", "other");
  EXPECT_EQ(good.GetSymbolicName(), "scripted");
  good.Start();
  EXPECT_EQ(good.GetRegisteredServices().size(), 1u);
  good.Uninstall();
  auto bad = installCode("other", "scripted");
  EXPECT_THAT(messageOf<std::runtime_error>([&] { bad.Start(); }), HasSubstr("activator constructor not found"));
}

TEST_F(AnInstallingFramework, ReportsEachInstalledBundle) {
  Journal journal;
  noteBundleEvents(journal);
  auto archive = archiveOf("one");
  install(archive.add("two/manifest.json", manifest("two")).bytes());
  EXPECT_THAT(journal.texts(), ElementsAre("INSTALLED one", "INSTALLED two"));
}

TEST_F(AnInstallingFramework, RefusesAnotherPathOfAnInstalledLocation) {
  const auto path = folder.write("same.zip", archiveOf("same").bytes());
  context().InstallBundles(path);
  EXPECT_THAT(messageOf<std::runtime_error>([&] { context().InstallBundles(folder / "./same.zip"); }),
              HasSubstr("already installed"));
}

TEST_F(AnInstallingFramework, NeedsTheFileAlsoForTheCallersManifest) {
  const auto path = folder / "missing";
  AnyMap headers(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
  headers["bundle.symbolic_name"] = std::string("given");
  AnyMap manifests(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
  manifests["given"] = headers;
  EXPECT_EQ(messageOf<std::runtime_error>([&] { context().InstallBundles(path, manifests); }),
            path + " does not exist");
}

TEST_F(AnInstallingFramework, DoesNotReuseTheIdsOfRefusedBundles) {
  EXPECT_THROW(install("text"), std::runtime_error);
  EXPECT_THROW(install(ZipArchive().add("manifest.json", "{}").bytes()), std::runtime_error);
  EXPECT_EQ(install(archiveOf("a").bytes()).at(0).GetBundleId(), 1);
  EXPECT_THROW(install(ZipArchive().add("b/manifest.json", "{").bytes()), std::runtime_error);
  EXPECT_EQ(install(archiveOf("c").bytes()).at(0).GetBundleId(), 3);
  EXPECT_THROW(install(archiveOf("a").bytes()), std::runtime_error);
  EXPECT_EQ(install(archiveOf("d").bytes()).at(0).GetBundleId(), 5);
  auto badAndGood = ZipArchive().add("bad/manifest.json", "{}");
  EXPECT_THROW(install(badAndGood.add("good/manifest.json", manifest("good")).bytes()), std::runtime_error);
  EXPECT_EQ(install(archiveOf("e").bytes()).at(0).GetBundleId(), 8);
}

TEST_F(AnInstallingFramework, ListsBundlesOfOneLocationById) {
  auto archive = archiveOf("zeta");
  const auto bundles = install(archive.add("alpha/manifest.json", manifest("alpha")).bytes());
  EXPECT_THAT(context().GetBundles(), ElementsAre(bundles[0], bundles[1], framework));
  EXPECT_LT(bundles[0].GetBundleId(), bundles[1].GetBundleId());
}

TEST_F(AnInstallingFramework, ListsBundlesByLocation) {
  const auto second = folder.write("second.zip", archiveOf("second").bytes());
  const auto first = folder.write("first.zip", archiveOf("first").bytes());
  context().InstallBundles(second);
  context().InstallBundles(first);
  std::vector<std::string> names;
  for (const auto& bundle : context().GetBundles()) {
    names.push_back(bundle.GetSymbolicName());
  }
  EXPECT_THAT(names, ElementsAre("first", "second", "system_bundle"));
  EXPECT_EQ(context().GetBundle(1).GetSymbolicName(), "second");
  EXPECT_FALSE(context().GetBundle(99));
}

TEST_F(AnInstallingFramework, RefusesAFileThatDoesNotExist) {
  const auto path = folder / "missing";
  EXPECT_EQ(messageOf<std::runtime_error>([&] { context().InstallBundles(path); }), path + " does not exist");
}

TEST_F(AnInstallingFramework, RefusesAFolder) {
  EXPECT_THAT(messageOf<std::runtime_error>([&] { context().InstallBundles(folder / "."); }),
              HasSubstr("Could not init zip archive for bundle at"));
  expectNothingInstalled();
}

TEST_F(AnInstallingFramework, RefusesASecondBundleOfTheSameNameAndVersion) {
  install(archiveOf("same").bytes());
  EXPECT_THAT(refusalOf(archiveOf("same").bytes()), HasSubstr("Failed to install bundle library at"));
  const auto newer =
      install(ZipArchive().add("same/manifest.json", manifest("same", R"(, "bundle.version": "2")")).bytes());
  EXPECT_EQ(newer.size(), 1u);
}

TEST_F(AnInstallingFramework, InstallsNothingOfAnArchiveWithOneBadBundle) {
  auto archive = archiveOf("good");
  EXPECT_THAT(refusalOf(archive.add("zzz_bad/manifest.json", "{}").bytes()), HasSubstr("Failed to install"));
  expectNothingInstalled();
}

#ifdef SPF_RUNTIME_BUNDLED
// In these cases, other implementations are known to be less careful.

TEST_F(AnInstallingFramework, RefusesALibraryWithWrongSections) {
  const auto good = libraryWithSection(archiveOf("section").bytes());
  for (std::size_t at = 0; at < good.size(); ++at) {
    auto bytes = good;
    bytes[at] = static_cast<char>(bytes[at] ^ 0xff);
    try {
      for (auto& bundle : install(bytes)) {
        bundle.Uninstall();
      }
    } catch (const std::runtime_error&) {
    }
  }
  expectNothingInstalled();
}

TEST_F(AnInstallingFramework, RefusesACallersManifestThatIsNoMap) {
  AnyMap manifests(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
  manifests["given"] = 1;
  EXPECT_THAT(messageOf<std::runtime_error>([&] { context().InstallBundles(folder.write("file", "text"), manifests); }),
              HasSubstr("Failed to install bundle library at"));
  expectNothingInstalled();
}

#endif

}  // namespace
