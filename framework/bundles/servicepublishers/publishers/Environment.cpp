#include "Environment.hpp"

#include <stdexcept>
#include <utility>

#include "agent/spf/frameworkinterfaces/Discovery.hpp"
#include "agent/spf/frameworksupport/findService.hpp"

namespace spf::publishers {

using agent::spf::frameworkinterfaces::Discovery;
using agent::spf::frameworkinterfaces::EndpointDescription;
using agent::spf::frameworkinterfaces::EndpointListener;
using agent::spf::frameworkinterfaces::EventSink;
using agent::spf::frameworkinterfaces::Transport;
using agent::spf::frameworksupport::findService;
using agent::spf::frameworksupport::SerialExecutor;

namespace {

/// Passes the transport's reports to the executor's thread, and answers peers on the transport's thread.
class SocketListener : public EndpointListener {
 public:
  using Handler = std::function<void(SocketEvent, std::exception_ptr)>;

  SocketListener(std::shared_ptr<SerialExecutor> executor, Handler handler, std::shared_ptr<const PeerAnswer> answer)
      : executor_(std::move(executor)), handler_(std::move(handler)), answer_(std::move(answer)) {}

  void opened() override { post(SocketEvent::opened, nullptr); }
  void lost() override { post(SocketEvent::lost, nullptr); }
  void warned(const std::string& what) override {
    auto reason = std::make_exception_ptr(std::runtime_error(what));
    post(SocketEvent::warned, std::move(reason));
  }
  void failed(std::exception_ptr reason) override { post(SocketEvent::failed, std::move(reason)); }
  void closed() override { post(SocketEvent::closed, nullptr); }

  std::string answer(const std::string& request) override {
    if (!answer_) {
      throw std::runtime_error("this endpoint answers no questions");
    }
    return answer_->answer(request);
  }

 private:
  void post(SocketEvent event, std::exception_ptr reason) {
    executor_->post([handler = handler_, event, reason = std::move(reason)] { handler(event, reason); });
  }

  const std::shared_ptr<SerialExecutor> executor_;
  const Handler handler_;
  const std::shared_ptr<const PeerAnswer> answer_;
};

}  // namespace

Environment::Environment(cppmicroservices::BundleContext context, std::shared_ptr<SerialExecutor> executor,
                         SocketHandler handler)
    : context_(std::move(context)), executor_(std::move(executor)), handler_(std::move(handler)) {}

Socket Environment::open(const std::string& publisherPID, Direction direction, const EndpointDescription& endpoint,
                         std::shared_ptr<const PeerAnswer> answer) {
  Socket socket{++lastSocket_, findService<Transport>(context_), 0, endpoint.address};
  if (!socket.transport) {
    return socket;
  }
  const auto listener = std::make_shared<SocketListener>(
      executor_,
      [handler = handler_, publisherPID, id = socket.id](SocketEvent event, const std::exception_ptr& reason) {
        handler(publisherPID, id, event, reason);
      },
      std::move(answer));
  try {
    socket.endpoint = direction == Direction::bind ? socket.transport->bind(endpoint, listener)
                                                   : socket.transport->connect(endpoint, listener);
  } catch (const std::runtime_error&) {
    socket.transport.reset();  // it was stopped after the look-up
  }
  return socket;
}

bool Environment::isInUse(const Transport& transport) const {
  return findService<Transport>(context_).get() == &transport;
}

std::vector<std::string> Environment::resolve(const std::string& name) const {
  const auto discovery = findService<Discovery>(context_);
  return discovery ? discovery->endpointsOf(name) : std::vector<std::string>();
}

void Environment::report(const std::function<void(EventSink&)>& call) const {
  if (const auto sink = findService<EventSink>(context_)) {
    call(*sink);
  }
}

}  // namespace spf::publishers
