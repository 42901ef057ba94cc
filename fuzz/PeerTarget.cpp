#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/FrameworkFactory.h>
#include "JsonSerialiser.hpp"
#include "PeerAnswer.hpp"
#include "Target.hpp"
#include "TransportPeerDirectory.hpp"
#include "agent/spf/frameworkinterfaces/Serialiser.hpp"
#include "agent/spf/frameworkinterfaces/Transport.hpp"
#include "agent/spf/frameworksupport/Address.hpp"
#include "agent/spf/frameworksupport/keyNames.hpp"
#include "reachableAddress.hpp"

// The input is a text of another process: a request, an answer, or an address that it announces. Each is tried as all
// of them.

namespace {

using agent::spf::frameworkinterfaces::EndpointDescription;
using agent::spf::frameworkinterfaces::EndpointListener;
using agent::spf::frameworkinterfaces::Serialiser;
using agent::spf::frameworkinterfaces::Transport;
using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::AnyMap;
using spf::fuzz::require;

/// A transport whose peers send one text.
class FakeTransport : public Transport {
 public:
  std::string text;

  EndpointID bind(const EndpointDescription&, std::shared_ptr<EndpointListener>) override { return 1; }
  EndpointID connect(const EndpointDescription&, std::shared_ptr<EndpointListener>) override { return 1; }
  void close(EndpointID) override {}
  std::string ask(const std::string&, const std::string&, const std::string&, std::chrono::milliseconds) override {
    return text;
  }
};

class Peer {
 public:
  Peer() {
    framework_.Start();
    auto context = framework_.GetBundleContext();
    context.RegisterService<Serialiser>(serialiser_);
    context.RegisterService<Transport>(transport_);
    answer_ = std::make_unique<spf::publishers::PeerAnswer>(
        context, std::make_shared<const spf::publishers::AllowedAskers>(Any()));
    answer_->set("station", {{"t", "weather.Temperature"}, {"h", "weather.Humidity"}});
    directory_ = std::make_unique<spf::peers::TransportPeerDirectory>(context);
  }

  void sendRequest(const std::string& text) const {
    std::string answer;
    try {
      answer = answer_->answer(text, "");
    } catch (const std::invalid_argument&) {
      return;
    } catch (const std::runtime_error&) {
      return;
    }
    require(sendAnswer(answer), "an answer of this system is understood");
  }

  /// \return whether the answer is understood
  bool sendAnswer(const std::string& text) const {
    transport_->text = text;
    AnyMap answer;
    try {
      answer = directory_->ask("display", "tcp://a:1", std::chrono::milliseconds(1));
    } catch (const std::runtime_error& error) {
      const std::string reason = error.what();
      require(reason.find("'display'") != std::string::npos && reason.find("'tcp://a:1'") != std::string::npos,
              "a refusal names the publisher and the endpoint");
      return false;
    }
    require(isText(answer.at("publisherID")), "an answer has the ID of a publisher");
    for (const Any& element : any_cast<std::vector<Any>>(answer.at("services"))) {
      const auto service = any_cast<AnyMap>(element);
      require(isText(service.at("uniqueID")) && isText(service.at("name")), "a service has an ID and a name");
    }
    return true;
  }

  void readText(const std::string& text) const {
    AnyMap map;
    try {
      map = serialiser_->deserialise(text);
    } catch (const std::invalid_argument&) {
      return;
    }
    const std::string written = serialiser_->serialise(map);
    require(serialiser_->serialise(serialiser_->deserialise(written)) == written, "what is read can be written");
  }

 private:
  static bool isText(const Any& value) { return any_cast<std::string>(&value) != nullptr; }

  const std::shared_ptr<spf::json::JsonSerialiser> serialiser_ = std::make_shared<spf::json::JsonSerialiser>();
  const std::shared_ptr<FakeTransport> transport_ = std::make_shared<FakeTransport>();
  cppmicroservices::Framework framework_ = cppmicroservices::FrameworkFactory().NewFramework();
  std::unique_ptr<spf::publishers::PeerAnswer> answer_;
  std::unique_ptr<spf::peers::TransportPeerDirectory> directory_;
};

void readAddress(const std::string& text) {
  using namespace agent::spf::frameworksupport;
  try {
    const Address address = parseAddress(text);
    require(address.text == text && !address.where.empty(), "an address says where");
    static_cast<void>(hasUnresolvedHost(address, InterfaceNames::unknown));
    const auto place = placeOf(address);
    require(place.has_value() != isWildcard(address), "only a wildcard has no place");
    if (place) {
      require(mayCollide(*place, *place), "an address collides with itself");
    }
    if (address.scheme == Scheme::tcp) {
      require(isIPv6(address) == isIPv6(parseAddress(toZeroMq(address))), "ZeroMQ's spelling is of the same family");
    }
  } catch (const std::runtime_error&) {
  }
  try {
    const KeyedAddress split = splitKey(text);
    require(split.key.empty() ? split.address == text : split.address + "#" + split.key == text,
            "an address is split without a loss");
    require(split.key.empty() || isKeyName(split.key), "only a name is split off");
  } catch (const std::runtime_error&) {
  }
  if (const auto reachable = spf::publishers::reachableAddress(text, "", nullptr)) {
    require(!parseAddress(*reachable).where.empty(), "what is announced is an address");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto& peer = *new Peer;  // never destroyed, because a framework must not be destroyed after main
  const std::string text(reinterpret_cast<const char*>(data), size);
  peer.sendRequest(text);
  peer.sendAnswer(text);
  peer.readText(text);
  readAddress(text);
  return 0;
}
