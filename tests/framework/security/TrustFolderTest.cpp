#include "agent/spf/security/TrustFolder.hpp"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include "Keys.hpp"
#include "WrappedCalls.hpp"
#include "agent/spf/security/keyFiles.hpp"

namespace spf::test {

using namespace agent::spf::security;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;
using testing::UnorderedElementsAre;

constexpr auto unprotectedFolder = "; expected 0755, since only its owner may write in a folder of public keys";
constexpr auto unprotectedFile = "; expected 0644, since only its owner may write a key that is trusted";

class ATrustFolder : public WithKeys {
 protected:
  void TearDown() override {
    failOpenings(0);
    failFolders(0);
    failListings(0);
    failReadings(0);
    setClockAhead(0);
  }

  static PublicKey newKey() { return SecretKey::generate().publicKey(); }

  /// Puts a key into the folder under a name, in the place of another one or not.
  PublicKey put(const std::string& name) const {
    const auto key = newKey();
    put(name, key);
    return key;
  }
  void put(const std::string& name, const PublicKey& key) const {
    const auto file = path(name + ".pub");
    std::ofstream(file) << "# " << name << '\n' << key.text() << '\n';
    chmod(file.c_str(), 0644);
  }

  /// Makes the content of a file look old, so that the next change shows even within the same tick.
  void age(const std::string& name) const {
    const auto file = path(name + ".pub");
    std::filesystem::last_write_time(file, std::filesystem::last_write_time(file) - std::chrono::hours(1));
  }

  void remove(const std::string& name) const { std::filesystem::remove(path(name + ".pub")); }

  void makeFolder(const std::string& name) const {
    std::filesystem::create_directory(path(name));
    chmod(path(name).c_str(), 0755);
  }

  TrustFolder open() {
    return {folder_.path(), [this](const std::string& warning) { warnings_.push_back(warning); }};
  }

  /// Opens the folder long after the last change of its files.
  TrustFolder openLater() {
    setClockAhead(10);
    return open();
  }

  std::vector<std::string> takeWarnings() { return std::exchange(warnings_, {}); }

  std::string refused(const std::string& folder) const {
    return refusal([&] { TrustFolder(folder, nullptr); });
  }

 private:
  std::vector<std::string> warnings_;
};

TEST_F(ATrustFolder, HasKeysByNameAndNamesByKey) {
  const auto alice = put("alice");
  const auto bob = put("bob");
  const auto sut = open();
  const auto keys = sut.keys();
  EXPECT_THAT(keys->keys(), ElementsAre(Pair("alice", alice), Pair("bob", bob)));
  ASSERT_NE(keys->find("alice"), nullptr);
  EXPECT_EQ(*keys->find("alice"), alice);
  ASSERT_NE(keys->nameOf(bob), nullptr);
  EXPECT_EQ(*keys->nameOf(bob), "bob");
  EXPECT_EQ(keys->find("carol"), nullptr);
  EXPECT_EQ(keys->find("alice.pub"), nullptr);
  EXPECT_EQ(keys->nameOf(newKey()), nullptr);
  EXPECT_THAT(keys->problems(), IsEmpty());
  EXPECT_THAT(takeWarnings(), IsEmpty());
}

TEST_F(ATrustFolder, MayBeEmpty) {
  const auto sut = open();
  EXPECT_THAT(sut.keys()->keys(), IsEmpty());
  EXPECT_THAT(takeWarnings(), IsEmpty());
}

TEST_F(ATrustFolder, HasToBeAFolder) {
  EXPECT_EQ(refused(path("none")),
            path("none") + ": cannot be read: No such file or directory; expected a folder of public keys");
  write("file", "");
  EXPECT_EQ(refused(path("file")),
            path("file") + ": cannot be read: Not a directory; expected a folder of public keys");
}

TEST_F(ATrustFolder, HasToBeReadable) {
  chmod(folder_.path().c_str(), S_IXOTH);
  const AsNobody other;
  EXPECT_EQ(refused(folder_.path()),
            folder_.path() + ": cannot be read: Permission denied; expected a folder of public keys");
}

TEST_F(ATrustFolder, IsNothingThatOthersMayWriteIn) {
  put("alice");
  for (const auto& [mode, text] : {std::pair<mode_t, const char*>{0777, "0777"},
                                   {01777, "1777"},
                                   {0775, "0775"},
                                   {0757, "0757"},
                                   {0720, "0720"}}) {
    chmod(folder_.path().c_str(), mode);
    EXPECT_EQ(refused(folder_.path()), folder_.path() + ": has the permissions " + text + unprotectedFolder);
  }
}

TEST_F(ATrustFolder, BelongsToItsUserOrToRoot) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "only root can give a folder away";
  }
  const auto alice = put("alice");
  ASSERT_EQ(chown(folder_.path().c_str(), 65534, 65534), 0);
  EXPECT_EQ(refused(folder_.path()), folder_.path() + ": belongs to user 65534; expected user 0");
  {
    const AsNobody user;
    EXPECT_THAT(open().keys()->keys(), ElementsAre(Pair("alice", alice))) << "root's file in the user's folder";
  }
  ASSERT_EQ(chown(folder_.path().c_str(), 1, 1), 0);
  chmod(folder_.path().c_str(), 0755);
  const AsNobody user;
  EXPECT_EQ(refused(folder_.path()), folder_.path() + ": belongs to user 1; expected user 65534 or 0");
}

