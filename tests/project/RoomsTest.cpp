#include <algorithm>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include "Includes.hpp"

// Reads every include of the project, and fails if a room includes another one that is not on a lower level.
namespace spf::test {

struct Room {
  std::string folder;
  int level;
  std::vector<std::string> headers;  // the beginnings of includes of its headers
};

const std::vector<Room> rooms = {
    {"runtime", 0, {"cppmicroservices/"}},
    {"host/filesystem", 1, {"agent/host/filesystem.hpp"}},
    {"host/logging", 1, {"agent/host/logging.hpp", "agent/host/logging_levels.hpp"}},
    {"host/services", 2, {"agent/host/services.hpp", "agent/host/host.hpp"}},
    {"framework/listener", 2, {"agent/spf/frameworklistener/"}},
    {"framework/interfaces", 2, {"agent/spf/frameworkinterfaces/"}},
    {"framework/support", 2, {"agent/spf/frameworksupport/"}},
    {"include", 3, {"agent/spf/frameworksetup/"}},
    {"src", 3, {}},
    {"framework/etcd", 3, {"agent/spf/etcd/"}},
    {"framework/security", 3, {"agent/spf/security/"}},
    {"framework/watch", 3, {"agent/spf/frameworkwatch/"}},
    {"framework/bundles", 4, {}},
    {"tools", 4, {}},
};

bool hasPrefix(const std::string& text, const std::string& prefix) {
  return text.rfind(prefix, 0) == 0;
}

const Room* roomOfFile(const std::string& file) {
  const auto found =
      std::find_if(rooms.begin(), rooms.end(), [&](const Room& room) { return hasPrefix(file, room.folder + "/"); });
  return found == rooms.end() ? nullptr : &*found;
}

const Room* roomOfHeader(const std::string& header) {
  for (const auto& room : rooms) {
    for (const auto& prefix : room.headers) {
      if (hasPrefix(header, prefix)) {
        return &room;
      }
    }
  }
  return nullptr;
}

// The exported headers and the sources behind them are one room.
std::string nameOf(const Room& room) {
  return room.folder == "include" ? "src" : room.folder;
}

bool mayInclude(const Room& from, const Room& to) {
  if (nameOf(from) == nameOf(to)) {
    return true;
  }
  if (from.folder == "framework/bundles") {
    return to.folder == "runtime" || to.folder == "host/logging" || to.folder == "framework/listener" ||
           to.folder == "framework/interfaces" || to.folder == "framework/support" || to.folder == "framework/etcd" ||
           to.folder == "framework/security";
  }
  return to.level < from.level;
}

std::vector<std::string> forbiddenIncludes(const filesystem::path& root) {
  std::vector<std::string> forbidden;
  for (const auto& room : rooms) {
    for (const auto& entry : filesystem::recursive_directory_iterator(root / room.folder)) {
      if (!isSource(entry.path())) {
        continue;
      }
      const auto file = filesystem::relative(entry.path(), root).string();
      for (const auto& include : includesOf(entry.path())) {
        const auto* to = roomOfHeader(include);
        if ((to != nullptr && !mayInclude(*roomOfFile(file), *to)) || include.find("..") != std::string::npos) {
          forbidden.push_back(file + " includes " + include);
        }
      }
    }
  }
  return forbidden;
}

TEST(TheRooms, IncludeOnlyRoomsOnLowerLevels) {
  EXPECT_EQ(forbiddenIncludes(SPF_SOURCE_DIR), std::vector<std::string>());
}

TEST(TheRooms, OfTheFrameworksBundlesIncludeNoFilesOfOneAnother) {
  const filesystem::path root = SPF_SOURCE_DIR;
  for (const auto& entry : filesystem::recursive_directory_iterator(root / "framework/bundles")) {
    if (!isSource(entry.path())) {
      continue;
    }
    for (const auto& include : includesOf(entry.path())) {
      const bool foreign = roomOfHeader(include) == nullptr && include.find('/') != std::string::npos &&
                           filesystem::exists(root / "framework/bundles" / include);
      EXPECT_FALSE(foreign) << entry.path() << " includes " << include;
    }
  }
}

TEST(TheCheckOfTheRooms, FindsForbiddenIncludes) {
  const auto root = filesystem::path(testing::TempDir()) / "rooms";
  filesystem::create_directories(root / "host/filesystem");
  for (const auto& room : rooms) {
    filesystem::create_directories(root / room.folder);
  }
  std::ofstream(root / "host/filesystem/upwards.cpp") << "#include \"agent/host/services.hpp\"\n";
  std::ofstream(root / "framework/bundles/nosy.cpp")
      << "  #  include <agent/spf/frameworksetup/setupFramework.hpp> // x\n";
  EXPECT_EQ(
      forbiddenIncludes(root),
      (std::vector<std::string>{"host/filesystem/upwards.cpp includes agent/host/services.hpp",
                                "framework/bundles/nosy.cpp includes agent/spf/frameworksetup/setupFramework.hpp"}));
  filesystem::remove_all(root);
}

}  // namespace spf::test
