#include <cppmicroservices/BundleResource.h>
#include <cppmicroservices/BundleResourceStream.h>

#include <iterator>

#include "TestFramework.hpp"
#include "ZipArchive.hpp"

namespace {

using namespace cppmicroservices;
using namespace spf::test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::string contentOf(const BundleResource& resource) {
  BundleResourceStream stream(resource, std::ios_base::in | std::ios_base::binary);
  return std::string(std::istreambuf_iterator<char>(stream), {});
}

std::vector<std::string> pathsOf(const std::vector<BundleResource>& resources) {
  std::vector<std::string> paths;
  for (const auto& resource : resources) {
    paths.push_back(resource.GetResourcePath());
  }
  return paths;
}

ZipArchive archiveOf(const std::string& name) {
  return ZipArchive().add(name + "/manifest.json", R"({"bundle.symbolic_name": ")" + name + "\"}");
}

class AResource : public StartedFramework {
 protected:
  AResource() {
    auto archive = archiveOf("bee");
    archive.add("bee/", "").add("bee/top.txt", "top\nline\n").add("bee/archive.tar.gz", "xx").add("bee/noext", "n");
    archive.add("bee/dir/", "").add("bee/dir/a.txt", "aaa").add("bee/dir/sub/", "").add("bee/dir/sub/b.txt", "b");
    archive.add("bee/empty/", "").add("bee/empty.txt", "");
    archive.add("cee/manifest.json", R"({"bundle.symbolic_name": "cee"})").add("cee/top.txt", "other");
    const auto bundles = context().InstallBundles(folder.write("bee.zip", archive.bytes()));
    bee = bundles.at(0);
    cee = bundles.at(1);
  }
  ~AResource() override { bee = cee = nullptr; }

  Bundle bee;
  Bundle cee;
};

TEST_F(AResource, IsFoundByItsPathInTheBundlesOwnFolder) {
  for (const auto* path : {"dir/a.txt", "/dir/a.txt", "//dir//a.txt"}) {
    const auto resource = bee.GetResource(path);
    ASSERT_TRUE(resource) << path;
    EXPECT_TRUE(resource.IsValid());
    EXPECT_EQ(resource.GetResourcePath(), "/dir/a.txt");
    EXPECT_EQ(resource.GetPath(), "/dir/");
    EXPECT_EQ(resource.GetName(), "a.txt");
    EXPECT_TRUE(resource.IsFile());
    EXPECT_FALSE(resource.IsDir());
  }
}

TEST_F(AResource, IsNotFoundOutsideOfTheBundle) {
  for (const auto* path : {"nothing", "../cee/top.txt", "dir/../top.txt", "bee/top.txt", "top.txt/"}) {
    EXPECT_FALSE(bee.GetResource(path)) << path;
  }
}

TEST_F(AResource, IsFoundInAnyCase) {
  EXPECT_EQ(contentOf(bee.GetResource("TOP.TXT")), "top\nline\n");
}

TEST_F(AResource, IsDescribedAsInTheArchive) {
  const auto resource = bee.GetResource("top.txt");
  EXPECT_EQ(resource.GetSize(), 9);
  EXPECT_EQ(resource.GetCompressedSize(), 9);
  EXPECT_EQ(resource.GetCrc32(), 2944693566u);
  EXPECT_GT(resource.GetLastModified(), 0);
}

TEST_F(AResource, HasANameInParts) {
  const auto archive = bee.GetResource("archive.tar.gz");
  EXPECT_EQ(archive.GetBaseName(), "archive");
  EXPECT_EQ(archive.GetCompleteBaseName(), "archive.tar");
  EXPECT_EQ(archive.GetSuffix(), "gz");
  EXPECT_EQ(archive.GetCompleteSuffix(), "tar.gz");
  const auto plain = bee.GetResource("noext");
  EXPECT_EQ(plain.GetBaseName(), "noext");
  EXPECT_EQ(plain.GetCompleteBaseName(), "noext");
  EXPECT_EQ(plain.GetSuffix(), "");
  EXPECT_EQ(plain.GetCompleteSuffix(), "");
}