TEST_F(ATrustFolder, LeavesOutFilesOfOtherUsers) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "only root can give a file away";
  }
  const auto alice = put("alice");
  put("bob");
  chmod(folder_.path().c_str(), 0755);
  ASSERT_EQ(chown(path("alice.pub").c_str(), 65534, 65534), 0);
  ASSERT_EQ(chown(path("bob.pub").c_str(), 1, 1), 0);
  {
    const AsNobody user;
    EXPECT_THAT(open().keys()->keys(), ElementsAre(Pair("alice", alice)));
    EXPECT_THAT(takeWarnings(), ElementsAre(path("bob.pub") + ": belongs to user 1; expected user 65534 or 0"));
  }
  EXPECT_THAT(open().keys()->keys(), IsEmpty());
  EXPECT_THAT(takeWarnings(), ElementsAre(path("alice.pub") + ": belongs to user 65534; expected user 0",
                                          path("bob.pub") + ": belongs to user 1; expected user 0"));
}

TEST_F(ATrustFolder, IsJudgedByWhatSymbolicLinksLeadTo) {
  makeFolder("trust");
  const auto alice = put("alice");
  put("open");
  chmod(path("open.pub").c_str(), 0664);
  std::filesystem::create_symlink(path("alice.pub"), path("trust/alice.pub"));
  std::filesystem::create_symlink(path("open.pub"), path("trust/open.pub"));
  std::filesystem::create_symlink("trust", path("link"));
  TrustFolder sut(path("link"), nullptr);
  EXPECT_THAT(sut.keys()->keys(), ElementsAre(Pair("alice", alice)));
  EXPECT_THAT(sut.keys()->problems(),
              ElementsAre(path("link/open.pub") + ": has the permissions 0664" + unprotectedFile));
  chmod(path("trust").c_str(), 0775);
  EXPECT_EQ(refused(path("link")), path("link") + ": has the permissions 0775" + unprotectedFolder);
}

TEST_F(ATrustFolder, IgnoresOtherFiles) {
  const auto alice = put("alice");
  write("alice.key", "not even a key");
  write("README", "hello");
  write(".pub", "hidden");
  write(".alice.pub", "hidden");
  write("alice.pub~", "a copy");
  write("alice.PUB", "in capitals");
  write("pub", "x");
  const auto sut = open();
  EXPECT_THAT(sut.keys()->keys(), ElementsAre(Pair("alice", alice)));
  EXPECT_THAT(takeWarnings(), IsEmpty());
}

