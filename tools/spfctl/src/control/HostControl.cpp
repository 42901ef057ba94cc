#include "control/HostControl.hpp"

#include <unistd.h>

#include <algorithm>
#include <map>
#include <stdexcept>
#include <utility>

#include <boost/asio/post.hpp>

#include "commands/Asking.hpp"
#include "control/answers.hpp"
#include "control/statusJson.hpp"
#include "display/utcTime.hpp"
#include "events/recordedEvent.hpp"

namespace spfctl {

namespace {

using nlohmann::json;
using nlohmann::ordered_json;
using std::chrono::milliseconds;

// Questions wait for peers: so many may wait at once, and the others queue.
constexpr std::size_t questionThreads = 4;

// Others wait meanwhile.
constexpr milliseconds longestApply = std::chrono::hours(1);
constexpr milliseconds longestQuestion = std::chrono::minutes(1);

// How many lines of events are sent in one piece.
constexpr std::size_t linesAtOnce = 256;

/// A request's members, with errors that name them.
class Members {
 public:
  explicit Members(const json& request) : request_(request) {}

  std::string text(const char* name) const { return value<std::string>(name, &json::is_string, "a text"); }
  std::string text(const char* name, const char* fallback) const { return has(name) ? text(name) : fallback; }
  bool flag(const char* name) const { return has(name) && value<bool>(name, &json::is_boolean, "true or false"); }
  std::uint32_t bits(const char* name) const {
    const auto number = value<std::int64_t>(name, &json::is_number_integer, "a whole number");
    if (number < 0 || number > std::int64_t{UINT32_MAX}) {
      throw std::invalid_argument(std::string("'") + name + "' is out of range; expected 0 to 4294967295");
    }
    return static_cast<std::uint32_t>(number);
  }
  milliseconds time(const char* name, milliseconds fallback) const {
    if (!has(name)) {
      return fallback;
    }
    const auto number = value<std::int64_t>(name, &json::is_number_integer, "milliseconds");
    if (number < 0) {
      throw std::invalid_argument(std::string("'") + name + "' is out of range; expected 0 to " +
                                  std::to_string(INT64_MAX) + " milliseconds");
    }
    return milliseconds(number);
  }

 private:
  bool has(const char* name) const { return request_.contains(name); }

  template <class Value>
  Value value(const char* name, bool (json::*isFitting)() const noexcept, const char* expected) const {
    const auto member = request_.find(name);
    if (member == request_.end()) {
      throw std::invalid_argument(std::string("no '") + name + "'; expected " + expected);
    }
    if (!((*member).*isFitting)()) {
      throw std::invalid_argument(std::string("'") + name + "' is " + member->dump().substr(0, longestRepetition) +
                                  "; expected " + expected);
    }
    return member->get<Value>();
  }

  const json& request_;
};

/// One client that follows the events.
class EventStream {
 public:
  EventStream(EventRecorder& recorder, const std::shared_ptr<Reply>& reply, EventRecorder::Position from)
      : recorder_(recorder), position_(from) {
    listener_ = recorder_.addListener([weak = std::weak_ptr<Reply>(reply)] {
      if (const auto target = weak.lock()) {
        target->wake();
      }
    });
  }
  ~EventStream() { recorder_.removeListener(listener_); }
  EventStream(const EventStream&) = delete;
  EventStream& operator=(const EventStream&) = delete;

  std::string next() {
    const auto batch = recorder_.read(position_, linesAtOnce);
    const auto configuration = batch.configuration.empty() ? std::string() : batch.configuration + '\n';
    std::string text;
    if (batch.dropped != 0) {
      const auto dropped = lineOf(RecordedDrop{batch.dropped}, std::chrono::system_clock::now()) + '\n';
      // The first line of all is a configuration.
      text = position_ == 0 ? configuration + dropped : dropped + configuration;
    }
    position_ = batch.next;
    for (const auto& line : batch.lines) {
      text += line + '\n';
    }
    return text;
  }