TEST_F(AResource, MayBeAFolder) {
  const auto dir = bee.GetResource("dir/");
  ASSERT_TRUE(dir);
  EXPECT_TRUE(dir.IsDir());
  EXPECT_EQ(dir.GetName(), "");
  EXPECT_EQ(dir.GetPath(), "/dir/");
  EXPECT_THAT(dir.GetChildren(), ElementsAre("a.txt", "sub/"));
  EXPECT_THAT(pathsOf(dir.GetChildResources()), ElementsAre("/dir/a.txt", "/dir/sub/"));
  EXPECT_FALSE(bee.GetResource("dir"));
}

TEST_F(AResource, MayBeTheBundlesOwnFolder) {
  EXPECT_THAT(bee.GetResource("/").GetChildren(),
              ElementsAre("archive.tar.gz", "dir/", "empty.txt", "empty/", "manifest.json", "noext", "top.txt"));
}

TEST_F(AResource, IsFoundByPartsOfItsName) {
  EXPECT_THAT(pathsOf(bee.FindResources("/", "*.txt", false)), ElementsAre("/empty.txt", "/top.txt"));
  EXPECT_THAT(pathsOf(bee.FindResources("/", "*.txt", true)),
              ElementsAre("/dir/a.txt", "/dir/sub/b.txt", "/empty.txt", "/top.txt"));
  EXPECT_THAT(pathsOf(bee.FindResources("/", "top", false)), ElementsAre("/top.txt"));
  EXPECT_THAT(pathsOf(bee.FindResources("/", "*sub*", true)), ElementsAre("/dir/sub/"));
  EXPECT_THAT(bee.FindResources("/", "t?p.txt", false), IsEmpty());
}

TEST_F(AResource, IsFoundInAFolder) {
  EXPECT_THAT(pathsOf(bee.FindResources("dir", "*", false)), ElementsAre("/dir/a.txt", "/dir/sub/"));
  EXPECT_THAT(pathsOf(bee.FindResources("/dir/", "", true)), ElementsAre("/dir/a.txt", "/dir/sub/b.txt", "/dir/sub/"));
  EXPECT_THAT(bee.FindResources("nothing", "*", true), IsEmpty());
  EXPECT_THAT(bee.FindResources("top.txt", "*", true), IsEmpty());
}

TEST_F(AResource, IsReadAsAStreamThatCanBeSought) {
  BundleResourceStream stream(bee.GetResource("top.txt"), std::ios_base::binary);
  std::string line;
  stream.seekg(4);
  std::getline(stream, line);
  EXPECT_EQ(line, "line");
  stream.seekg(-5, std::ios_base::end);
  EXPECT_EQ(stream.peek(), 'l');
}

TEST_F(AResource, IsReadAsAnEmptyTextIfItIsNoFileWithContent) {
  EXPECT_EQ(contentOf(bee.GetResource("empty.txt")), "");
  EXPECT_EQ(contentOf(bee.GetResource("dir/")), "");
  EXPECT_EQ(contentOf(BundleResource()), "");
}

TEST_F(AResource, EqualsTheSameOneOfTheSameBundle) {
  const auto resource = bee.GetResource("top.txt");
  EXPECT_TRUE(resource == bee.GetResource("/top.txt"));
  EXPECT_EQ(std::hash<BundleResource>()(resource), std::hash<BundleResource>()(bee.GetResource("/top.txt")));
  EXPECT_TRUE(resource != bee.GetResource("noext"));
  EXPECT_TRUE(resource != cee.GetResource("top.txt"));
  EXPECT_TRUE(resource != BundleResource());
  EXPECT_TRUE(BundleResource() == BundleResource());
}

TEST_F(AResource, IsOrderedByPath) {
  EXPECT_TRUE(bee.GetResource("dir/a.txt") < bee.GetResource("top.txt"));
  EXPECT_FALSE(bee.GetResource("top.txt") < bee.GetResource("dir/a.txt"));
}

TEST_F(AResource, IsInvalidAtFirst) {
  const BundleResource resource;
  EXPECT_FALSE(resource);
  EXPECT_EQ(resource.GetResourcePath(), "");
  EXPECT_EQ(resource.GetSize() + resource.GetCompressedSize(), 0);
  EXPECT_EQ(resource.GetCrc32(), 0u);
  EXPECT_EQ(resource.GetLastModified(), 0);
  EXPECT_FALSE(resource.IsDir());
  EXPECT_THAT(resource.GetChildren(), IsEmpty());
  EXPECT_THAT(resource.GetChildResources(), IsEmpty());
}