TEST_F(ATrustFolder, LeavesOutBrokenFilesWithAWarningEach) {
  const auto alice = put("alice");
  write("long.pub", newKey().text() + "0\n");
  write("empty.pub", "");
  write("bob smith.pub", newKey().text());
  std::filesystem::create_directory(path("folder.pub"));
  std::filesystem::create_symlink(path("nowhere"), path("link.pub"));
  put("open");
  chmod(path("open.pub").c_str(), 0646);
  put("shared");
  chmod(path("shared.pub").c_str(), 0664);
  auto sut = open();
  EXPECT_THAT(sut.keys()->keys(), ElementsAre(Pair("alice", alice)));
  const std::vector<std::string> problems = {
      path("bob smith.pub") +
          ": is not named after a key; expected 1 to 64 letters, digits, '.', '_' and '-', and no "
          "'.' at the beginning",
      path("empty.pub") + ": no key; expected one line of 40 characters of Z85 that does not begin with #",
      path("folder.pub") + ": is a folder; expected a key file",
      path("link.pub") + ": cannot be read: No such file or directory",
      path("long.pub") + ":1: 41 characters; expected one line of 40 characters of Z85",
      path("open.pub") + ": has the permissions 0646" + unprotectedFile,
      path("shared.pub") + ": has the permissions 0664" + unprotectedFile};
  EXPECT_EQ(sut.keys()->problems(), problems);
  EXPECT_EQ(takeWarnings(), problems);
  EXPECT_FALSE(sut.refresh());
  EXPECT_THAT(takeWarnings(), IsEmpty());
}

TEST_F(ATrustFolder, TakesAFileThatIsNoLongerBroken) {
  write("alice.pub", "");
  auto sut = open();
  EXPECT_EQ(takeWarnings().size(), 1u);
  const auto alice = put("alice");
  EXPECT_TRUE(sut.refresh());
  EXPECT_THAT(sut.keys()->keys(), ElementsAre(Pair("alice", alice)));
  EXPECT_THAT(sut.keys()->problems(), IsEmpty());
  write("alice.pub", "");
  EXPECT_TRUE(sut.refresh());
  EXPECT_THAT(takeWarnings(), ElementsAre(path("alice.pub") + ": no key; expected one line of 40 characters of Z85 "
                                                              "that does not begin with #"));
}

TEST_F(ATrustFolder, CannotBeReadByItsModeOnly) {
  const auto file = write("alice.pub", newKey().text());
  chmod(file.c_str(), 0);
  chmod(folder_.path().c_str(), 0755);
  const AsNobody other;
  const auto sut = open();
  EXPECT_THAT(takeWarnings(), ElementsAre(file + ": cannot be read: Permission denied"));
}

TEST_F(ATrustFolder, TrustsNoneOfTheNamesThatHaveTheSameKey) {
  const auto key = newKey();
  put("alice", key);
  put("bob", key);
  const auto carol = put("carol");
  auto sut = open();
  EXPECT_THAT(sut.keys()->keys(), ElementsAre(Pair("carol", carol)));
  EXPECT_EQ(sut.keys()->nameOf(key), nullptr);
  EXPECT_THAT(
      takeWarnings(),
      ElementsAre(
          path("alice.pub") + ": holds the key of 'bob' as well; expected a key of its own, since neither is trusted",
          path("bob.pub") + ": holds the key of 'alice' as well; expected a key of its own, since neither is trusted"));
  std::filesystem::remove(path("bob.pub"));
  EXPECT_TRUE(sut.refresh());
  ASSERT_NE(sut.keys()->nameOf(key), nullptr);
  EXPECT_EQ(*sut.keys()->nameOf(key), "alice");
}

TEST_F(ATrustFolder, IsReadAgainWhenAKeyIsAdded) {
  auto sut = open();
  EXPECT_FALSE(sut.refresh());
  const auto alice = put("alice");
  EXPECT_THAT(sut.keys()->keys(), IsEmpty()) << "nobody has asked for it";
  EXPECT_TRUE(sut.refresh());
  EXPECT_THAT(sut.keys()->keys(), ElementsAre(Pair("alice", alice)));
  EXPECT_FALSE(sut.refresh());
}

TEST_F(ATrustFolder, IsReadAgainWhenAKeyIsRemoved) {
  const auto key = put("alice");
  auto sut = open();
  const auto before = sut.keys();
  std::filesystem::remove(path("alice.pub"));
  EXPECT_TRUE(sut.refresh());
  EXPECT_EQ(sut.keys()->find("alice"), nullptr);
  EXPECT_EQ(sut.keys()->nameOf(key), nullptr);
  EXPECT_NE(before->nameOf(key), nullptr) << "what was handed out never changes";
}

