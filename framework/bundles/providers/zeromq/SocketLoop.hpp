#pragma once

#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include <zmq.hpp>
#include "Answer.hpp"
#include "BoundEndpoint.hpp"
#include "ConnectedEndpoint.hpp"
#include "Identity.hpp"
#include "Resolver.hpp"
#include "TrustWatch.hpp"
#include "Waker.hpp"
#include "ZapHandler.hpp"

namespace spf::zeromq {

/// Owns all sockets and the only thread that uses them, and runs the tasks that other threads post.
///
/// Each round runs the tasks posted before it, advances the endpoints, and handles a limited number of messages of each
/// socket, so that no peer can occupy the thread.
///
/// Any thread may call `post`, and the owner `stop`; every other member function is called by tasks, on the loop's
/// thread.
class SocketLoop {
 public:
  using Task = std::function<void(SocketLoop&)>;

  /// \param identity  null: no connection is encrypted
  explicit SocketLoop(std::unique_ptr<Identity> identity);

  /// Stops the loop, as `stop` does.
  ~SocketLoop();

  SocketLoop(const SocketLoop&) = delete;
  SocketLoop& operator=(const SocketLoop&) = delete;

  /// Adds a task, which the loop's thread runs after those posted before.
  /// \return false if the loop was stopped; the task is dropped then
  bool post(Task task);

  /// Runs the posted tasks, closes every endpoint and then ZeroMQ itself, and blocks until that is done, a few seconds
  /// at most. May be repeated, by one thread at a time.
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
  void openConnected(Endpoint::Clock::time_point now);
  void lookUpHosts(Endpoint::Clock::time_point now);

  /// Passes the outcome of a look-up to its endpoint. Called on the resolver's threads.
  void onLookUp(EndpointID id, const ResolvedHost& resolved);

  /// Passes the outcome of a refresh to the loop. Called on the watch's thread.
  void onRefresh(std::uint64_t request, const std::shared_ptr<const agent::spf::security::TrustedKeys>& keys);

  /// Ends connections whose keys are no longer trusted, and answers the handshakes that waited for the latest refresh.
  void judgeHandshakes();
  bool admit(const Judgement& judgement);

  void poll();
  void serve(Endpoint& endpoint, bool monitorReadable, bool socketReadable);
  void removeDone();
  void closeAll();
  bool isFinished() const;
  BoundEndpoint* findBound(const std::string& id) const;
  bool mayBind(BoundEndpoint& endpoint, Endpoint::Clock::time_point now) const;
  std::chrono::milliseconds pollTimeout() const;
  Endpoint* find(EndpointID id) const;
  ConnectedEndpoint* findOpen(const std::string& owner, const std::string& name);

  /// Calls a function with every endpoint. It may end endpoints, but neither adds nor removes them.
  template <class Use>
  void forEachEndpoint(Use use) const;

  // Synchronised by itself:
  Waker waker_;

  std::mutex mutex_;

  // Guarded by `mutex_`:
  std::deque<Task> tasks_;
  bool stopping_ = false;

  // Used by the loop's thread only; the context outlives the endpoints:
  std::unique_ptr<Identity> identity_;
  zmq::context_t context_;
  SharedState shared_{context_, {}};
  std::shared_ptr<const agent::spf::security::TrustedKeys> appliedKeys_;  ///< those that all endpoints know of
  std::uint64_t refreshed_ = 0;  ///< the latest request for a refresh that was fulfilled
  std::list<std::unique_ptr<BoundEndpoint>> bound_;
  std::list<std::unique_ptr<ConnectedEndpoint>> connected_;
  bool hasAdded_ = false;                 ///< whether an endpoint was added since the last `advance`
  std::optional<ZapHandler> zapHandler_;  ///< only with an identity, as the watch
  std::optional<Resolver> resolver_;
  std::optional<TrustWatch> trustWatch_;
  std::optional<Endpoint::Clock::time_point> end_;  ///< set by the stop: when sockets that are still open are abandoned

  // Used by the owner only:
  std::thread thread_;
};

}  // namespace spf::zeromq
