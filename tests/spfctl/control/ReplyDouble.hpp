#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include <nlohmann/json.hpp>

#include "control/Reply.hpp"
#include "spf/test/Gate.hpp"

namespace spf::test {

/// A reply without a connection, which keeps its answer.
class ReplyDouble : public spfctl::Reply {
 public:
  void finish(const nlohmann::ordered_json& answer) override {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      if (answer_) {
        return;
      }
      answer_ = answer;
    }
    finished_.open();
  }
  void stream(const std::string& first, Source source) override {
    first_ = first;
    source_ = std::move(source);
  }
  void wake() override { wakes_.add(); }
  bool isAbandoned() const override { return isAbandoned_; }

  void abandon() { isAbandoned_ = true; }

  /// Blocks until there is an answer, and returns it.
  nlohmann::ordered_json answer() {
    EXPECT_TRUE(finished_.wait());
    const std::lock_guard<std::mutex> lock(mutex_);
    return answer_.value_or(nlohmann::ordered_json());
  }
  bool isFinished() const { return finished_.isOpen(); }

  const std::string& first() const { return first_; }
  std::string next() const { return source_(); }
  void endStream() { source_ = nullptr; }
  Counter& wakes() { return wakes_; }

 private:
  Gate finished_;
  Counter wakes_;
  std::atomic<bool> isAbandoned_{false};
  std::string first_;
  Source source_;
  std::mutex mutex_;

  // Guarded by `mutex_`:
  std::optional<nlohmann::ordered_json> answer_;
};

inline std::shared_ptr<ReplyDouble> makeReply() {
  return std::make_shared<ReplyDouble>();
}

/// Returns the exit code in an answer.
inline int codeIn(const nlohmann::ordered_json& answer) {
  return answer.value("code", 0);
}

/// Returns the error in an answer.
inline std::string errorIn(const nlohmann::ordered_json& answer) {
  return answer.value("error", "");
}

}  // namespace spf::test