// Where the file system's clock ticks slowly, many of these changes happen within one tick.
TEST_F(ATrustFolder, IsReadAgainWhenAKeyIsReplacedAtOnce) {
  const PublicKey keys[] = {put("alice"), newKey()};
  auto sut = open();
  for (int count = 1; count < 200; ++count) {
    put("alice", keys[count % 2]);
    ASSERT_TRUE(sut.refresh()) << count;
    ASSERT_EQ(*sut.keys()->find("alice"), keys[count % 2]);
  }
  for (int count = 0; count < 200; ++count) {
    put("new", keys[count % 2]);
    std::filesystem::rename(path("new.pub"), path("alice.pub"));
    ASSERT_TRUE(sut.refresh()) << count;
    ASSERT_EQ(*sut.keys()->find("alice"), keys[count % 2]);
  }
  for (int count = 0; count < 200; ++count) {
    std::filesystem::remove(path("alice.pub"));
    put("alice", keys[count % 2]);
    ASSERT_TRUE(sut.refresh()) << count;
    ASSERT_EQ(*sut.keys()->find("alice"), keys[count % 2]);
  }
}

TEST_F(ATrustFolder, IsReadAgainWhenItIsReplacedAsAWhole) {
  makeFolder("one");
  makeFolder("two");
  const auto first = put("one/alice");
  const auto second = put("two/alice");
  std::filesystem::create_symlink("one", path("trust"));
  TrustFolder sut(path("trust"), nullptr);
  EXPECT_EQ(*sut.keys()->find("alice"), first);
  std::filesystem::create_symlink("two", path("next"));
  std::filesystem::rename(path("next"), path("trust"));
  EXPECT_TRUE(sut.refresh());
  EXPECT_EQ(*sut.keys()->find("alice"), second);
}

TEST_F(ATrustFolder, ReadsOnlyFilesThatMayHaveChanged) {
  put("alice");
  put("bob");
  age("bob");
  takeOpened();
  auto sut = open();
  EXPECT_EQ(takeOpened(), 2u);
  EXPECT_FALSE(sut.refresh());
  EXPECT_EQ(takeOpened(), 2u) << "they may have been written again within the same tick";
  setClockAhead(10);
  EXPECT_FALSE(sut.refresh());
  EXPECT_EQ(takeOpened(), 2u);
  EXPECT_FALSE(sut.refresh());
  EXPECT_EQ(takeOpened(), 0u);
  put("bob");
  EXPECT_TRUE(sut.refresh());
  EXPECT_EQ(takeOpened(), 1u);
  chmod(path("alice.pub").c_str(), 0646);
  EXPECT_TRUE(sut.refresh());
  EXPECT_EQ(takeOpened(), 1u);
}

TEST_F(ATrustFolder, TrustsNobodyOnceItHasGone) {
  makeFolder("trust");
  const auto alice = put("trust/alice");
  TrustFolder sut(path("trust"), nullptr);
  std::filesystem::rename(path("trust"), path("away"));
  EXPECT_TRUE(sut.refresh());
  EXPECT_THAT(sut.keys()->keys(), IsEmpty());
  EXPECT_THAT(sut.keys()->problems(), ElementsAre(path("trust") + ": cannot be read: No such file or directory; "
                                                                  "expected a folder of public keys"));
  EXPECT_FALSE(sut.refresh());
  std::filesystem::rename(path("away"), path("trust"));
  EXPECT_TRUE(sut.refresh());
  EXPECT_THAT(sut.keys()->keys(), ElementsAre(Pair("alice", alice)));
}

TEST_F(ATrustFolder, TrustsNobodyOnceOthersMayWriteInIt) {
  put("alice");
  auto sut = open();
  chmod(folder_.path().c_str(), 0777);
  EXPECT_TRUE(sut.refresh());
  EXPECT_THAT(sut.keys()->keys(), IsEmpty());
  EXPECT_FALSE(sut.refresh());
  EXPECT_THAT(takeWarnings(), ElementsAre(folder_.path() + ": has the permissions 0777" + unprotectedFolder));
}

TEST_F(ATrustFolder, ReadsAFileAgainThatCouldNotBeRead) {
  const auto alice = put("alice");
  failReadings(EIO);
  auto sut = openLater();
  EXPECT_THAT(sut.keys()->keys(), IsEmpty());
  EXPECT_THAT(takeWarnings(), ElementsAre(path("alice.pub") + ": cannot be read: Input/output error"));
  failReadings(0);
  EXPECT_TRUE(sut.refresh());
  EXPECT_THAT(sut.keys()->keys(), ElementsAre(Pair("alice", alice)));
}

