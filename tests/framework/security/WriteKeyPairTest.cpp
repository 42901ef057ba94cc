#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

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
using testing::IsEmpty;
using testing::UnorderedElementsAre;

/// Lets no file of the process grow beyond a size.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit{bytes, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &before_);
    std::signal(SIGXFSZ, handler_);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  void (*handler_)(int);
  rlimit before_{};
};

/// What the process takes away from the modes of files.
class Mask {
 public:
  explicit Mask(mode_t mask) : before_(umask(mask)) {}
  ~Mask() { umask(before_); }
  Mask(const Mask&) = delete;
  Mask& operator=(const Mask&) = delete;

 private:
  mode_t before_;
};

class AWrittenPair : public WithKeys {
 protected:
  KeyPairFiles write(const std::string& name) const { return writeKeyPair(KeyName(name), key_, folder_.path()); }

  std::string refused(const std::string& name) const {
    return refusal([&] { write(name); });
  }

  std::vector<std::string> files() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder_.path())) {
      names.push_back(entry.path().filename().native());
    }
    return names;
  }

  static std::string content(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }
  static unsigned modeOf(const std::filesystem::path& file) {
    struct stat status {};
    return stat(file.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
  }
};

TEST_F(AWrittenPair, IsReadAgain) {
  const auto files = write("alice");
  EXPECT_EQ(files.publicKey, path("alice.pub"));
  EXPECT_EQ(files.secretKey, path("alice.key"));
  EXPECT_EQ(readPublicKey(files.publicKey), key_.publicKey());
  EXPECT_EQ(readSecretKey(files.secretKey).bytes(), key_.bytes());
}

TEST_F(AWrittenPair, IsACommentAndALineEach) {
  const auto files = write("alice");
  EXPECT_EQ(content(files.publicKey),
            "# Public key of alice, for the trust folders of its peers.\n" + key_.publicKey().text() + "\n");
  EXPECT_EQ(content(files.secretKey), "# Secret key of alice. Whoever has it can pass for alice.\n" + secret_ + "\n");
  EXPECT_THAT(this->files(), UnorderedElementsAre("alice.pub", "alice.key"));
}

TEST_F(AWrittenPair, HasASecretHalfForItsOwnerOnly) {
  for (const auto mask : {mode_t{0}, mode_t{0777}}) {
    const auto name = "mask" + std::to_string(mask);
    const Mask masked(mask);
    const auto files = write(name);
    EXPECT_EQ(modeOf(files.secretKey), 0600u);
    EXPECT_EQ(modeOf(files.publicKey), 0644u);
  }
}

TEST_F(AWrittenPair, GoesToTheCurrentFolderWithoutAnother) {
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(folder_.path());
  const auto files = writeKeyPair(KeyName("alice"), key_, {});
  std::filesystem::current_path(before);
  EXPECT_EQ(files.secretKey, "alice.key");
  EXPECT_EQ(files.publicKey, "alice.pub");
  EXPECT_THAT(this->files(), UnorderedElementsAre("alice.pub", "alice.key"));
}

TEST_F(AWrittenPair, NeverTakesThePlaceOfAFile) {
  WithKeys::write("alice.key", "old");
  EXPECT_EQ(refused("alice"), path("alice.key") + ": exists already; expected another name or folder");
  WithKeys::write("bob.pub", "old");
  EXPECT_EQ(refused("bob"), path("bob.pub") + ": exists already; expected another name or folder");
  EXPECT_EQ(content(path("alice.key")), "old");
  EXPECT_EQ(content(path("bob.pub")), "old");
  EXPECT_THAT(files(), UnorderedElementsAre("alice.key", "bob.pub")) << "halves of a pair";
}

TEST_F(AWrittenPair, NeverTakesThePlaceOfAPair) {
  write("alice");
  const auto secret = content(path("alice.key"));
  const auto other = SecretKey::generate();
  EXPECT_EQ(refusal([&] { writeKeyPair(KeyName("alice"), other, folder_.path()); }),
            path("alice.key") + ": exists already; expected another name or folder");
  EXPECT_EQ(content(path("alice.key")), secret);
  EXPECT_THAT(files(), UnorderedElementsAre("alice.key", "alice.pub"));
}

TEST_F(AWrittenPair, DoesNotFollowASymbolicLink) {
  std::filesystem::create_symlink(path("elsewhere"), path("alice.key"));
  std::filesystem::create_symlink(path("elsewhere"), path("bob.pub"));
  EXPECT_EQ(refused("alice"), path("alice.key") + ": exists already; expected another name or folder");
  EXPECT_EQ(refused("bob"), path("bob.pub") + ": exists already; expected another name or folder");
  EXPECT_FALSE(std::filesystem::exists(path("elsewhere")));
}

TEST_F(AWrittenPair, DoesNotTakeThePlaceOfAFolder) {
  std::filesystem::create_directory(path("alice.key"));
  EXPECT_EQ(refused("alice"), path("alice.key") + ": exists already; expected another name or folder");
}

TEST_F(AWrittenPair, NeedsItsFolder) {
  const auto folder = path("none");
  EXPECT_EQ(refusal([&] { writeKeyPair(KeyName("alice"), key_, folder); }),
            folder + "/alice.key: cannot be written: No such file or directory");
  WithKeys::write("file", "");
  EXPECT_EQ(refusal([&] { writeKeyPair(KeyName("alice"), key_, path("file")); }),
            path("file") + "/alice.key: cannot be written: Not a directory");
}

TEST_F(AWrittenPair, NeedsToBeAllowedInItsFolder) {
  chmod(folder_.path().c_str(), S_IRUSR | S_IXUSR | S_IXOTH);
  {
    const AsNobody other;
    EXPECT_EQ(refused("alice"), path("alice.key") + ": cannot be written: Permission denied");
  }
  EXPECT_THAT(files(), IsEmpty());
}

TEST_F(AWrittenPair, LeavesNothingBehindIfItCannotBeWrittenCompletely) {
  for (const rlim_t bytes : {0, 10, 60, 98}) {
    const FileSizeLimit limit(bytes);
    EXPECT_EQ(refused("alice"), path("alice.key") + ": cannot be written: File too large");
  }
  {
    const FileSizeLimit limit(99);  // enough for the secret half only
    EXPECT_EQ(refused("alice"), path("alice.pub") + ": cannot be written: File too large");
  }
  EXPECT_THAT(files(), IsEmpty());
}

TEST_F(AWrittenPair, LeavesNoCopyOfTheSecretInMemory) {
  takeWiped();
  write("alice");
  const auto wiped = takeWiped();
  EXPECT_TRUE(std::any_of(wiped.begin(), wiped.end(),
                          [&](const WipedMemory& memory) { return memory.content.substr(0, 40) == secret_; }));
}

}  // namespace spf::test
