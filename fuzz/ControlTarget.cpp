#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include <cppmicroservices/Framework.h>
#include <cppmicroservices/FrameworkFactory.h>
#include <nlohmann/json.hpp>

#include "Target.hpp"
#include "control/HostControl.hpp"
#include "control/handleLine.hpp"

// The input is what clients send to a host's control socket: lines.

namespace {

using nlohmann::json;
using nlohmann::ordered_json;
using spf::fuzz::require;

// More is no answer that people can read.
constexpr std::size_t longestError = 1000000;

/// Checks each answer, and that there is one only.
class CheckedReply : public spfctl::Reply {
 public:
  void finish(const ordered_json& answer) override {
    require(!hasEnded_, "a request gets one answer");
    hasEnded_ = true;
    require(answer.is_object() && answer.value("version", 0) == 1, "an answer is of version 1");
    require(answer.contains("ok") && answer["ok"].is_boolean(), "an answer says whether all is well");
    if (!answer["ok"].get<bool>()) {
      const auto code = answer.value("code", 0);
      const auto error = answer.value("error", "");
      require(code >= 1 && code <= 5, "a failure has an exit code");
      require(!error.empty() && error.size() < longestError, "a failure says why");
    }
    require(!answer.dump().empty(), "an answer can be sent");  // throws if a text is not UTF-8
  }
  void stream(const std::string& first, Source source) override {
    require(!hasEnded_, "a request gets one answer");
    hasEnded_ = true;
    checkLines(first);
    checkLines(source());
    require(source().empty(), "a stream comes to the newest event");
  }
  void wake() override {}
  bool isAbandoned() const override { return false; }

  bool hasEnded() const { return hasEnded_; }

 private:
  static void checkLines(const std::string& text) {
    for (std::size_t begin = 0; begin < text.size();) {
      const auto end = text.find('\n', begin);
      require(end != std::string::npos, "a stream has whole lines");
      require(json::accept(text.substr(begin, end - begin)), "each line of a stream is JSON");
      begin = end + 1;
    }
  }

  bool hasEnded_ = false;
};

/// A host with a configuration that is ready, and some recorded lines.
class Host {
 public:
  Host() {
    framework_.Start();
    recorder_ = std::make_unique<spfctl::EventRecorder>(framework_.GetBundleContext(), 4);
    recorder_->notePublication("weather", 1, "/weather.json", "{}");
    spfctl::HostStatus status;
    status.state = spfctl::HostStatus::State::ready;
    status.configurationID = "weather";
    status.revision = 1;
    board_.set(std::move(status));
  }

  void handle(const std::string& text) {
    spfctl::Changes changes;
    spfctl::ChangeRequests requests(changes);
    std::vector<std::shared_ptr<CheckedReply>> replies;
    {
      spfctl::HostControl control("weather", board_, *recorder_, requests, [](std::uint32_t) {});
      const auto handler = [&](const json& request, const auto& reply) { control.handle(request, reply); };
      for (std::size_t begin = 0; begin < text.size();) {
        const auto end = std::min(text.find('\n', begin), text.size());
        replies.push_back(std::make_shared<CheckedReply>());
        spfctl::handleLine(text.substr(begin, end - begin), handler, replies.back());
        begin = end + 1;
      }
      control.close();
    }
    while (const auto request = requests.next()) {
      require(request->timeout.count() >= 0, "nobody waits for a negative time");
      request->reply->finish(ordered_json{{"version", 1}, {"ok", true}});
    }
    requests.close(/*isWithdrawn=*/true);
    for (const auto& reply : replies) {
      require(reply->hasEnded(), "every line gets an answer");
    }
  }

 private:
  cppmicroservices::Framework framework_ = cppmicroservices::FrameworkFactory().NewFramework();
  spfctl::StatusBoard board_;
  std::unique_ptr<spfctl::EventRecorder> recorder_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Host& host = *new Host;
  host.handle(std::string(reinterpret_cast<const char*>(data), size));
  return 0;
}