TEST_F(ATrustFolder, TrustsNobodyWhileItCannotBeRead) {
  const auto alice = put("alice");
  auto sut = openLater();
  const auto failToRead = [&](void (*fail)(int), int error) {
    fail(error);
    EXPECT_TRUE(sut.refresh()) << error;
    EXPECT_THAT(sut.keys()->keys(), IsEmpty()) << error;
    EXPECT_FALSE(sut.refresh()) << error;
    EXPECT_THAT(takeWarnings(), ElementsAre(folder_.path() + ": cannot be read: " + std::strerror(error) +
                                            "; expected a folder of public keys"));
    fail(0);
    EXPECT_TRUE(sut.refresh()) << error;
    EXPECT_THAT(sut.keys()->keys(), ElementsAre(Pair("alice", alice))) << error;
  };
  for (const int error : {EACCES, ELOOP, EIO, ESTALE, ENOTDIR, ENOENT, EPERM}) {
    failToRead(failFolders, error);
    failToRead(failListings, error);
  }
  EXPECT_THAT(takeWarnings(), IsEmpty());
}

TEST_F(ATrustFolder, TrustsNobodyWhileItsModeForbidsToReadIt) {
  const auto alice = put("alice");
  auto sut = openLater();
  for (const mode_t mode : {0000, 0111}) {
    chmod(folder_.path().c_str(), mode);
    {
      const AsNobody other;
      EXPECT_TRUE(sut.refresh());
      EXPECT_THAT(sut.keys()->keys(), IsEmpty());
      EXPECT_FALSE(sut.refresh());
      EXPECT_EQ(takeWarnings().size(), 1u);
    }
    chmod(folder_.path().c_str(), 0755);
    EXPECT_TRUE(sut.refresh());
    EXPECT_THAT(sut.keys()->keys(), ElementsAre(Pair("alice", alice)));
  }
}

/// A folder of trust with a few keys, which the process cannot read any more because something runs short.
class ATrustFolderInAShortage : public ATrustFolder, public testing::WithParamInterface<int> {
 protected:
  ATrustFolderInAShortage() {
    makeFolder("trust");
    for (const std::string name : {"alice", "bob"}) {
      keys_.emplace(name, put("trust/" + name));
      age("trust/" + name);
    }
    setClockAhead(10);
    sut_ = std::make_unique<TrustFolder>(path("trust"),
                                         [this](const std::string& warning) { warnings_.push_back(warning); });
  }

  void begin() const { failFolders(GetParam()); }
  void end() const { failFolders(0); }

  std::string warning() const {
    return path("trust") + ": cannot be read: " + std::strerror(GetParam()) + "; expected a folder of public keys";
  }

  /// Refreshes twice; only the first time something may change. \return whether it does
  bool refresh() const {
    const bool isChanged = sut_->refresh();
    EXPECT_FALSE(sut_->refresh());
    return isChanged;
  }

  /// Expects that a change is noticed at once, with nobody but Alice left.
  void expectOnlyAlice() const {
    EXPECT_TRUE(refresh());
    EXPECT_THAT(sut_->keys()->keys(), ElementsAre(Pair("alice", keys_.at("alice"))));
    EXPECT_THAT(warnings_, ElementsAre(warning()));
  }

  void expectNobody() const {
    EXPECT_TRUE(refresh());
    EXPECT_THAT(sut_->keys()->keys(), IsEmpty());
  }

  std::map<std::string, PublicKey> keys_;
  std::unique_ptr<TrustFolder> sut_;
  std::vector<std::string> warnings_;
};

INSTANTIATE_TEST_SUITE_P(OfAnyKind, ATrustFolderInAShortage, testing::Values(EMFILE, ENFILE, ENOMEM));

TEST_P(ATrustFolderInAShortage, KeepsTheKeysThatHaveNotChanged) {
  begin();
  EXPECT_FALSE(refresh());
  EXPECT_EQ(sut_->keys()->keys(), keys_);
  EXPECT_THAT(warnings_, ElementsAre(warning()));
  end();
  EXPECT_FALSE(refresh());
  begin();
  EXPECT_FALSE(refresh());
  EXPECT_THAT(warnings_, ElementsAre(warning(), warning())) << "another shortage";
}