 private:
  EventRecorder& recorder_;
  EventRecorder::Position position_;
  EventRecorder::ListenerID listener_;
};

ordered_json answersOf(const std::vector<std::string>& publishers, const std::string& endpoint, milliseconds timeout) {
  auto answers = ordered_json::array();
  std::string error;
  for (const auto& publisher : publishers) {
    const auto result = askPeer(publisher, endpoint, timeout);
    if (result.isAnswer) {
      answers.push_back(result.text);
    } else {
      error = result.text.empty() ? "the framework offers no peer directory" : result.text;
    }
  }
  auto answer = answers.empty() ? failure(ExitCode::failedAtRunTime, error) : success();
  answer["answers"] = std::move(answers);
  return answer;
}

std::vector<std::string> publishersThatConnectTo(const ConfigurationSource& source, const std::string& endpoint,
                                                 std::string& known) {
  std::vector<std::string> publishers;
  for (const auto& publisher : source.description.servicePublishers) {
    for (const auto& candidate : publisher.endpointsToConnectTo) {
      const auto* const text = cppmicroservices::any_cast<std::string>(&candidate);
      if (text != nullptr && *text == endpoint) {
        publishers.push_back(publisher.uniqueID);
      }
      if (text != nullptr) {
        known += (known.empty() ? "" : ", ") + *text;
      }
    }
  }
  return publishers;
}

}  // namespace

HostControl::HostControl(std::string name, const StatusBoard& board, EventRecorder& recorder, ChangeRequests& requests,
                         std::function<void(std::uint32_t levels)> showLogRecords)
    : name_(std::move(name)),
      board_(board),
      recorder_(recorder),
      requests_(requests),
      showLogRecords_(std::move(showLogRecords)),
      questions_(questionThreads) {}

HostControl::~HostControl() {
  questions_.join();
}

void HostControl::handle(const json& request, const std::shared_ptr<Reply>& reply) {
  using Answer = void (HostControl::*)(const json&, const std::shared_ptr<Reply>&);
  static const std::map<std::string, Answer> answers = {{"status", &HostControl::answerStatus},
                                                        {"watch", &HostControl::answerWatch},
                                                        {"apply", &HostControl::answerApply},
                                                        {"ask", &HostControl::answerAsk},
                                                        {"log", &HostControl::answerLog}};
  const auto name = Members(request).text("request");
  if (name == "withdraw") {
    requests_.addWithdrawal(reply);
    return;
  }
  const auto answer = answers.find(name);
  if (answer == answers.end()) {
    throw std::invalid_argument("unknown request '" + name.substr(0, longestRepetition) +
                                "'; expected apply, ask, log, status, watch or withdraw");
  }
  (this->*answer->second)(request, reply);
}

void HostControl::answerStatus(const json& request, const std::shared_ptr<Reply>& reply) {
  const auto awaited = Members(request).text("wait", "");
  if (awaited == "ready") {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      if (isClosed_) {
        reply->finish(hostIsEnding());
        return;
      }
      waitingForReadiness_.push_back(reply);
    }
    noteStatus();
    return;
  }
  if (!awaited.empty()) {
    throw std::invalid_argument("'wait' is '" + awaited + "'; expected ready");
  }
  reply->finish(statusAnswer(*board_.get()));
}

ordered_json HostControl::statusAnswer(const HostStatus& status) const {
  auto answer = success();
  answer["host"] = {{"name", name_}, {"process", getpid()}, {"started", utcTime(started_)}};
  addStatus(answer, status);
  return answer;
}

void HostControl::noteStatus() {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto isDone = [this](const std::shared_ptr<Reply>& reply) {
    return reply->isAbandoned() || answerIfReady(reply);
  };
  waitingForReadiness_.erase(std::remove_if(waitingForReadiness_.begin(), waitingForReadiness_.end(), isDone),
                             waitingForReadiness_.end());
}

void HostControl::close() {
  const std::lock_guard<std::mutex> lock(mutex_);
  isClosed_ = true;
  for (const auto& reply : waitingForReadiness_) {
    reply->finish(hostIsEnding());
  }
  waitingForReadiness_.clear();
}

bool HostControl::isClosed() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return isClosed_;
}

bool HostControl::answerIfReady(const std::shared_ptr<Reply>& reply) const {
  const auto status = board_.get();
  if (status->state == HostStatus::State::ready) {
    reply->finish(statusAnswer(*status));
    return true;
  }
  if (status->state == HostStatus::State::failed || status->state == HostStatus::State::lost) {
    reply->finish(
        failure(status->state == HostStatus::State::failed ? ExitCode::refusedByFramework : ExitCode::failedAtRunTime,
                status->lastError));
    return true;
  }
  return false;
}

void HostControl::answerWatch(const json& request, const std::shared_ptr<Reply>& reply) {
  EventRecorder::Position from = 0;
  auto first = success().dump() + '\n';
  if (!Members(request).flag("sinceStart")) {
    auto configuration = recorder_.latestConfiguration();
    from = recorder_.end();
    // One that was published in between would be missing, or there twice.
    for (auto later = recorder_.latestConfiguration(); later != configuration;
         later = recorder_.latestConfiguration()) {
      configuration = later;
      from = recorder_.end();
    }
    first += configuration + '\n';
  }
  const auto stream = std::make_shared<EventStream>(recorder_, reply, from);
  reply->stream(first, [stream, reply] { return stream->next(); });
}

void HostControl::answerApply(const json& request, const std::shared_ptr<Reply>& reply) {
  const Members members(request);
  requests_.add({members.text("file"), members.text("text"),
                 std::min(members.time("timeout", std::chrono::seconds(30)), longestApply), members.flag("rollback"),
                 reply});
}

void HostControl::answerAsk(const json& request, const std::shared_ptr<Reply>& reply) {
  const Members members(request);
  const auto endpoint = members.text("endpoint");
  const auto timeout = std::min(members.time("timeout", std::chrono::seconds(2)), longestQuestion);
  const auto status = board_.get();
  std::string known;
  auto publishers =
      status->source ? publishersThatConnectTo(*status->source, endpoint, known) : std::vector<std::string>();
  if (publishers.empty()) {
    reply->finish(failure(ExitCode::failedAtRunTime,
                          "no publisher connects to '" + endpoint + "'; " +
                              (known.empty() ? "the configuration connects to nothing" : "expected one of " + known)));
    return;
  }
  boost::asio::post(questions_, [this, reply, endpoint, timeout, publishers = std::move(publishers)] {
    if (reply->isAbandoned()) {
      return;
    }
    // An exception would end the process.
    try {
      reply->finish(isClosed() ? hostIsEnding() : answersOf(publishers, endpoint, timeout));
    } catch (const std::exception& error) {
      reply->finish(failure(ExitCode::failedAtRunTime, error.what()));
    }
  });
}

void HostControl::answerLog(const json& request, const std::shared_ptr<Reply>& reply) {
  showLogRecords_(Members(request).bits("levels"));
  reply->finish(success());
}

}  // namespace spfctl