TEST_F(AResource, StaysUsableAfterItsBundle) {
  const auto resource = bee.GetResource("dir/a.txt");
  bee.Uninstall();
  EXPECT_EQ(contentOf(resource), "aaa");
  EXPECT_THROW(bee.GetResource("dir/a.txt"), std::logic_error);
  EXPECT_THROW(bee.FindResources("/", "*", true), std::logic_error);
}

TEST_F(AResource, DoesNotExistInAFrameworkOrAnInvalidBundle) {
  EXPECT_FALSE(framework.GetResource("top.txt"));
  EXPECT_THROW(Bundle().GetResource("top.txt"), std::invalid_argument);
  EXPECT_THROW(Bundle().FindResources("/", "*", true), std::invalid_argument);
}

TEST_F(AResource, NeedsAnArchiveInTheBundlesFile) {
  AnyMap headers(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
  headers["bundle.symbolic_name"] = std::string("given");
  AnyMap manifests(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
  manifests["given"] = headers;
  const auto bundle = context().InstallBundles(folder.write("text", "no archive"), manifests).at(0);
  EXPECT_THAT(messageOf<std::runtime_error>([&] { bundle.GetResource("x"); }), HasSubstr("Could not init zip archive"));
}

#ifdef SPF_RUNTIME_BUNDLED
// In these cases, other implementations lose bytes or files, or trust the archive.

TEST_F(AResource, IsReadToItsLastByteInEveryMode) {
  BundleResourceStream stream(bee.GetResource("top.txt"));
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(stream), {}), "top\nline\n");
}

TEST_F(AResource, IsFoundInFoldersThatHaveNoEntryOfTheirOwn) {
  auto archive = archiveOf("dee");
  const auto dee =
      context().InstallBundles(folder.write("dee.zip", archive.add("dee/deep/down/x.txt", "x").bytes())).at(0);
  EXPECT_THAT(pathsOf(dee.FindResources("/", "*", true)),
              ElementsAre("/deep/down/x.txt", "/deep/down/", "/deep/", "/manifest.json"));
  EXPECT_TRUE(dee.GetResource("deep/down/").IsDir());
}

class ABrokenResource : public StartedFramework {
 protected:
  std::string refusalOf(ZipArchive archive) {
    const auto bundle = context().InstallBundles(folder.write("broken.zip", archive.bytes())).at(0);
    return messageOf<std::runtime_error>([&] { contentOf(bundle.GetResource("data")); });
  }
};

TEST_F(ABrokenResource, OverTheLargestSizeIsNotRead) {
  EXPECT_THAT(refusalOf(archiveOf("broken").addClaiming("broken/data", "text", 0xfffffff0)),
              testing::AllOf(HasSubstr("broken.zip"), HasSubstr("broken/data is larger than")));
}

TEST_F(ABrokenResource, ThatInflatesToMoreThanItClaimsIsNotRead) {
  EXPECT_THAT(refusalOf(archiveOf("broken").addBomb("broken/data", 100, 10000)),
              HasSubstr("broken/data cannot be read"));
}

TEST_F(ABrokenResource, OfARemovedFileIsNotRead) {
  const auto path = folder.write("gone.zip", archiveOf("gone").bytes());
  const auto bundle = context().InstallBundles(path).at(0);
  const auto resource = bundle.GetResource("manifest.json");
  std::filesystem::remove(path);
  EXPECT_EQ(messageOf<std::runtime_error>([&] { contentOf(resource); }), path + " does not exist");
}

TEST_F(ABrokenResource, OfAFileThatWasReplacedIsNotRead) {
  const auto bundle = context().InstallBundles(folder.write("old.zip", archiveOf("old").bytes())).at(0);
  const auto resource = bundle.GetResource("manifest.json");
  folder.write("old.zip", archiveOf("new").bytes());
  EXPECT_THAT(messageOf<std::runtime_error>([&] { contentOf(resource); }), HasSubstr("the file was changed"));
}

#endif

}  // namespace