TEST_P(ATrustFolderInAShortage, LetsNobodyIn) {
  begin();
  const auto carol = put("trust/carol");
  EXPECT_FALSE(refresh());
  EXPECT_EQ(sut_->keys()->keys(), keys_);
  end();
  EXPECT_TRUE(refresh());
  ASSERT_NE(sut_->keys()->find("carol"), nullptr);
  EXPECT_EQ(*sut_->keys()->find("carol"), carol);
}

TEST_P(ATrustFolderInAShortage, DropsAKeyThatIsRemoved) {
  begin();
  remove("trust/bob");
  expectOnlyAlice();
  end();
  EXPECT_FALSE(refresh());
}

TEST_P(ATrustFolderInAShortage, DropsAKeyThatWasRemovedWhenANewFileCannotBeRead) {
  remove("trust/bob");
  put("trust/carol");
  failOpenings(GetParam());
  expectOnlyAlice();
}

TEST_P(ATrustFolderInAShortage, DropsAKeyThatWasRemovedWhenTheFolderCannotBeListed) {
  remove("trust/bob");
  failListings(GetParam());
  expectOnlyAlice();
}

TEST_P(ATrustFolderInAShortage, DropsAKeyThatIsReplaced) {
  begin();
  const auto next = put("next");
  std::filesystem::rename(path("next.pub"), path("trust/bob.pub"));
  expectOnlyAlice();
  end();
  EXPECT_TRUE(refresh());
  EXPECT_EQ(*sut_->keys()->find("bob"), next);
}

TEST_P(ATrustFolderInAShortage, DropsAKeyThatIsWrittenAgain) {
  begin();
  put("trust/bob");
  expectOnlyAlice();
}

TEST_P(ATrustFolderInAShortage, DropsAKeyThatOthersMayWriteNow) {
  begin();
  chmod(path("trust/bob.pub").c_str(), 0664);
  expectOnlyAlice();
}

TEST_P(ATrustFolderInAShortage, DropsAKeyThatALinkLeadsToNoLonger) {
  std::filesystem::rename(path("trust/bob.pub"), path("bob.pub"));
  std::filesystem::create_symlink(path("bob.pub"), path("trust/bob.pub"));
  EXPECT_FALSE(refresh());
  begin();
  remove("bob");
  expectOnlyAlice();
}

TEST_P(ATrustFolderInAShortage, DropsAKeyThatMayHaveChangedUnseen) {
  setClockAhead(0);
  put("trust/bob", keys_.at("bob"));
  EXPECT_FALSE(refresh());
  begin();
  expectOnlyAlice();
}

TEST_P(ATrustFolderInAShortage, TrustsADroppedKeyAgainWhenItIsRead) {
  begin();
  std::filesystem::rename(path("trust/bob.pub"), path("bob"));
  expectOnlyAlice();
  std::filesystem::rename(path("bob"), path("trust/bob.pub"));
  EXPECT_FALSE(refresh());
  EXPECT_THAT(sut_->keys()->keys(), SizeIs(1));
  end();
  EXPECT_TRUE(refresh());
  EXPECT_EQ(sut_->keys()->keys(), keys_);
}

// Of two files with one key neither is trusted. When one of them is removed the other one would be new.
TEST_P(ATrustFolderInAShortage, LetsNobodyInWhoseKeyWasAnotherOnesToo) {
  put("trust/carol", keys_.at("bob"));
  EXPECT_TRUE(refresh());
  EXPECT_THAT(sut_->keys()->keys(), SizeIs(1));
  begin();
  remove("trust/carol");
  EXPECT_FALSE(refresh());
  EXPECT_THAT(sut_->keys()->keys(), ElementsAre(Pair("alice", keys_.at("alice"))));
  end();
  EXPECT_TRUE(refresh());
  EXPECT_EQ(sut_->keys()->keys(), keys_);
}

