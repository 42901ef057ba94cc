#pragma once

#include <functional>
#include <string>

#include <nlohmann/json_fwd.hpp>

namespace spfctl {

/// The way back to one client, for one request. Any thread may use it; nothing blocks, and nothing happens once the
/// client is gone.
class Reply {
 public:
  /// Returns the next lines that are there by now; an empty text if there are none.
  using Source = std::function<std::string()>;

  virtual ~Reply() = default;

  /// Sends one answer and ends the request. Later calls do nothing.
  virtual void finish(const nlohmann::ordered_json& answer) = 0;

  /// Sends one line, then what the source has got, as fast as the client reads it, until the client or the host goes.
  /// \param source  called on the server's thread, until the reply is destroyed
  virtual void stream(const std::string& first, Source source) = 0;

  /// Lets the source be asked again.
  virtual void wake() = 0;

  /// Returns whether the client has gone.
  virtual bool isAbandoned() const = 0;
};

}  // namespace spfctl
