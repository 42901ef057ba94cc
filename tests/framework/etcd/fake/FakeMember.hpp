#pragma once

#include <condition_variable>
#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace etcdtest {

/// A member of etcd whose answers a test decides. Without a decision it has no keys, grants leases, takes writes, and
/// has watches on which nothing happens. Any thread may call any member.
class FakeMember {
 public:
  struct Request {
    std::string path;
    std::string body;
    std::string authorization;
  };

  struct Reply {
    enum class Kind {
      whole,      ///< the body, then the end of the connection
      stream,     ///< the body, then whatever `stream` adds
      truncated,  ///< the body, announced to be one byte longer than it is
      never       ///< nothing; the connection stays open
    };
    int status = 200;
    std::string body;
    Kind kind = Kind::whole;
  };

  using Handler = std::function<Reply(const Request&)>;

  FakeMember();
  ~FakeMember();
  FakeMember(const FakeMember&) = delete;
  FakeMember& operator=(const FakeMember&) = delete;

  const std::string& url() const noexcept { return url_; }

  /// Decides how requests with a path are answered from now on.
  void on(const std::string& path, Handler handler);
  void on(const std::string& path, Reply reply);

  /// Sends a text to the open streams.
  void stream(const std::string& text);

  /// Ends the open connections.
  void endConnections();

  /// Blocks until so many requests with a path have come in all.
  /// \return false if they have not within `patience`
  [[nodiscard]] bool waitFor(const std::string& path, std::size_t count);

  /// Returns the requests with a path so far.
  std::vector<Request> requests(const std::string& path) const;

 private:
  struct Connection {
    int socket = -1;
    bool isStream = false;
    std::thread thread;
  };

  void accept();
  void serve(Connection& connection);
  Reply answer(const Request& request);

  int listener_ = -1;
  std::string url_;

  mutable std::mutex mutex_;
  std::condition_variable changed_;

  // Guarded by `mutex_`:
  bool isStopping_ = false;
  std::map<std::string, Handler> handlers_;
  std::map<std::string, std::vector<Request>> requests_;
  std::list<Connection> connections_;

  // Used by the owner:
  std::thread acceptor_;
};

}  // namespace etcdtest
