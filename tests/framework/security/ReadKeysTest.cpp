#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string>
#include <type_traits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>
#include "Keys.hpp"
#include "WrappedCalls.hpp"
#include "agent/spf/security/keyFiles.hpp"

namespace spf::test {

using namespace agent::spf::security;
using testing::HasSubstr;

constexpr auto expected = "; expected one line of 40 characters of Z85";

class AKeyFile : public WithKeys {
 protected:
  void SetUp() override { takeWiped(); }
  void TearDown() override { failOpenings(0); }

  std::string refusedSecret(const std::string& file) const {
    return refusal([&] { static_cast<void>(readSecretKey(file)); });
  }
  std::string refusedPublic(const std::string& file) const {
    return refusal([&] { static_cast<void>(readPublicKey(file)); });
  }

  /// Both kinds are read alike; a message is about a file named `f`.
  std::string refused(const std::string& content) const {
    const auto file = write("f", content);
    const auto message = refusedSecret(file);
    EXPECT_EQ(message, refusedPublic(file));
    EXPECT_EQ(message.find(file), 0u) << message;
    return message.substr(std::min(file.size(), message.size()));
  }
};

TEST_F(AKeyFile, HoldsAKey) {
  EXPECT_EQ(readSecretKey(write("f", secret_)).bytes(), key_.bytes());
  EXPECT_EQ(readSecretKey(write("f", secret_ + "\n")).publicKey(), key_.publicKey());
  EXPECT_EQ(readPublicKey(write("f", key_.publicKey().text() + "\n")), key_.publicKey());
}

TEST_F(AKeyFile, MayHoldBlankLinesAndComments) {
  EXPECT_EQ(readSecretKey(write("f", "# one\n\n  \t\n" + secret_ + "\n#" + secret_ + "\n\n# end")).bytes(),
            key_.bytes());
}

TEST_F(AKeyFile, MayHaveWhiteSpaceAroundTheKey) {
  EXPECT_EQ(readSecretKey(write("f", "# one\r\n \t" + secret_ + " \r\n")).bytes(), key_.bytes());
}

TEST_F(AKeyFile, NeedsAKey) {
  EXPECT_EQ(refused(""), std::string(": no key") + expected + " that does not begin with #");
  EXPECT_EQ(refused("# " + secret_ + "\n\n"), std::string(": no key") + expected + " that does not begin with #");
}

TEST_F(AKeyFile, NeedsAKeyOfTheRightLength) {
  EXPECT_EQ(refused("# c\n" + secret_.substr(0, 39)), std::string(":2: 39 characters") + expected);
  EXPECT_EQ(refused(secret_ + "0\n"), std::string(":1: 41 characters") + expected);
  EXPECT_EQ(refused("\n\nx\n"), std::string(":3: 1 character") + expected);
  EXPECT_EQ(refused(secret_ + " " + secret_), std::string(":1: 81 characters") + expected);
}

TEST_F(AKeyFile, NeedsAKeyOfTheRightCharacters) {
  for (const auto& wrong : {std::string("~"), std::string("\""), std::string(","), std::string(" "),
                            std::string("\x80"), std::string(1, '\0')}) {
    auto text = secret_;
    text.replace(6, 1, wrong);
    EXPECT_EQ(refused("\n" + text + "\n"), std::string(":2: character 7 is none of Z85") + expected);
  }
}

// Five characters stand for four bytes, but not all of them: the last that do are "%nSc0".
TEST_F(AKeyFile, NeedsAKeyOfBytes) {
  EXPECT_NO_THROW(static_cast<void>(readPublicKey(write("f", secret_.substr(0, 35) + "%nSc0\n"))));
  EXPECT_EQ(refused("\n" + secret_.substr(0, 35) + "%nSc1\n"),
            std::string(":2: a number beyond those of Z85") + expected);
}

TEST_F(AKeyFile, HoldsNothingElse) {
  EXPECT_EQ(refused(secret_ + "\n" + secret_ + "\n"), std::string(":2: something after the key") + expected);
  EXPECT_EQ(refused(secret_ + "\n\nx"), std::string(":3: something after the key") + expected);
}

TEST_F(AKeyFile, HasAnEnd) {
  EXPECT_EQ(readSecretKey(write("f", secret_ + std::string(4056, '\n'))).bytes(), key_.bytes());
  EXPECT_EQ(refused(secret_ + std::string(4057, '\n')), std::string(": more than 4096 bytes") + expected);
}

TEST_F(AKeyFile, HasToBeThere) {
  EXPECT_EQ(refusedSecret(path("none.key")),
            path("none.key") + ": cannot be read: No such file or directory; expected a key file");
  EXPECT_EQ(refusedPublic(path("none.pub")),
            path("none.pub") + ": cannot be read: No such file or directory; expected a key file");
}

TEST_F(AKeyFile, HasToBeReadable) {
  const auto file = write("f", secret_);
  chmod(file.c_str(), 0);
  const AsNobody other;
  EXPECT_EQ(refusedSecret(file), file + ": cannot be read: Permission denied; expected a key file");
  EXPECT_EQ(refusedPublic(file), file + ": cannot be read: Permission denied; expected a key file");
}

TEST_F(AKeyFile, IsNoFolder) {
  EXPECT_EQ(refusedSecret(folder_.path()), folder_.path() + ": is a folder; expected a key file");
  EXPECT_EQ(refusedPublic(folder_.path()), folder_.path() + ": is a folder; expected a key file");
}

TEST_F(AKeyFile, IsNoPipeThatNobodyWritesTo) {
  ASSERT_EQ(mkfifo(path("pipe").c_str(), S_IRUSR | S_IWUSR), 0);
  EXPECT_EQ(refusedSecret(path("pipe")), path("pipe") + ": is no regular file; expected a key file");
}

TEST_F(AKeyFile, OfASecretKeyIsForItsOwnerOnly) {
  const auto file = write("f", secret_);
  for (const auto& [mode, text] : {std::pair<mode_t, const char*>{0640, "0640"},
                                   {0604, "0604"},
                                   {0620, "0620"},
                                   {0602, "0602"},
                                   {0610, "0610"},
                                   {0601, "0601"},
                                   {0777, "0777"}}) {
    chmod(file.c_str(), mode);
    EXPECT_EQ(refusedSecret(file),
              file + ": has the permissions " + text + "; expected 0600, since only its owner may have a secret key");
  }
  chmod(file.c_str(), 0400);
  EXPECT_EQ(readSecretKey(file).bytes(), key_.bytes());
}

TEST_F(AKeyFile, OfAPublicKeyIsForEverybody) {
  const auto file = write("f", key_.publicKey().text());
  chmod(file.c_str(), 0644);
  EXPECT_EQ(readPublicKey(file), key_.publicKey());
}

TEST_F(AKeyFile, OfASecretKeyBelongsToItsUser) {
  auto file = std::string("/etc/passwd");  // root's
  if (geteuid() == 0) {
    file = write("f", secret_);
    ASSERT_EQ(chown(file.c_str(), 65534, 65534), 0);
    EXPECT_EQ(refusedSecret(file), file + ": belongs to user 65534; expected user 0");
  } else {
    EXPECT_EQ(refusedSecret(file), file + ": belongs to user 0; expected user " + std::to_string(geteuid()));
  }
}

TEST_F(AKeyFile, MayBeASymbolicLinkToOneThatIsAsSecret) {
  const auto file = write("f", secret_);
  std::filesystem::create_symlink(file, path("link"));
  EXPECT_EQ(readSecretKey(path("link")).bytes(), key_.bytes());
}

TEST_F(AKeyFile, IsJudgedByWhatASymbolicLinkLeadsTo) {
  const auto file = write("f", secret_);
  std::filesystem::create_symlink(file, path("link"));
  chmod(file.c_str(), 0644);
  EXPECT_EQ(refusedSecret(path("link")), path("link") +
                                             ": has the permissions 0644; expected 0600, since only its "
                                             "owner may have a secret key");
  std::filesystem::create_symlink(folder_.path(), path("up"));
  EXPECT_EQ(refusedSecret(path("up")), path("up") + ": is a folder; expected a key file");
  std::filesystem::remove(file);
  EXPECT_EQ(refusedSecret(path("link")),
            path("link") + ": cannot be read: No such file or directory; expected a key file");
}

TEST_F(AKeyFile, IsOpenedOnce) {
  const auto file = write("f", secret_);
  takeOpened();
  static_cast<void>(readSecretKey(file));
  EXPECT_EQ(takeOpened(), 1u);
}

// Whatever becomes of a file, what was read of it does not stay in memory.
TEST_F(AKeyFile, IsWipedFromMemory) {
  for (const auto& content : {secret_ + "\n", secret_ + "\nmore"}) {
    const auto file = write("f", content);
    takeWiped();
    try {
      static_cast<void>(readSecretKey(file));
    } catch (const KeyFileError&) {
      // its memory counts as well
    }
    const auto wiped = takeWiped();
    EXPECT_TRUE(std::any_of(wiped.begin(), wiped.end(), [&](const WipedMemory& memory) {
      return memory.content.substr(0, content.size()) == content;
    })) << content.size();
  }
}

}  // namespace spf::test
