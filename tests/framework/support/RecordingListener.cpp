#include "RecordingListener.hpp"

#include "spf/test/Gate.hpp"

namespace frameworktest {

using agent::spf::frameworklistener::EndpointEvent;
using agent::spf::frameworklistener::ErrorEvent;
using agent::spf::frameworklistener::FrameworkEvent;
using agent::spf::frameworklistener::ServicesEvent;

namespace {

std::string textOf(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const std::runtime_error& exception) {
    return exception.what();
  } catch (...) {
    return "no runtime_error";
  }
}

template <class Event>
std::string originOf(const Event& event) {
  return event.servicePublisherID + "#" + std::to_string(event.modificationCount);
}

std::string describe(const EndpointEvent& event) {
  static const std::string names[] = {"bound", "stillBound", "connected", "stillConnected"};
  return names[event.change] + " " + originOf(event) + " " + event.endpoint.ToString();
}

std::string describe(const ServicesEvent& event) {
  return (event.change == ServicesEvent::allPublished ? "published " : "unpublished ") + originOf(event);
}

std::string describe(const ErrorEvent& event) {
  return "error " + originOf(event) + " " + textOf(event.error);
}

std::string describe(const FrameworkEvent& event) {
  switch (event.kind) {
    case FrameworkEvent::services:
      return describe(static_cast<const ServicesEvent&>(event));
    case FrameworkEvent::error:
      return describe(static_cast<const ErrorEvent&>(event));
    default:
      return describe(static_cast<const EndpointEvent&>(event));
  }
}

bool hasPrefix(const std::string& line, const std::string& start) {
  return line.compare(0, start.size(), start) == 0;
}

std::vector<std::string> select(const std::vector<std::string>& lines, const std::string& start) {
  std::vector<std::string> selected;
  for (const std::string& line : lines) {
    if (hasPrefix(line, start)) {
      selected.push_back(line);
    }
  }
  return selected;
}

}  // namespace

void RecordingListener::handleEvent(std::shared_ptr<const FrameworkEvent> event) {
  const std::string line = describe(*event);
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    lines_.push_back(line);
  }
  changed_.notify_all();
  if (onEvent) {
    onEvent(line);
  }
}

std::string RecordingListener::waitFor(const std::string& start) {
  return waitFor(start, 1) ? linesWith(start).front() : "";
}

bool RecordingListener::waitFor(const std::string& start, std::size_t times) {
  std::unique_lock<std::mutex> lock(mutex_);
  return changed_.wait_until(lock, std::chrono::steady_clock::now() + spf::test::patience,
                             [&] { return select(lines_, start).size() >= times; });
}

bool RecordingListener::waitForEither(const std::string& one, const std::string& other) {
  std::unique_lock<std::mutex> lock(mutex_);
  return changed_.wait_until(lock, std::chrono::steady_clock::now() + spf::test::patience,
                             [&] { return !select(lines_, one).empty() || !select(lines_, other).empty(); });
}

std::vector<std::string> RecordingListener::lines() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return lines_;
}

void RecordingListener::clear() {
  const std::lock_guard<std::mutex> lock(mutex_);
  lines_.clear();
}

std::vector<std::string> RecordingListener::linesWith(const std::string& start) const {
  return select(lines(), start);
}

}  // namespace frameworktest
