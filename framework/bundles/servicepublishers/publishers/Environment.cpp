#include "Environment.hpp"

#include <exception>
#include <stdexcept>
#include <utility>

#include "agent/spf/frameworksupport/findService.hpp"

namespace spf::publishers {

using agent::spf::frameworkinterfaces::DiscoveredAddress;
using agent::spf::frameworkinterfaces::Discovery;
using agent::spf::frameworkinterfaces::EndpointDescription;
using agent::spf::frameworkinterfaces::EndpointListener;
using agent::spf::frameworkinterfaces::EventSink;
using agent::spf::frameworkinterfaces::Transport;
using agent::spf::frameworksupport::findService;
using agent::spf::frameworksupport::SerialExecutor;

namespace {

std::string textOf(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const std::exception& exception) {
    return exception.what();
  } catch (...) {
    return "unknown failure";
  }
}

/// Passes the transport's reports to the executor's thread, and answers peers on the transport's thread.
class SocketListener : public EndpointListener {
 public:
  using Handler = std::function<void(const SocketReport&)>;

  SocketListener(std::shared_ptr<SerialExecutor> executor, Handler handler, std::shared_ptr<const PeerAnswer> answer)
      : executor_(std::move(executor)), handler_(std::move(handler)), answer_(std::move(answer)) {}

  void trying(const EndpointTries& tries) override { post({SocketEvent::trying, tries}); }
  void opened(const std::string& address) override { post({SocketEvent::opened, {address, 0, ""}}); }
  void lost(const std::string& reason) override { post({SocketEvent::lost, {"", 0, reason}}); }
  void warned(const std::string& what) override { post({SocketEvent::warned, {"", 0, what}}); }
  void failed(std::exception_ptr reason) override { post({SocketEvent::failed, {"", 0, textOf(reason)}}); }
  void closed() override { post({SocketEvent::closed, {}}); }

  std::string answer(const std::string& request) override {
    if (!answer_) {
      throw std::runtime_error("this endpoint answers no questions");
    }
    return answer_->answer(request);
  }

 private:
  void post(SocketReport report) {
    executor_->post([handler = handler_, report = std::move(report)] { handler(report); });
  }

  const std::shared_ptr<SerialExecutor> executor_;
  const Handler handler_;
  const std::shared_ptr<const PeerAnswer> answer_;
};

}  // namespace

Environment::Environment(cppmicroservices::BundleContext context, std::shared_ptr<SerialExecutor> executor,
                         std::shared_ptr<EndpointStates> states, SocketHandler handler)
    : context_(std::move(context)),
      executor_(std::move(executor)),
      states_(std::move(states)),
      handler_(std::move(handler)) {}

Socket Environment::open(const std::string& publisherPID, Direction direction, const EndpointDescription& endpoint,
                         std::shared_ptr<const PeerAnswer> answer) {
  Socket socket{++lastSocket_, findService<Transport>(context_), 0, endpoint.address, {}, false};
  socket.progress.tries.address = endpoint.address;
  if (!socket.transport) {
    return socket;
  }
  const auto listener = std::make_shared<SocketListener>(
      executor_,
      [handler = handler_, publisherPID, id = socket.id](const SocketReport& report) {
        handler(publisherPID, id, report);
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

std::vector<DiscoveredAddress> Environment::resolve(const std::string& name) const {
  const auto discovery = findService<Discovery>(context_);
  if (!discovery) {
    throw std::runtime_error("no discovery is registered");
  }
  auto addresses = discovery->addressesOf(name);
  if (addresses.empty()) {
    throw std::runtime_error("the discovery does not know the name");
  }
  return addresses;
}

void Environment::report(const std::function<void(EventSink&)>& call) const {
  if (const auto sink = findService<EventSink>(context_)) {
    call(*sink);
  }
}

}  // namespace spf::publishers
