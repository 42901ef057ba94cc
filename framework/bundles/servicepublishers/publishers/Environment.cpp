#include "Environment.hpp"

#include <exception>
#include <stdexcept>
#include <utility>

#include "agent/spf/frameworkinterfaces/curveProperties.hpp"
#include "agent/spf/frameworksupport/findService.hpp"
#include "log.hpp"
#include "reachableAddress.hpp"
#include "readKeyName.hpp"

namespace spf::publishers {

using agent::spf::frameworkinterfaces::curveAllowProperty;
using agent::spf::frameworkinterfaces::curveNameProperty;
using agent::spf::frameworkinterfaces::EndpointDescription;
using agent::spf::frameworkinterfaces::EndpointListener;
using agent::spf::frameworkinterfaces::EventSink;
using agent::spf::frameworkinterfaces::Transport;
using agent::spf::frameworksupport::findService;
using agent::spf::frameworksupport::SerialExecutor;

namespace {

constexpr auto advertiseProperty = "spf.advertise";

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
  void refused(std::uint32_t count, const std::string& reason) override {
    post({SocketEvent::refused, {"", count, reason}});
  }
  void warned(const std::string& what) override { post({SocketEvent::warned, {"", 0, what}}); }
  void failed(std::exception_ptr reason) override { post({SocketEvent::failed, {"", 0, textOf(reason)}}); }
  void closed() override { post({SocketEvent::closed, {}}); }

  std::string answer(const std::string& request, const std::string& asker) override {
    if (!answer_) {
      throw std::runtime_error("this endpoint answers no questions");
    }
    return answer_->answer(request, asker);
  }

 private:
  void post(SocketReport report) {
    executor_->post([handler = handler_, report = std::move(report)] { handler(report); });
  }

  const std::shared_ptr<SerialExecutor> executor_;
  const Handler handler_;
  const std::shared_ptr<const PeerAnswer> answer_;
};

bool isSame(const AnnouncedEndpoint& left, const AnnouncedEndpoint& right) {
  return left.name == right.name && left.address == right.address && left.key == right.key &&
         left.configuration == right.configuration;
}

/// Reads the host to announce from the framework's properties; empty if they name none that is usable.
std::string readAdvertisedHost(const cppmicroservices::BundleContext& context) {
  const cppmicroservices::Any value = context.GetProperty(advertiseProperty);
  if (value.Empty()) {
    return "";
  }
  const auto* host = cppmicroservices::any_cast<std::string>(&value);
  try {
    if (host == nullptr) {
      throw std::runtime_error("it is no text");
    }
    return advertisedHost(*host);
  } catch (const std::runtime_error& error) {
    logWarning(std::string("the framework property '") + advertiseProperty + "' is not used: " + error.what());
    return "";
  }
}

}  // namespace

Environment::Environment(cppmicroservices::BundleContext context, std::shared_ptr<SerialExecutor> executor,
                         std::shared_ptr<EndpointStates> states, SocketHandler handler)
    : context_(std::move(context)),
      executor_(std::move(executor)),
      states_(std::move(states)),
      handler_(std::move(handler)),
      advertisedHost_(readAdvertisedHost(context_)),
      keyName_(readKeyName(context_.GetProperty(curveNameProperty))),
      allowedAskers_(std::make_shared<const AllowedAskers>(context_.GetProperty(curveAllowProperty))) {}

Socket Environment::open(const std::string& publisherPID, Direction direction, const std::string& publisherID,
                         const std::string& name, const DiscoveredAddress& address,
                         std::shared_ptr<const PeerAnswer> answer) {
  Socket socket;
  socket.id = ++lastSocket_;
  socket.transport = findService<Transport>(context_);
  socket.address = address;
  socket.progress.tries.address = address.address;
  if (!socket.transport) {
    return socket;
  }
  const auto listener = std::make_shared<SocketListener>(
      executor_,
      [handler = handler_, publisherPID, id = socket.id](const SocketReport& report) {
        handler(publisherPID, id, report);
      },
      std::move(answer));
  const EndpointDescription endpoint{publisherID, name, address.address, address.key};
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

bool Environment::useDiscovery() {
  discovery_.reset();
  try {
    auto context = context_;
    inUse_ = context.GetServiceReference<Discovery>();
  } catch (const std::runtime_error&) {
    inUse_ = {};  // the bundle was stopped
  }
  return !(inUse_ == announcedAt_);
}

Discovery* Environment::discovery() {
  if (!discovery_ && inUse_) {
    try {
      auto context = context_;
      discovery_ = context.GetService(inUse_);
    } catch (const std::invalid_argument&) {
      // It was unregistered meanwhile.
    } catch (const std::runtime_error&) {
      // The bundle was stopped.
    }
  }
  return discovery_.get();
}

Resolution Environment::resolve(const std::string& name) {
  Discovery* const asked = discovery();
  if (asked == nullptr) {
    return {{}, "no discovery is registered", false};
  }
  try {
    Resolution resolution{asked->addressesOf(name), "", true};
    if (resolution.addresses.empty()) {
      resolution.reason = "the discovery does not know the name";
    }
    return resolution;
  } catch (...) {
    return {{}, textOf(std::current_exception()), true};
  }
}

std::string Environment::reachable(const std::string& bound) const {
  return reachableAddress(bound, advertisedHost_).value_or("");
}

std::string Environment::announce(const AnnouncedEndpoint& endpoint, std::optional<Announced>& announced) {
  Discovery* const announcing = discovery();
  if (announcing == nullptr) {
    announced.reset();
    return "";
  }
  if (announced && announced->discovery == inUse_ && isSame(announced->endpoint, endpoint)) {
    return "";
  }
  try {
    Announced next{endpoint, inUse_, announcing->announce(endpoint)};
    if (!next.announcement) {
      return "the discovery announces nothing";
    }
    announced = std::move(next);  // withdraws the one before last, so that peers always see one of the two
    return "";
  } catch (...) {
    return textOf(std::current_exception());
  }
}

std::shared_ptr<EventSink> Environment::eventSink() const {
  return findService<EventSink>(context_);
}

}  // namespace spf::publishers
