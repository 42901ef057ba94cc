#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "support/canonicalText.hpp"
#include "support/endpoints.hpp"

namespace spf::test {

struct SampleEndpoint {
  Any value;
  // Whether it is equal to itself.
  bool comparable;
};

/// Endpoints no two of which are equal.
inline const SampleEndpoint sampleEndpoints[] = {{text("a"), true},
                                                 {text("b"), true},
                                                 {Any(1), true},
                                                 {Any(1L), true},
                                                 {Any(List{text("a"), Any(1)}), true},
                                                 {Any(), false},
                                                 {Any(List{Any()}), false},
                                                 {Any(IncomparableEndpoint()), false}};
inline constexpr int samples = sizeof sampleEndpoints / sizeof *sampleEndpoints;

inline List endpointsOf(const std::vector<int>& indexes) {
  List list;
  for (const int index : indexes) {
    list.push_back(sampleEndpoints[index].value);
  }
  return list;
}

/// What is outstanding for a publisher and what waiting for it gives, kept as plainly as can be.
struct PublisherModel {
  using Texts = std::vector<std::string>;

  // By their index among the samples.
  std::vector<int> toBind;
  std::vector<int> toConnect;
  bool published = false;
  bool unpublished = false;
  // The message of the framework's error, if there is one.
  std::string error;
  Texts log;
  int notifications = 0;

  bool endpointsAreUp() const { return toBind.empty() && toConnect.empty(); }
  bool isComplete() const { return !error.empty() || (endpointsAreUp() && published); }

  bool bind(int endpoint) { return complete(toBind, endpoint, "ConfigTracker completeEndpointBind "); }
  bool connect(int endpoint) { return complete(toConnect, endpoint, "ConfigTracker completeEndpointConnect "); }

  bool publish() {
    if (!isComplete() && !published) {
      published = true;
      log.push_back("ConfigTracker completeAllServicesPublished");
      ++notifications;
    }
    return isComplete();
  }

  void unpublish() {
    notifications += unpublished ? 0 : 1;
    unpublished = true;
  }

  /// \param message  the empty one for an error without exception
  void fail(const std::string& message) {
    if (!isComplete()) {
      error = message;
      ++notifications;
    }
  }

  /// What a wait that looks once comes to.
  std::string outcome(bool condition) const { return !error.empty() ? error : condition ? "true" : "false"; }

 private:
  bool complete(std::vector<int>& outstanding, int endpoint, const char* message) {
    const auto& sample = sampleEndpoints[endpoint];
    const auto found = std::count(outstanding.begin(), outstanding.end(), endpoint);
    if (!isComplete() && sample.comparable && found != 0) {
      outstanding.erase(std::remove(outstanding.begin(), outstanding.end(), endpoint), outstanding.end());
      log.push_back(message + sample.value.ToString());
      notifications += endpointsAreUp() ? 1 : 0;
    }
    return isComplete();
  }
};

/// What a wait comes to, as text.
template <class Wait>
std::string outcomeOf(Wait wait) {
  bool result = false;
  const auto message = messageOf([&] { result = wait(); });
  return message == "nothing thrown" ? (result ? "true" : "false") : message;
}

}  // namespace spf::test
