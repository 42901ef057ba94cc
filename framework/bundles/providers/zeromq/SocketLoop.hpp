#pragma once

#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <zmq.hpp>
#include "Answer.hpp"
#include "BoundEndpoint.hpp"
#include "ConnectedEndpoint.hpp"
#include "Resolver.hpp"
#include "Waker.hpp"

namespace spf::zeromq {

/// The one thread that owns all sockets, and the queue of what the others want from it.
///
/// It works in rounds: the tasks that were posted until then, the endpoints that can go on, and a
/// limited number of messages of each socket, so that no peer keeps the thread to itself.
///
/// Any thread may call `post`; every other member function runs on the loop's thread, from a task.
class SocketLoop {
 public:
  using Task = std::function<void(SocketLoop&)>;

  SocketLoop();

  /// Stops.
  ~SocketLoop();

  SocketLoop(const SocketLoop&) = delete;
  SocketLoop& operator=(const SocketLoop&) = delete;

  /// Has the loop's thread run a task, after those posted before.
  /// \return false once the loop was stopped; the task is dropped then
  bool post(Task task);

  /// Runs the tasks that were posted, closes every endpoint and then ZeroMQ itself, and waits for
  /// that, a few seconds at most. May be repeated, by one thread at a time.
  void stop();

  void add(std::unique_ptr<BoundEndpoint> endpoint);
  void add(std::unique_ptr<ConnectedEndpoint> endpoint);
  void close(EndpointID id);
  void ask(const std::string& owner, const std::string& name, const std::string& request,
           const std::shared_ptr<Answer>& answer);
  void forget(const std::shared_ptr<Answer>& answer);

 private:
  void run() noexcept;
  void runOnce();
  void runTasks();
  void advance();
  void openBound(Endpoint::Clock::time_point now);
  void openConnected();
  void lookUpHosts(Endpoint::Clock::time_point now);
  /// Called from the resolver's threads.
  void onLookUp(EndpointID id, const ResolvedHost& resolved);

  void poll();
  void serve(Endpoint& endpoint, bool monitorReadable, bool socketReadable);
  void removeDone();
  void closeAll();
  bool isFinished() const;
  bool mayBind(BoundEndpoint& endpoint, Endpoint::Clock::time_point now) const;
  std::chrono::milliseconds pollTimeout() const;
  Endpoint* find(EndpointID id) const;
  ConnectedEndpoint* findOpen(const std::string& owner, const std::string& name);
  std::vector<Endpoint*> endpoints() const;

  // Synchronised by itself:
  Waker waker_;

  std::mutex mutex_;

  // Guarded by `mutex_`:
  std::deque<Task> tasks_;
  bool stopping_ = false;

  // Used by the loop's thread only; the context outlives the endpoints:
  zmq::context_t context_;
  Surroundings surroundings_{context_, {}};
  std::list<std::unique_ptr<BoundEndpoint>> bound_;
  std::list<std::unique_ptr<ConnectedEndpoint>> connected_;
  std::optional<Resolver> resolver_;
  std::optional<Endpoint::Clock::time_point> end_;  ///< set by the stop: until when sockets may take to close

  // Used by the owner only:
  std::thread thread_;
};

}  // namespace spf::zeromq
