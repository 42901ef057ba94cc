#include "LocalListener.hpp"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

namespace filesystem = std::filesystem;
using spf::zeromq::LocalListener;

// Called before a socket listens; called once after the next attempt to connect; the error of links. They affect calls
// of the same thread only.
thread_local std::function<void()> beforeListen;
thread_local std::function<void(int)> afterConnect;
thread_local int errorOfLink = 0;

template <class Function>
Function next(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// These replace the system's functions.
extern "C" [[gnu::visibility("default")]] int listen(int descriptor, int pending) noexcept {
  static const auto real = next<int (*)(int, int)>("listen");
  if (beforeListen) {
    beforeListen();
  }
  return real(descriptor, pending);
}

extern "C" [[gnu::visibility("default")]] int connect(int descriptor, const sockaddr* address, socklen_t size) {
  static const auto real = next<int (*)(int, const sockaddr*, socklen_t)>("connect");
  const int result = real(descriptor, address, size);
  const int error = errno;
  if (const auto act = std::exchange(afterConnect, nullptr)) {
    act(result == 0 ? 0 : error);
  }
  errno = error;
  return result;
}

extern "C" [[gnu::visibility("default")]] int linkat(int fromFolder, const char* from, int toFolder, const char* to,
                                                     int flags) noexcept {
  static const auto real = next<int (*)(int, const char*, int, const char*, int)>("linkat");
  if (errorOfLink != 0) {
    errno = errorOfLink;
    return -1;
  }
  return real(fromFolder, from, toFolder, to, flags);
}

namespace {

class ALocalListener : public testing::Test {
 protected:
  void SetUp() override {
    folder = (filesystem::temp_directory_path() / "spf-ipc-XXXXXX").native();
    ASSERT_NE(mkdtemp(folder.data()), nullptr);
    path = folder + "/station";
  }
  void TearDown() override {
    beforeListen = nullptr;
    afterConnect = nullptr;
    errorOfLink = 0;
    filesystem::remove_all(folder);
  }

  /// Returns the error of connecting to the path.
  static int errorOfConnecting(const std::string& path) {
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
    const int result = ::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
    const int error = result == 0 ? 0 : errno;
    close(descriptor);
    return error;
  }

  /// Returns a socket that is bound to the path and does not listen.
  int foreignSocket() const {
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
    EXPECT_EQ(::bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    return descriptor;
  }

  /// Leaves a socket file without a process at the path.
  void leaveStale() const {
    close(foreignSocket());
    ASSERT_EQ(errorOfConnecting(path), ECONNREFUSED);
  }

  int errorOfListening() const {
    try {
      const LocalListener listener(path);
      return 0;
    } catch (const std::system_error& error) {
      return error.code().value();
    }
  }

  std::ptrdiff_t files() const {
    return std::distance(filesystem::directory_iterator(folder), filesystem::directory_iterator());
  }

  std::string folder;
  std::string path;
};

TEST_F(ALocalListener, ListensBeforeItsFileExists) {
  int error = 0;
  beforeListen = [&] { error = errorOfConnecting(path); };
  const LocalListener sut(path);
  EXPECT_EQ(error, ENOENT);
  EXPECT_EQ(errorOfConnecting(path), 0);
  EXPECT_EQ(files(), 1);
}

TEST_F(ALocalListener, KeepsTheStaleFileUntilItListens) {
  leaveStale();
  int error = 0;
  beforeListen = [&] { error = errorOfConnecting(path); };
  { const LocalListener sut(path); }
  EXPECT_EQ(error, ECONNREFUSED);
  EXPECT_EQ(files(), 0);
}

TEST_F(ALocalListener, FailsIfAnotherTakesThePathMeanwhile) {
  std::unique_ptr<LocalListener> rival;
  beforeListen = [&] {
    beforeListen = nullptr;
    rival = std::make_unique<LocalListener>(path);
  };
  EXPECT_EQ(errorOfListening(), EADDRINUSE);
  EXPECT_EQ(errorOfConnecting(path), 0);
  EXPECT_EQ(files(), 1);
}

TEST_F(ALocalListener, RestoresASocketThatHasReplacedTheStaleOne) {
  leaveStale();
  int other = 0;
  afterConnect = [&](int error) {
    EXPECT_EQ(error, ECONNREFUSED);
    filesystem::remove(path);
    other = foreignSocket();
    EXPECT_EQ(listen(other, 1), 0);
  };
  EXPECT_EQ(errorOfListening(), EADDRINUSE);
  EXPECT_EQ(errorOfConnecting(path), 0);
  EXPECT_EQ(files(), 1);
  close(other);
}

TEST_F(ALocalListener, FailsWhileAnotherReplacesTheStaleFile) {
  leaveStale();
  int error = 0;
  afterConnect = [&](int) { error = errorOfListening(); };
  const LocalListener sut(path);
  EXPECT_EQ(error, EADDRINUSE);
  EXPECT_EQ(errorOfConnecting(path), 0);
  EXPECT_EQ(files(), 1);
}

TEST_F(ALocalListener, IsTheOnlyOneOfManyThatReplacesAStaleFile) {
  constexpr int rivals = 4;
  for (int round = 0; round < 50; ++round) {
    leaveStale();
    std::atomic<int> ready{0};
    std::atomic<int> winners{0};
    std::vector<std::unique_ptr<LocalListener>> listeners(rivals);
    std::vector<std::thread> threads;
    for (auto& listener : listeners) {
      threads.emplace_back([&] {
        for (++ready; ready < rivals;) {
        }
        try {
          listener = std::make_unique<LocalListener>(path);
          ++winners;
        } catch (const std::system_error& error) {
          EXPECT_EQ(error.code().value(), EADDRINUSE);
        }
      });
    }
    for (auto& thread : threads) {
      thread.join();
    }
    ASSERT_EQ(winners, 1);
    EXPECT_EQ(errorOfConnecting(path), 0);
    EXPECT_EQ(files(), 1);
    listeners.clear();
    ASSERT_EQ(files(), 0);
  }
}

TEST_F(ALocalListener, LeavesNothingBehindWhenItFails) {
  leaveStale();
  errorOfLink = EIO;
  EXPECT_EQ(errorOfListening(), EIO);
  EXPECT_EQ(files(), 1);
}

TEST_F(ALocalListener, WorksWithoutHardLinks) {
  for (const int error : {EPERM, EOPNOTSUPP}) {
    leaveStale();
    errorOfLink = error;
    {
      const LocalListener sut(path);
      EXPECT_EQ(errorOfConnecting(path), 0);
      EXPECT_EQ(errorOfListening(), EADDRINUSE);
      EXPECT_EQ(errorOfConnecting(path), 0);
      EXPECT_EQ(files(), 1);
    }
    EXPECT_EQ(files(), 0);
  }
}

TEST_F(ALocalListener, MayHaveTheLongestPossiblePath) {
  const std::string longest = folder + "/" + std::string(sizeof(sockaddr_un::sun_path) - 2 - folder.size(), 'x');
  path = longest;
  leaveStale();
  const LocalListener sut(path);
  EXPECT_EQ(errorOfConnecting(path), 0);
  EXPECT_EQ(errorOfListening(), EADDRINUSE);
  path += 'x';
  EXPECT_EQ(errorOfListening(), ENAMETOOLONG);
  // In a folder whose path leaves room for one character only.
  const std::string deep = folder + "/" + std::string(sizeof(sockaddr_un::sun_path) - 4 - folder.size(), 'y');
  filesystem::create_directory(deep);
  path = deep + "/s";
  leaveStale();
  const LocalListener other(path);
  EXPECT_EQ(errorOfConnecting(path), 0);
  EXPECT_EQ(errorOfListening(), EADDRINUSE);
}

TEST_F(ALocalListener, MayHaveARelativePath) {
  const auto before = filesystem::current_path();
  filesystem::current_path(folder);
  {
    const LocalListener sut("station");
    filesystem::current_path(before);
    EXPECT_EQ(errorOfConnecting(path), 0);
  }
  EXPECT_EQ(files(), 0);
}

}  // namespace
