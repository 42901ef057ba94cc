#pragma once

#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>
#include <zmq.hpp>

#include "Answer.hpp"
#include "BoundEndpoint.hpp"
#include "ConnectedEndpoint.hpp"
#include "Waker.hpp"

namespace spf::zeromq {

/// The one thread that owns all sockets, and the queue of what the others want from it.
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
  Task nextTask();
  bool isAtItsEnd() const;
  void openWaiting();
  void poll();
  void serve(Endpoint& endpoint, bool monitorReadable, bool socketReadable);
  void removeDone();
  void closeAll();
  bool mayBind(Endpoint& endpoint, Endpoint::Clock::time_point now) const;
  long pollTimeout() const;
  ConnectedEndpoint* findOpen(const std::string& owner, const std::string& name);
  std::vector<Endpoint*> endpoints() const;

  // Synchronised by itself.
  Waker waker_;

  std::mutex mutex_;

  // Guarded by mutex_.
  std::deque<Task> tasks_;
  bool stopping_ = false;

  // Used by the loop's thread only. The context outlives the endpoints.
  zmq::context_t context_{1};
  std::list<std::unique_ptr<BoundEndpoint>> bound_;
  std::list<std::unique_ptr<ConnectedEndpoint>> connected_;
  bool ending_ = false;

  // Used by the owner only.
  std::thread thread_;
};

}  // namespace spf::zeromq
