#pragma once

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/BundleEvent.h>
#include <cppmicroservices/Constants.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

namespace spf::test {

/// A temporary folder that is removed with this object.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    static std::atomic<int> count{0};
    path_ = std::filesystem::temp_directory_path() /
            ("spf-runtime-" + std::to_string(getpid()) + "-" + std::to_string(++count));
    std::filesystem::create_directories(path_);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  std::string operator/(const std::string& name) const { return (path_ / name).string(); }

  /// Writes a new file.
  /// \return its path
  std::string write(const std::string& name, const std::string& content) const {
    std::ofstream(path_ / name, std::ios::binary) << content;
    return *this / name;
  }

 private:
  std::filesystem::path path_;
};

/// A list of texts in the order of the calls. Any thread may use it. Copies share the list, so that a listener can keep
/// a copy as long as it lives.
class Journal {
 public:
  void note(const std::string& text) const {
    const std::lock_guard<std::mutex> lock(pages_->mutex);
    pages_->texts.push_back(text);
  }
  std::vector<std::string> texts() const {
    const std::lock_guard<std::mutex> lock(pages_->mutex);
    return pages_->texts;
  }
  std::vector<std::string> take() const {
    const std::lock_guard<std::mutex> lock(pages_->mutex);
    return std::exchange(pages_->texts, {});
  }

 private:
  struct Pages {
    std::mutex mutex;
    std::vector<std::string> texts;
  };
  std::shared_ptr<Pages> pages_ = std::make_shared<Pages>();
};

inline cppmicroservices::FrameworkConfiguration configurationWith(const TemporaryFolder& folder) {
  return {{cppmicroservices::Constants::FRAMEWORK_STORAGE, folder / "storage"}};
}

inline cppmicroservices::Framework newFramework(const TemporaryFolder& folder) {
  return cppmicroservices::FrameworkFactory().NewFramework(configurationWith(folder));
}

/// Stops a framework and waits for it.
inline cppmicroservices::FrameworkEvent stopAndWait(cppmicroservices::Framework& framework) {
  framework.Stop();
  return framework.WaitForStop(std::chrono::milliseconds::zero());
}

/// Returns the text of the exception that the call throws; another text if it throws none.
template <class Exception, class Call>
std::string messageOf(Call&& call) {
  try {
    call();
  } catch (const Exception& error) {
    return error.what();
  }
  return "nothing was thrown";
}

/// A started framework in a folder of its own.
class StartedFramework : public testing::Test {
 protected:
  StartedFramework() { framework.Start(); }
  ~StartedFramework() override { stopAndWait(framework); }

  cppmicroservices::BundleContext context() const { return framework.GetBundleContext(); }

  /// Notes all bundle events as "STARTED name".
  cppmicroservices::ListenerToken noteBundleEvents(const Journal& journal) {
    return context().AddBundleListener([journal](const cppmicroservices::BundleEvent& event) {
      std::ostringstream text;
      text << event.GetType() << " " << event.GetBundle().GetSymbolicName();
      journal.note(text.str());
    });
  }

  /// Notes all errors and warnings as "ERROR message".
  cppmicroservices::ListenerToken noteFrameworkEvents(const Journal& journal) {
    return context().AddFrameworkListener([journal](const cppmicroservices::FrameworkEvent& event) {
      std::ostringstream text;
      text << event.GetType() << " " << event.GetMessage();
      journal.note(text.str());
    });
  }

  const TemporaryFolder folder;
  cppmicroservices::Framework framework = newFramework(folder);
};

}  // namespace spf::test