TEST_P(ATrustFolderInAShortage, TrustsNobodyWhenItIsAnotherFolder) {
  std::filesystem::rename(path("trust"), path("one"));
  std::filesystem::create_symlink("one", path("trust"));
  makeFolder("two");
  std::filesystem::create_symlink(path("one/alice.pub"), path("two/alice.pub"));
  EXPECT_FALSE(refresh());
  begin();
  EXPECT_FALSE(refresh());
  std::filesystem::create_symlink("two", path("next"));
  std::filesystem::rename(path("next"), path("trust"));
  expectNobody();
  EXPECT_THAT(warnings_, ElementsAre(warning()));
  end();
  EXPECT_TRUE(refresh());
  EXPECT_THAT(sut_->keys()->keys(), ElementsAre(Pair("alice", keys_.at("alice"))));
}

TEST_P(ATrustFolderInAShortage, TrustsNobodyWhenItHasGone) {
  begin();
  std::filesystem::rename(path("trust"), path("away"));
  expectNobody();
  EXPECT_THAT(warnings_,
              ElementsAre(path("trust") + ": cannot be read: No such file or directory; expected a folder of "
                                          "public keys",
                          warning()));
  std::filesystem::rename(path("away"), path("trust"));
  EXPECT_FALSE(sut_->keys()->find("alice"));
  end();
  EXPECT_TRUE(refresh());
  EXPECT_EQ(sut_->keys()->keys(), keys_);
}

TEST_P(ATrustFolderInAShortage, TrustsNobodyWhenItIsNoFolderAnyMore) {
  begin();
  std::filesystem::rename(path("trust"), path("away"));
  write("trust", "");
  expectNobody();
  EXPECT_THAT(warnings_, Contains(path("trust") + ": cannot be read: Not a directory; expected a folder of public "
                                                  "keys"));
}

TEST_P(ATrustFolderInAShortage, TrustsNobodyWhenOthersMayWriteInIt) {
  begin();
  chmod(path("trust").c_str(), 0775);
  expectNobody();
  EXPECT_THAT(warnings_, Contains(path("trust") + ": has the permissions 0775" + unprotectedFolder));
  chmod(path("trust").c_str(), 0755);
  sut_->refresh();
  EXPECT_THAT(sut_->keys()->keys(), IsEmpty());
}

// Who could not be read before is not let in by what is remembered.
TEST_P(ATrustFolderInAShortage, TrustsNobodyIfItCouldNotBeReadBefore) {
  failFolders(EACCES);
  expectNobody();
  begin();
  EXPECT_FALSE(refresh());
  EXPECT_THAT(sut_->keys()->keys(), IsEmpty());
}

TEST_P(ATrustFolderInAShortage, CannotBeOpened) {
  begin();
  EXPECT_EQ(refused(path("trust")), warning());
}

/// Leaves no descriptor to the process as long as it lives.
class NoDescriptors {
 public:
  NoDescriptors() {
    getrlimit(RLIMIT_NOFILE, &before_);
    const rlimit none{0, before_.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
  }
  ~NoDescriptors() { setrlimit(RLIMIT_NOFILE, &before_); }
  NoDescriptors(const NoDescriptors&) = delete;
  NoDescriptors& operator=(const NoDescriptors&) = delete;

 private:
  rlimit before_{};
};

TEST_F(ATrustFolder, NeedsNoDescriptorToDropAKey) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the sanitizer's own checks need a file descriptor";
#endif
  const auto alice = put("alice");
  put("bob");
  auto sut = openLater();
  remove("bob");
  {
    const NoDescriptors none;
    EXPECT_TRUE(sut.refresh());
  }
  EXPECT_THAT(sut.keys()->keys(), ElementsAre(Pair("alice", alice)));
  EXPECT_THAT(takeWarnings(), ElementsAre(folder_.path() + ": cannot be read: Too many open files; expected a folder "
                                                           "of public keys"));
}

TEST_F(ATrustFolder, MayBeAskedWhileItIsRead) {
  const auto alice = put("alice");
  TrustFolder sut(folder_.path(), nullptr);
  std::atomic<bool> isDone = false;
  std::thread asker([&] {
    while (!isDone) {
      const auto keys = sut.keys();
      const auto* const name = keys->nameOf(alice);
      ASSERT_TRUE(name != nullptr && *name == "alice");
    }
  });
  for (int count = 0; count < 100; ++count) {
    put("bob");
    EXPECT_TRUE(sut.refresh());
  }
  isDone = true;
  asker.join();
}

}  // namespace spf::test
